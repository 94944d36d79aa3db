/*
 * The same for DIGEST-MD5, MD5, the random pool and the locks.
 */
#include <qldapx.h>
#include <qldapx/digest_challenge.h>
#include <qldapx/md5.h>
#include <stddef.h>

int sasl_interface_is_right(void);

static int (*const start)(LDAP *, void **) = ldap_bind_digest_md5_start;
static int (*const realms)(void *, char ***) = ldap_get_digest_md5_realms;
static int (*const finish)(void **, const char *, const char *, int, int,
                           int) = ldap_bind_digest_md5_finish;
static int (*const classes[])(unsigned char) = {isWhiteSpace, isValidTokenChar};
static int (*const directives)(const char *, uint32_t, ParsedDirective **,
                               int32_t *) = parseDirectiveList;
static void (*const directives_free)(ParsedDirective *) = freeParsedDirectives;
static int (*const add_directive)(DirectiveParser *) = addDirective;
static int (*const add_value)(DirectiveParser *, int) = addValue;
static int (*const tokens)(const char *, uint32_t, const char **, uint32_t *, void **,
                           int32_t *) = parseTokenList;
static int (*const handlers[])(ParsedDirective *, DigestChallenge *) = {
    handleRealm,   handleNonce,     handleQop,    handleMaxbuf,
    handleCharset, handleAlgorithm, handleCipher, handleStale,
};
static int (*const challenge)(struct berval *, DigestChallenge **, int) = getDigestChallenge;
static void (*const challenge_free)(DigestChallenge *) = freeDigestChallenge;
static int (*const proof)(struct berval *, char **) = getResponseAuth;
static void (*const md5_init)(QldapxMD5Context *) = MD5Init;
static void (*const md5_update)(QldapxMD5Context *, const void *, uint64_t) = MD5Update;
static void (*const md5_final)(unsigned char *, QldapxMD5Context *) = MD5Final;
static unsigned char *(*const md5)(const unsigned char *, size_t, unsigned char *) = MD5;
static void (*const pool_add)(const void *, int, double) = XRAND_add;
static void (*const pool_seed)(const void *, int) = XRAND_seed;
static int (*const pool_bytes[])(unsigned char *, int) = {XRAND_bytes, XRAND_pseudo_bytes};
static int (*const pool_status[])(void) = {XRAND_status, XRAND_poll, CRYPTO_w_lock,
                                           CRYPTO_w_unlock};
static void (*const set_ups[])(void) = {XRAND_cleanup, LockInit, LockCleanUp, CRYPTO_thread_setup,
                                        CRYPTO_thread_cleanup};
static int (*const lock)(int, int) = LockCallback;

#define HAVE_ALL(array) have_all((const void *)(array), sizeof(array))

static int have_all(const void *functions, size_t size) {
    const unsigned char *bytes = functions;
    size_t i, set = 0;
    for (i = 0; i < size; i++)
        set |= bytes[i];
    return set != 0;
}

static int layout_is_right(void) {
    return offsetof(ParsedDirective, name) == 8 && offsetof(ParsedDirective, value) == 16 &&
           offsetof(ParsedDirective, valueLength) == 24 && offsetof(ParsedDirective, next) == 32 &&
           sizeof(ParsedDirective) == 40 && offsetof(DirectiveParser, start) == 4 &&
           offsetof(DirectiveParser, text) == 8 && offsetof(DirectiveParser, state) == 16 &&
           offsetof(DirectiveParser, first) == 24 && offsetof(DirectiveParser, last) == 32 &&
           offsetof(DigestRealm, realm) == 8 && offsetof(DigestChallenge, realmCount) == 8 &&
           offsetof(DigestChallenge, nonce) == 16 && offsetof(DigestChallenge, qopOptions) == 24 &&
           offsetof(DigestChallenge, stale) == 28 && offsetof(DigestChallenge, maxbuf) == 32 &&
           offsetof(DigestChallenge, charset) == 40 && offsetof(DigestChallenge, algorithm) == 48 &&
           offsetof(DigestChallenge, cipherOptions) == 56 &&
           offsetof(QldapxMD5Context, bitCount) == 32 &&
           offsetof(QldapxMD5Context, pending) == 48 && sizeof(QldapxMD5Context) == 112;
}

int sasl_interface_is_right(void) {
    return start && realms && finish && HAVE_ALL(classes) && directives && directives_free &&
           add_directive && add_value && tokens && HAVE_ALL(handlers) && challenge &&
           challenge_free && proof && md5_init && md5_update && md5_final && md5 && pool_add &&
           pool_seed && HAVE_ALL(pool_bytes) && HAVE_ALL(pool_status) && HAVE_ALL(set_ups) &&
           lock && layout_is_right();
}
