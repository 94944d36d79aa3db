// What a challenge says, which of its faults goes first, and the server's proof.
#include "support/ber.h"
#include "support/case_name.h"
#include "support/expected_leak.h"

#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>
#include <qldapx/digest_challenge.h>

namespace qldapx_test {
namespace {

struct FreeChallenge {
    void operator()(DigestChallenge *challenge) const {
        for (const DigestRealm *each = challenge->realms; each != nullptr; each = each->next)
            ldapx_memfree(each->realm);
        freeDigestChallenge(challenge);
    }
};
using ChallengePtr = std::unique_ptr<DigestChallenge, FreeChallenge>;

DigestChallenge *const untouched = reinterpret_cast<DigestChallenge *>(8);

int read(Bytes text, ChallengePtr &challenge, bool staleAllowed = false) {
    berval credentials = {text.size(), text.data()};
    DigestChallenge *built = untouched;
    const int code = getDigestChallenge(&credentials, &built, staleAllowed ? 1 : 0);
    const bool isKept = code == LDAP_PROTOCOL_ERROR;
    if (code != 0)
        EXPECT_EQ(built, isKept ? untouched : nullptr);
    else
        challenge.reset(built);
    return code;
}

std::string orNone(const char *text) {
    return text != nullptr ? text : "none";
}

std::string describe(const DigestChallenge &challenge) {
    std::string realms;
    for (const DigestRealm *each = challenge.realms; each != nullptr; each = each->next)
        realms += std::string(each == challenge.realms ? "" : ",") + each->realm;
    return "realms " + realms + " (" + std::to_string(challenge.realmCount) + ") nonce " +
           orNone(challenge.nonce) + " qop " + std::to_string(challenge.qopOptions) + " stale " +
           std::to_string(challenge.stale) + " maxbuf " + std::to_string(challenge.maxbuf) +
           " charset " + orNone(challenge.charset) + " algorithm " + orNone(challenge.algorithm) +
           " cipher " + std::to_string(challenge.cipherOptions);
}

struct ReadCase {
    const char *name;
    Bytes text;
    int code;
    const char *challenge;
};

class Challenges : public testing::TestWithParam<ReadCase> {};

TEST_P(Challenges, Read) {
    ChallengePtr challenge;
    EXPECT_EQ(read(GetParam().text, challenge), GetParam().code);
    EXPECT_EQ(challenge ? describe(*challenge) : "", GetParam().challenge);
}

const Bytes rest = ",nonce=n,qop=auth,algorithm=md5-sess";
const Bytes noQop = "nonce=n,algorithm=md5-sess";
#define PLAIN " stale 0 maxbuf 65536 charset none algorithm md5-sess cipher "

const ReadCase readCases[] = {
    {"Whole",
     "realm=\"a.example\",nonce=\"OA6MG9tEQGm2hh\",qop=\"auth,auth-int,auth-conf\","
     "cipher=\"rc4-40,rc4-56,rc4,des,3des\",maxbuf=1024,charset=utf-8,algorithm=md5-sess",
     0,
     "realms a.example (1) nonce OA6MG9tEQGm2hh qop 7 stale 0 maxbuf 1024 charset utf-8 "
     "algorithm md5-sess cipher 54"},
    {"Least", noQop + ",qop=auth", 0, "realms  (0) nonce n qop 1" PLAIN "0"},
    {"Realms", "realm=a,realm=b,realm=\"\"" + rest, 0, "realms ,b,a (3) nonce n qop 1" PLAIN "0"},
    {"RealmUpToAZero", Bytes("realm=\"a\0b\"", 11) + rest, 0,
     "realms a (1) nonce n qop 1" PLAIN "0"},
    {"UnknownIsIgnored", "Realm=a,x=y,QOP=no" + rest, 0, "realms  (0) nonce n qop 1" PLAIN "0"},
    {"EscapedNonce", "nonce=\"x\\\"y\",qop=auth,algorithm=md5-sess", 0,
     "realms  (0) nonce x\"y qop 1" PLAIN "0"},

    {"QopOfBeginnings", noQop + ",qop=\"au,auth-i,auth-int\"", 0,
     "realms  (0) nonce n qop 3" PLAIN "0"},
    {"QopOther", noQop + ",qop=\"auth,authx,Auth\"", 0, "realms  (0) nonce n qop 9" PLAIN "0"},
    {"QopConfLast", noQop + ",qop=\"auth,auth-conf\",cipher=\"rc4,des\"", 0,
     "realms  (0) nonce n qop 5" PLAIN "36"},
    {"QopTrailingWhite", noQop + ",qop=\"auth \"", 0, "realms  (0) nonce n qop 1" PLAIN "0"},
    {"QopWhiteThenNone", noQop + ",qop=\"auth-int \"", 1006, ""},
    {"QopEmpty", noQop + ",qop=\"\"", 1006, ""},
    {"QopEmptyMayComeAgain", noQop + ",qop=\"\",qop=auth", 0,
     "realms  (0) nonce n qop 1" PLAIN "0"},
    {"QopIntOnly", noQop + ",qop=auth-int", 1006, ""},
    {"QopNone", noQop, 1006, ""},
    {"QopTwice", noQop + ",qop=auth,qop=auth", 1002, ""},
    {"QopTwiceOther", noQop + ",qop=x,qop=auth", 1002, ""},
    {"QopNoComma", noQop + ",qop=\"auth auth-int\"", 1026, ""},
    {"QopTrailingComma", noQop + ",qop=\"auth,\"", 1027, ""},
    {"QopBadCharacter", noQop + ",qop=\"auth;\"", 1030, ""},
    {"QopEscaped", noQop + ",qop=\"au\\th\"", 1030, ""},

    {"CipherOne", "cipher=3des" + rest, 0, "realms  (0) nonce n qop 1" PLAIN "32"},
    {"CipherTwo", "cipher=\"3des,rc4\"" + rest, 0, "realms  (0) nonce n qop 1" PLAIN "33"},
    {"CipherAll", "cipher=\"3des,des,rc4-40,rc4,rc4-56,x\"" + rest, 0,
     "realms  (0) nonce n qop 1" PLAIN "55"},
    {"CipherRc4IsABeginningOfRc4With40", "cipher=\"rc4,x\"" + rest, 0,
     "realms  (0) nonce n qop 1" PLAIN "36"},
    {"CipherBeginning", "cipher=\"rc,x\"" + rest, 0, "realms  (0) nonce n qop 1" PLAIN "36"},
    {"CipherTrailingWhite", "cipher=\"des \"" + rest, 0, "realms  (0) nonce n qop 1" PLAIN "34"},
    {"CipherEmpty", "cipher=\"\"" + rest, 0, "realms  (0) nonce n qop 1" PLAIN "32"},
    {"CipherTwice", "cipher=\"\",cipher=des" + rest, 1002, ""},
    {"CipherNoComma", "cipher=\"des rc4\"" + rest, 1026, ""},
    {"CipherTrailingComma", "cipher=\"des,\"" + rest, 1027, ""},
    {"CipherBadCharacter", "cipher=\"des,(\"" + rest, 1030, ""},
    {"ConfWithoutCipher", noQop + ",qop=\"auth,auth-conf\"", 1007, ""},
    {"ConfWithOneCipher", noQop + ",qop=\"auth,auth-conf\",cipher=3des", 1007, ""},

    {"Maxbuf", "maxbuf=\" 12x\"" + rest, 0,
     "realms  (0) nonce n qop 1 stale 0 maxbuf 12 charset none algorithm md5-sess cipher 0"},
    {"MaxbufTruncated", "maxbuf=4294967297" + rest, 0,
     "realms  (0) nonce n qop 1 stale 0 maxbuf 1 charset none algorithm md5-sess cipher 0"},
    {"MaxbufNegative", "maxbuf=-2" + rest, 0,
     "realms  (0) nonce n qop 1 stale 0 maxbuf 4294967294 charset none algorithm md5-sess "
     "cipher 0"},
    {"MaxbufAsIfNotGiven", "maxbuf=-1,maxbuf=5" + rest, 0,
     "realms  (0) nonce n qop 1 stale 0 maxbuf 5 charset none algorithm md5-sess cipher 0"},
    {"MaxbufZero", "maxbuf=0" + rest, 1001, ""},
    {"MaxbufWord", "maxbuf=abc" + rest, 1001, ""},
    {"MaxbufTruncatedToZero", "maxbuf=4294967296" + rest, 1001, ""},
    {"MaxbufTwice", "maxbuf=1,maxbuf=1" + rest, 1002, ""},

    {"CharsetUpper", "charset=UTF-8" + rest, 1004, ""},
    {"CharsetLonger", "charset=utf-8x" + rest, 1004, ""},
    {"CharsetTwice", "charset=utf-8,charset=utf-8" + rest, 1002, ""},
    {"AlgorithmUpper", "algorithm=MD5-sess,nonce=n,qop=auth", 1003, ""},
    {"AlgorithmBeginning", "algorithm=md5,nonce=n,qop=auth", 1003, ""},
    {"AlgorithmTwice", "algorithm=md5-sess" + rest, 1002, ""},
    {"AlgorithmNone", "nonce=n,qop=auth", 1010, ""},
    {"NonceTwice", "nonce=a" + rest, 1002, ""},
    {"NonceNone", "qop=auth,algorithm=md5-sess", 1008, ""},
    {"NonceEmpty", "nonce=\"\",qop=auth,algorithm=md5-sess", 0,
     "realms  (0) nonce  qop 1" PLAIN "0"},
    {"Stale", "stale=true" + rest, 1009, ""},
    {"StaleBeginning", "stale=t" + rest, 1009, ""},
    {"StaleEmpty", "stale=\"\"" + rest, 1009, ""},
    {"StaleFalse", "stale=false" + rest, 1005, ""},
    {"StaleLonger", "stale=truex" + rest, 1005, ""},
    {"StaleUpper", "stale=TRUE" + rest, 1005, ""},
    {"StaleTwice", "stale=true,stale=true" + rest, 1002, ""},

    {"FirstHandlerFirst", "maxbuf=0,charset=x" + rest, 1001, ""},
    {"HandlersBeforeChecks", "charset=x", 1004, ""},
    {"QopBeforeCipher", "qop=auth-conf", 1006, ""},
    {"CipherBeforeNonce", "qop=\"auth,auth-conf\"", 1007, ""},
    {"NonceBeforeStale", "qop=auth,stale=true", 1008, ""},
    {"StaleBeforeAlgorithm", "qop=auth,stale=true,nonce=n", 1009, ""},
    {"RealmsThenAFault", "realm=a,realm=b,qop=auth", 1008, ""},
    {"Empty", "", 1006, ""},
    {"White", " ", 1006, ""},
    {"NoList", "a=b,,c=d", 2, ""},
    {"OpenQuote", "a=\"b", 2, ""},
};

INSTANTIATE_TEST_SUITE_P(Texts, Challenges, testing::ValuesIn(readCases), caseName<ReadCase>);

TEST(Challenge, StaleWhereItIsTaken) {
    ChallengePtr challenge;
    ASSERT_EQ(read("stale=true" + rest, challenge, true), 0);
    EXPECT_EQ(challenge->stale, 1);
}

TEST(Challenge, WithoutCredentials) {
    DigestChallenge *challenge = untouched;
    EXPECT_EQ(getDigestChallenge(nullptr, &challenge, 0), 1006);
    EXPECT_EQ(challenge, nullptr);
}

TEST(Challenge, NonceByItsLength) {
    Bytes text("nonce=\"x\\\"y\0z\",qop=auth,algorithm=md5-sess", 42);
    ChallengePtr challenge;
    ASSERT_EQ(read(text, challenge), 0);
    EXPECT_EQ(Bytes(challenge->nonce, 7), Bytes("x\"y\0z\0\0", 7));
}

// What a refused directive said is kept in the record.
TEST(Handlers, RefusedValuesAreKept) {
    char name[] = "any", value[] = "UTF-8";
    ParsedDirective directive = {2, name, value, 5, nullptr};
    DigestChallenge challenge = {};
    challenge.maxbuf = 0xFFFFFFFF;
    EXPECT_EQ(handleCharset(&directive, &challenge), 1004);
    EXPECT_STREQ(challenge.charset, "UTF-8");
    EXPECT_EQ(handleCharset(&directive, &challenge), 1002);
    EXPECT_EQ(handleAlgorithm(&directive, &challenge), 1003);
    EXPECT_STREQ(challenge.algorithm, "UTF-8");
    EXPECT_EQ(handleMaxbuf(&directive, &challenge), 1001);
    EXPECT_EQ(challenge.maxbuf, 0U);
    EXPECT_EQ(handleMaxbuf(&directive, &challenge), 1002);
    EXPECT_EQ(handleStale(&directive, &challenge), 1005);
    EXPECT_EQ(challenge.stale, 0);
    ldapx_memfree(challenge.charset);
    ldapx_memfree(challenge.algorithm);
}

TEST(Handlers, FaultyTokensAreNoted) {
    char name[] = "any", value[] = "auth,des;";
    ParsedDirective directive = {2, name, value, 9, nullptr};
    DigestChallenge challenge = {};
    EXPECT_EQ(handleQop(&directive, &challenge), 1030);
    EXPECT_EQ(challenge.qopOptions, 9);
    EXPECT_EQ(handleCipher(&directive, &challenge), 1030);
    EXPECT_EQ(challenge.cipherOptions, 32);
}

// Callers take the strings of realms out of a challenge.
TEST(Challenge, ReleaseLeavesTheRealms) {
    Bytes text = "realm=abc" + rest;
    berval credentials = {text.size(), text.data()};
    DigestChallenge *challenge = nullptr;
    ASSERT_EQ(getDigestChallenge(&credentials, &challenge, 0), 0);
    char *realm = challenge->realms->realm;
    freeDigestChallenge(challenge);
    EXPECT_STREQ(realm, "abc");
    ldapx_memfree(realm);
}

struct ProofCase {
    const char *name;
    Bytes text;
    int code;
    const char *rspauth;
};

class ProofText : public testing::TestWithParam<ProofCase> {};

TEST_P(ProofText, Read) {
    Bytes text = GetParam().text;
    berval credentials = {text.size(), text.data()};
    char unwritten[] = "unwritten";
    char *rspauth = unwritten;
    EXPECT_EQ(getResponseAuth(&credentials, &rspauth), GetParam().code);
    EXPECT_EQ(orNone(rspauth), GetParam().rspauth);
    ldapx_memfree(rspauth);
}

const ProofCase proofCases[] = {
    {"Token", "rspauth=ab12", 0, "ab12"},
    {"Quoted", "rspauth=\"ab\\12\"", 0, "ab12"},
    {"More", "rspauth=ab,x=y", 0, "ab"},
    {"Blank", "rspauth=\"\"", 0, ""},
    {"Empty", "", 0, "none"},
    {"White", "  ", 0, "none"},
    {"OtherFirst", "x=y,rspauth=ab", 2, "none"},
    {"OtherCase", "Rspauth=ab", 2, "none"},
    {"Longer", "rspauthx=ab", 2, "none"},
    {"Beginning", "rsp=ab", 2, "none"},
    {"NoList", "rspauth", 2, "none"},
};

INSTANTIATE_TEST_SUITE_P(Texts, ProofText, testing::ValuesIn(proofCases), caseName<ProofCase>);

} // namespace
} // namespace qldapx_test
