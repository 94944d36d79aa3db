// An application that defines every function of DIGEST-MD5, MD5, the random pool and its lock
// itself: the library's bind, and what a look-up by its handle gives, must call the library's.
#include "interposition.h"
#include "sasl/proof.h"
#include "support/scripted_peer.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx/digest_challenge.h>
#include <qldapx/md5.h>

CAPTURE_VOID(MD5Init, QldapxMD5Context *)
CAPTURE_VOID(MD5Update, QldapxMD5Context *, const void *, std::uint64_t)
CAPTURE_VOID(MD5Final, unsigned char[16], QldapxMD5Context *)
extern "C" __attribute__((visibility("default"), used)) unsigned char *
MD5(const unsigned char *, std::size_t, unsigned char *digest) {
    ++captured;
    return digest;
}

CAPTURE_VOID(XRAND_add, const void *, int, double)
CAPTURE_VOID(XRAND_seed, const void *, int)
CAPTURE_VOID(XRAND_cleanup)
CAPTURE_DECLARED(XRAND_bytes, unsigned char *, int)
CAPTURE_DECLARED(XRAND_pseudo_bytes, unsigned char *, int)
CAPTURE_DECLARED(XRAND_status)
CAPTURE_DECLARED(XRAND_poll)
CAPTURE_DECLARED(CRYPTO_w_lock)
CAPTURE_DECLARED(CRYPTO_w_unlock)

CAPTURE_DECLARED(isWhiteSpace, unsigned char)
CAPTURE_DECLARED(isValidTokenChar, unsigned char)
CAPTURE_DECLARED(addDirective, DirectiveParser *)
CAPTURE_DECLARED(addValue, DirectiveParser *, int)
CAPTURE_DECLARED(parseDirectiveList, const char *, std::uint32_t, ParsedDirective **,
                 std::int32_t *)
CAPTURE_DECLARED(parseTokenList, const char *, std::uint32_t, const char **, std::uint32_t *,
                 void **, std::int32_t *)
CAPTURE_DECLARED(handleRealm, ParsedDirective *, DigestChallenge *)
CAPTURE_DECLARED(handleNonce, ParsedDirective *, DigestChallenge *)
CAPTURE_DECLARED(handleQop, ParsedDirective *, DigestChallenge *)
CAPTURE_DECLARED(handleMaxbuf, ParsedDirective *, DigestChallenge *)
CAPTURE_DECLARED(handleCharset, ParsedDirective *, DigestChallenge *)
CAPTURE_DECLARED(handleAlgorithm, ParsedDirective *, DigestChallenge *)
CAPTURE_DECLARED(handleCipher, ParsedDirective *, DigestChallenge *)
CAPTURE_DECLARED(handleStale, ParsedDirective *, DigestChallenge *)
CAPTURE_DECLARED(getDigestChallenge, berval *, DigestChallenge **, int)
CAPTURE_DECLARED(getResponseAuth, berval *, char **)
CAPTURE_VOID(freeParsedDirectives, ParsedDirective *)
CAPTURE_VOID(freeDigestChallenge, DigestChallenge *)

// Names that the library does not export.
CAPTURE(getNonce)
CAPTURE(ConvertHex)
CAPTURE(DigestCalcHA1)
CAPTURE(DigestCalcResponse)
CAPTURE(createDigestResponse)
CAPTURE(validateServerResponse)

namespace {

using namespace qldapx_test;

const Bytes challenge = "realm=r,nonce=\"n\\\"o\",qop=\"auth,auth-conf\",cipher=\"3des,rc4\","
                        "charset=utf-8,algorithm=md5-sess,maxbuf=4096";

// What the server answers to the response: its proof.
Bytes proofFor(const Bytes &message) {
    const Proof proof{"joe",
                      "r",
                      "secret",
                      "n\"o",
                      directiveIn(message, "cnonce"),
                      directiveIn(message, "digest-uri")};
    return bindResponse(0, "rspauth=" + proof.server());
}

TEST(Interposition, ABindCallsTheLibrarysOwn) {
    ScriptedPeer peer({ScriptedPeer::answer(bindResponse(LDAP_SASL_BIND_IN_PROGRESS, challenge)),
                       ScriptedPeer::computed(proofFor)});
    void *context = nullptr;
    ASSERT_EQ(ldap_bind_digest_md5_start(peer.session(), &context), LDAP_SUCCESS);
    EXPECT_EQ(ldap_bind_digest_md5_finish(&context, "joe", "secret", -1, 0, 1), LDAP_SUCCESS);
    EXPECT_EQ(captured, 0);
}

struct Unload {
    void operator()(void *library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, Unload>;

template <class Function>
Function *functionOf(const Library &library, const char *name, Function * /*declared*/) {
    auto *function = reinterpret_cast<Function *>(dlsym(library.get(), name));
    EXPECT_NE(function, nullptr) << name;
    return function;
}
#define LIBRARYS(name) functionOf(library, #name, name)

TEST(Interposition, LookedUpFunctionsCallTheLibrarysOwn) {
    const Library library(dlopen(LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD));
    ASSERT_NE(library, nullptr) << dlerror();
    Bytes text = challenge;
    berval credentials{text.size(), text.data()};
    DigestChallenge *record = nullptr;
    ASSERT_EQ(LIBRARYS(getDigestChallenge)(&credentials, &record, 0), 0);
    EXPECT_EQ(record->qopOptions, 5);
    EXPECT_EQ(record->maxbuf, 4096U);
    ldapx_memfree(record->realms->realm);
    LIBRARYS(freeDigestChallenge)(record);
    Bytes reply = "rspauth=x";
    berval proof{reply.size(), reply.data()};
    char *value = nullptr;
    EXPECT_EQ(LIBRARYS(getResponseAuth)(&proof, &value), 0);
    EXPECT_STREQ(value, "x");
    ldapx_memfree(value);
    unsigned char bytes[40] = {};
    EXPECT_EQ(LIBRARYS(XRAND_bytes)(bytes, sizeof bytes), 0);
    LIBRARYS(XRAND_seed)(bytes, sizeof bytes);
    EXPECT_EQ(LIBRARYS(XRAND_status)(), 1);
    LIBRARYS(XRAND_cleanup)();
    unsigned char digest[16];
    LIBRARYS(MD5)(bytes, 0, digest);
    EXPECT_EQ(digest[0], 0xd4);
    EXPECT_EQ(captured, 0);
}

} // namespace
