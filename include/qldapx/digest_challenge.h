/*
 * digest_challenge.h - the steps in which a DIGEST-MD5 challenge (RFC 2831, 2.1.1) is read, for
 * programs that speak the mechanism elsewhere. Not part of qldapx.h: include it where it is needed,
 * since programs have functions of such names themselves.
 *
 * All functions keep their state in their arguments. Texts are counted: no byte behind their length
 * is read. A length above INT32_MAX is more than positions can say, and is QLDAPX_DIGEST_NO_MEMORY.
 */
#ifndef QLDAPX_DIGEST_CHALLENGE_H
#define QLDAPX_DIGEST_CHALLENGE_H

#include <qldapx/digest_md5.h>
#include <stdint.h>

QLDAPX_BEGIN

/* What is wrong with the text of a list, beside the codes of digest_md5.h. */
enum {
    QLDAPX_DIGEST_NO_MEMORY = 1021,       /* memory ran out */
    QLDAPX_DIGEST_BAD_NAME = 1022,        /* a character that no directive's name has */
    QLDAPX_DIGEST_NO_EQUALS = 1023,       /* a name is followed by no "=" */
    QLDAPX_DIGEST_BAD_VALUE = 1024,       /* a character that no value begins with */
    QLDAPX_DIGEST_BAD_VALUE_TOKEN = 1025, /* a character that no unquoted value has */
    QLDAPX_DIGEST_NO_VALUE = 1028,        /* the text ends inside a directive */
    QLDAPX_DIGEST_OPEN_QUOTE = 1029,      /* the text ends inside a quoted string */
    QLDAPX_DIGEST_LAST_TOKEN = 1031       /* the last token was delivered: no fault */
};

/* Bits of DigestChallenge.qopOptions and .cipherOptions. */
enum {
    QLDAPX_DIGEST_QOP_AUTH = 1,
    QLDAPX_DIGEST_QOP_AUTH_INT = 2,
    QLDAPX_DIGEST_QOP_AUTH_CONF = 4,
    QLDAPX_DIGEST_QOP_OTHER = 8,
    QLDAPX_DIGEST_CIPHER_3DES = 1,
    QLDAPX_DIGEST_CIPHER_DES = 2,
    QLDAPX_DIGEST_CIPHER_RC4_40 = 4,
    QLDAPX_DIGEST_CIPHER_RC4 = 8,
    QLDAPX_DIGEST_CIPHER_RC4_56 = 16,
    QLDAPX_DIGEST_CIPHER_OTHER = 32
};

/* One directive, NAME=VALUE, in the order of the text. */
typedef struct ParsedDirective {
    int32_t kind;        /* 1: quoted, 2: unquoted, 0: it has no value yet */
    char *name;          /* ended by a zero */
    char *value;         /* valueLength bytes and a zero */
    int32_t valueLength; /* bytes in the text, backslashes included: those that were dropped are
                            zeros at the end of value */
    struct ParsedDirective *next;
} ParsedDirective;

/* The place that a list of directives is read at. */
typedef struct DirectiveParser {
    int32_t position; /* of the byte that is looked at */
    int32_t start;    /* of the name or value under way */
    const char *text;
    int32_t state; /* 7: inside a quoted string */
    ParsedDirective *first;
    ParsedDirective *last;
} DirectiveParser;

/* A realm of a challenge. */
typedef struct DigestRealm {
    struct DigestRealm *next;
    char *realm;
} DigestRealm;

/* What a challenge says. */
typedef struct DigestChallenge {
    DigestRealm *realms; /* the last one of the challenge first */
    int32_t realmCount;
    char *nonce;
    int32_t qopOptions;
    int32_t stale;   /* 1: stale=true */
    uint32_t maxbuf; /* 65536 unless given; while the challenge is read 0xFFFFFFFF */
    char *charset;
    char *algorithm;
    int32_t cipherOptions;
} DigestChallenge;

/* isWhiteSpace - 1 for HT, LF, CR and SP, else 0. */
QLDAPX_API int isWhiteSpace(unsigned char c);

/*
 * isValidTokenChar - 1 for a byte that a token may have, else 0: all but control bytes (0 to 31,
 * 127), SP and % ( ) , : ; < = > ? @ [ \ ] { }. Unlike RFC 2831's tokens they have " and / and no
 * %, and all bytes above 127.
 */
QLDAPX_API int isValidTokenChar(unsigned char c);

/*
 * parseDirectiveList - reads a comma-separated list of directives.
 *
 * text:          the list.
 * length:        its bytes.
 * list:          receives the directives, released with freeParsedDirectives; NULL for a list that
 *                is empty or white space, and after a failure.
 * errorPosition: receives the index of the byte that is wrong; -1 when there is none.
 *
 * Names and values are as in the text, upper and lower case too. A quoted string ends at the first
 * quote that no backslash stands before, even if that backslash is itself escaped.
 *
 * Result: 0, QLDAPX_DIGEST_BAD_NAME, _NO_EQUALS, _BAD_VALUE, _BAD_VALUE_TOKEN, _NO_COMMA with a
 * position; _TRAILING_COMMA, _NO_VALUE, _OPEN_QUOTE, _NO_MEMORY without.
 */
QLDAPX_API int parseDirectiveList(const char *text, uint32_t length, ParsedDirective **list,
                                  int32_t *errorPosition);

/* freeParsedDirectives - releases a list of directives; NULL is none. */
QLDAPX_API void freeParsedDirectives(ParsedDirective *list);

/*
 * addDirective - adds a directive without a value to the parser's list; its name is the text from
 * start up to position.
 *
 * Result: 0 or QLDAPX_DIGEST_NO_MEMORY.
 */
QLDAPX_API int addDirective(DirectiveParser *parser);

/*
 * addValue - gives the parser's last directive its value, the text from start up to position.
 *
 * unescape: non-zero drops each backslash and takes the byte after it as it is.
 *
 * Result: 0; LDAP_PARAM_ERROR when the list is empty; QLDAPX_DIGEST_NO_MEMORY.
 */
QLDAPX_API int addValue(DirectiveParser *parser, int unescape);

/*
 * parseTokenList - reads the next token of a comma-separated list.
 *
 * text, length:  the list, the same in every call.
 * token:         receives the token, inside text, not ended by a zero; NULL when there is none.
 * tokenLength:   receives its bytes; 0 when there is none.
 * state:         NULL before the first call, which allocates what the later ones need; released
 *                with ldapx_memfree.
 * errorPosition: receives the index of the byte that is wrong; -1 when there is none.
 *
 * Result: 0 with a token, of which more may follow; 0 without one at the end of the list;
 * QLDAPX_DIGEST_LAST_TOKEN with the last token; QLDAPX_DIGEST_BAD_TOKEN, _NO_COMMA with a
 * position; _TRAILING_COMMA; _NO_MEMORY.
 */
QLDAPX_API int parseTokenList(const char *text, uint32_t length, const char **token,
                              uint32_t *tokenLength, void **state, int32_t *errorPosition);

/*
 * The handlers put what one directive says into the challenge. The directive's name is not looked
 * at; it has a value. A token of qop or cipher, and stale's value, is a keyword or any beginning of
 * one, also an empty one; the first keyword that fits counts.
 *
 * Result: 0; QLDAPX_DIGEST_TWICE for a second one (but for realms); LDAP_NO_MEMORY; those that are
 * named with each.
 */

/* handleRealm - adds a realm, up to its first zero byte, before those that are there. */
QLDAPX_API int handleRealm(ParsedDirective *directive, DigestChallenge *challenge);

/* handleNonce - copies the nonce, all of its bytes. */
QLDAPX_API int handleNonce(ParsedDirective *directive, DigestChallenge *challenge);

/*
 * handleQop - notes the tokens auth, auth-int, auth-conf and whether there are others.
 *
 * Result: also what parseTokenList gave for a list that is malformed, which counts as another
 * token.
 */
QLDAPX_API int handleQop(ParsedDirective *directive, DigestChallenge *challenge);

/*
 * handleMaxbuf - notes a decimal number, modulo 2^32. 0xFFFFFFFF counts as not given.
 *
 * Result: also QLDAPX_DIGEST_BAD_MAXBUF for 0, which is kept.
 */
QLDAPX_API int handleMaxbuf(ParsedDirective *directive, DigestChallenge *challenge);

/*
 * handleCharset - copies the charset.
 *
 * Result: also QLDAPX_DIGEST_BAD_CHARSET when it is not "utf-8"; it is kept.
 */
QLDAPX_API int handleCharset(ParsedDirective *directive, DigestChallenge *challenge);

/*
 * handleAlgorithm - copies the algorithm.
 *
 * Result: also QLDAPX_DIGEST_BAD_ALGORITHM when it is not "md5-sess"; it is kept.
 */
QLDAPX_API int handleAlgorithm(ParsedDirective *directive, DigestChallenge *challenge);

/*
 * handleCipher - notes the tokens 3des, des, rc4-40, rc4, rc4-56 (of which rc4 counts as rc4-40, by
 * its beginning) and whether there are others. The last one of the list always counts as another
 * one: what reads challenges here has always had it so.
 *
 * Result: also what parseTokenList gave for a list that is malformed.
 */
QLDAPX_API int handleCipher(ParsedDirective *directive, DigestChallenge *challenge);

/*
 * handleStale - notes that the challenge is stale.
 *
 * Result: also QLDAPX_DIGEST_BAD_STALE when the value is not "true".
 */
QLDAPX_API int handleStale(ParsedDirective *directive, DigestChallenge *challenge);

/*
 * getDigestChallenge - reads a challenge.
 *
 * credentials:  the text.
 * challenge:    receives the challenge, released with freeDigestChallenge; NULL after a failure,
 *               but left as it was when the text is no list of directives.
 * staleAllowed: non-zero takes a challenge with stale=true, too.
 *
 * Result: 0; LDAP_PROTOCOL_ERROR when the text is no list of directives; LDAP_NO_MEMORY; else the
 * first that is wrong, directive by directive in their order, then QLDAPX_DIGEST_NO_AUTH,
 * _NO_CIPHER, _NO_NONCE, _STALE, _NO_ALGORITHM in this order.
 */
QLDAPX_API int getDigestChallenge(struct berval *credentials, DigestChallenge **challenge,
                                  int staleAllowed);

/*
 * freeDigestChallenge - releases a challenge, but not the strings of its realms, which callers take
 * out of it; release those with ldapx_memfree.
 */
QLDAPX_API void freeDigestChallenge(DigestChallenge *challenge);

/*
 * getResponseAuth - reads the server's proof, rspauth=VALUE (RFC 2831, 2.1.3).
 *
 * credentials: the text.
 * rspauth:     receives the value, released with ldapx_memfree; NULL for an empty text and after a
 *              failure.
 *
 * Result: 0; LDAP_PROTOCOL_ERROR when the text is no list of directives or its first one is not
 * rspauth; LDAP_NO_MEMORY.
 */
QLDAPX_API int getResponseAuth(struct berval *credentials, char **rspauth);

QLDAPX_END

#endif
