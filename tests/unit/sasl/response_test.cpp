// The arithmetic and the text of the response, from their source: they are not exported.
#include "sasl/response.h"

#include "sasl/proof.h"
#include "support/case_name.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>

namespace qldapx_test {
namespace {

using qldapx::hexSize;

// RFC 2831, section 4.
const Proof rfcExample = {"chris",          "elwood.innosoft.com", "secret",
                          "OA6MG9tEQGm2hh", "OA6MHXh6VqTrRk",      "imap/elwood.innosoft.com"};

std::string ha1(const Proof &proof) {
    char hex[hexSize];
    qldapx::DigestCalcHA1(proof.algorithm.c_str(), proof.user.c_str(), proof.realm.c_str(),
                          proof.password.data(), proof.password.size(), proof.nonce.c_str(),
                          proof.cnonce.c_str(), hex);
    return hex;
}

std::string value(const Proof &proof, bool withMethod) {
    char secret[hexSize], hex[hexSize];
    ha1(proof).copy(secret, sizeof secret);
    secret[hexSize - 1] = '\0';
    qldapx::DigestCalcResponse(secret, proof.nonce.c_str(), proof.count.c_str(),
                               proof.cnonce.c_str(), proof.qop.c_str(), "AUTHENTICATE",
                               proof.digestUri.c_str(), withMethod, hex);
    return hex;
}

TEST(Response, OfRfc2831) {
    EXPECT_EQ(value(rfcExample, true), "d388dad90d4bbd760a152321f2143af7");
    EXPECT_EQ(value(rfcExample, false), "ea40f60335c427b5527b84dbabcdfffd");
    EXPECT_EQ(rfcExample.client(), value(rfcExample, true));
}

struct ArithmeticCase {
    const char *name;
    Proof proof;
};

class Arithmetic : public testing::TestWithParam<ArithmeticCase> {};

TEST_P(Arithmetic, AsOpenSslHasIt) {
    const Proof &proof = GetParam().proof;
    EXPECT_EQ(ha1(proof), proof.ha1());
    EXPECT_EQ(value(proof, true), proof.client());
    EXPECT_EQ(value(proof, false), proof.server());
}

const ArithmeticCase arithmeticCases[] = {
    {"NoRealm", {"u", "", "p", "n", "c", "ldap/h"}},
    {"NoPassword", {"u", "r", "", "n", "c", "ldap/h"}},
    {"ZeroInThePassword", {"u", "r", Bytes("a\0b", 3), "n", "c", "ldap/h"}},
    {"NoHost", {"u", "r", "p", "n", "c", "ldap/"}},
    {"OtherAlgorithm", {"u", "r", "p", "n", "c", "ldap/h", "md5"}},
    {"LongerAlgorithm", {"u", "r", "p", "n", "c", "ldap/h", "md5-sessx"}},
    {"NoQop", {"u", "r", "p", "n", "c", "ldap/h", "md5-sess", ""}},
    {"Integrity", {"u", "r", "p", "n", "c", "ldap/h", "md5-sess", "auth-int"}},
    {"Confidentiality", {"u", "r", "p", "n", "c", "ldap/h", "md5-sess", "auth-conf"}},
    {"LaterCount", {"u", "r", "p", "n", "c", "ldap/h", "md5-sess", "auth", "0000000a"}},
    {"Utf8", {"\xc3\xbc", "\xcf\x80", "\xcf\x80\xc3\xbc", "n", "c", "ldap/h"}},
};

INSTANTIATE_TEST_SUITE_P(Values, Arithmetic, testing::ValuesIn(arithmeticCases),
                         caseName<ArithmeticCase>);

TEST(Response, SmallLettersHighHalfFirst) {
    const unsigned char digest[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef,
                                      0x10, 0x32, 0x54, 0x76, 0x98, 0xba, 0xdc, 0xfe};
    char hex[hexSize];
    qldapx::ConvertHex(digest, hex);
    EXPECT_STREQ(hex, "0123456789abcdef1032547698badcfe");
}

struct Challenge {
    explicit Challenge(std::string nonceText = "N", int qop = 1)
        : nonce(std::move(nonceText)), record{} {
        record.nonce = nonce.data();
        record.algorithm = algorithm.data();
        record.qopOptions = qop;
    }
    Challenge(const Challenge &) = delete;
    Challenge &operator=(const Challenge &) = delete;

    std::string nonce, algorithm = "md5-sess";
    DigestChallenge record;
};

struct Free {
    void operator()(char *text) const { std::free(text); }
};

struct Created {
    Created(const Challenge &challenge, const Proof &proof, int count = 1) {
        berval response = {4711, nullptr};
        code = qldapx::createDigestResponse(
            proof.user.c_str(), proof.password.data(), proof.password.size(), proof.realm.c_str(),
            proof.digestUri.c_str() + 5, proof.cnonce.c_str(), count, &challenge.record, &response);
        owner.reset(response.bv_val);
        length = response.bv_len;
        text = response.bv_val != nullptr ? std::string(response.bv_val, length) : "none";
    }

    int code = 0;
    std::size_t length = 0;
    std::string text;
    std::unique_ptr<char, Free> owner;
};

Proof plainProof() {
    return {"U", "R", "p", "N", "C", "ldap/H"};
}

TEST(ResponseText, InItsOrder) {
    const Proof proof = plainProof();
    const Created created(Challenge(), proof);
    ASSERT_EQ(created.code, LDAP_SUCCESS);
    EXPECT_EQ(created.text, "username=\"U\",realm=\"R\",cnonce=\"C\",nc=00000001,qop=auth,"
                            "digest-uri=\"ldap/H\",response=" +
                                proof.client() + ",charset=utf-8,nonce=\"N\"");
    EXPECT_EQ(created.owner.get()[created.length], '\0');
}

TEST(ResponseText, WithoutRealm) {
    Proof proof = plainProof();
    proof.realm = "";
    EXPECT_EQ(Created(Challenge(), proof).text,
              "username=\"U\",cnonce=\"C\",nc=00000001,qop=auth,digest-uri=\"ldap/H\",response=" +
                  proof.client() + ",charset=utf-8,nonce=\"N\"");
}

TEST(ResponseText, NothingIsEscaped) {
    Proof proof = plainProof();
    proof.user = "a\"b\\c";
    EXPECT_EQ(Created(Challenge(), proof).text.rfind("username=\"a\"b\\c\",realm=", 0), 0U);
}

struct QopCase {
    const char *name;
    int options;
    const char *text;
};

class ResponseQop : public testing::TestWithParam<QopCase> {};

TEST_P(ResponseQop, Chosen) {
    Proof proof = plainProof();
    proof.qop = GetParam().text;
    proof.count = "000000ff";
    const Created created(Challenge("N", GetParam().options), proof, 255);
    EXPECT_EQ(directiveIn(created.text, "qop"), GetParam().text);
    EXPECT_EQ(directiveIn(created.text, "nc"), "000000ff");
    EXPECT_EQ(directiveIn(created.text, "response"), proof.client());
}

const QopCase qopCases[] = {
    {"All", 15, "auth"},
    {"Integrity", 6, "auth-int"},
    {"Confidentiality", 12, "auth-conf"},
    {"Other", 8, ""},
    {"None", 0, ""},
};

INSTANTIATE_TEST_SUITE_P(Options, ResponseQop, testing::ValuesIn(qopCases), caseName<QopCase>);

// The nonce is the server's: 4095 bytes and the zero fit, one more does not.
TEST(ResponseText, LongestThatFits) {
    const std::size_t others = Created(Challenge(""), plainProof()).length;
    const Created fits(Challenge(std::string(4095 - others, 'n')), plainProof());
    EXPECT_EQ(fits.code, LDAP_SUCCESS);
    EXPECT_EQ(fits.length, 4095U);
    const Created tooLong(Challenge(std::string(4096 - others, 'n')), plainProof());
    EXPECT_EQ(tooLong.code, LDAP_PARAM_ERROR);
    EXPECT_EQ(tooLong.text, "none");
    EXPECT_EQ(tooLong.length, 0U);
    Proof proof = plainProof();
    proof.realm.assign(100000, 'r');
    EXPECT_EQ(Created(Challenge(), proof).code, LDAP_PARAM_ERROR);
}

struct VerdictCase {
    const char *name;
    Bytes before, after; // around the right 32 characters; '!' in before: another text instead
    int code;
};

class Verdict : public testing::TestWithParam<VerdictCase> {};

TEST_P(Verdict, OnTheServer) {
    const Proof proof = plainProof();
    const bool isOther = GetParam().before.find('!') != Bytes::npos;
    Bytes text = isOther ? GetParam().after : GetParam().before + proof.server() + GetParam().after;
    berval credentials = {text.size(), text.data()};
    const Challenge challenge;
    EXPECT_EQ(qldapx::validateServerResponse("U", "p", 1, "R", "H", "C", 1, &challenge.record,
                                             &credentials),
              GetParam().code);
}

std::string upperProof() {
    std::string text = plainProof().server();
    for (char &c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

const VerdictCase verdictCases[] = {
    {"Right", "rspauth=", "", 0},
    {"Quoted", "rspauth=\"", "\"", 0},
    {"MoreDirectives", "rspauth=", ",x=y", 0},
    {"Longer", "rspauth=", "0", 49},
    {"LongerByAZero", "rspauth=\"", Bytes("\0x\"", 3), 0},
    {"Before", "rspauth=0", "", 49},
    {"TheClients", "!", "rspauth=" + plainProof().client(), 49},
    {"Upper", "!", "rspauth=" + upperProof(), 49},
    {"Shorter", "!", "rspauth=" + plainProof().server().substr(0, 31), 49},
    {"Blank", "!", "rspauth=\"\"", 49},
    {"Empty", "!", "", 49},
    {"OtherDirective", "!", "x=y", 2},
    {"NoList", "!", "rspauth", 2},
};

INSTANTIATE_TEST_SUITE_P(Proofs, Verdict, testing::ValuesIn(verdictCases), caseName<VerdictCase>);

TEST(VerdictOn, NoCredentials) {
    const Challenge challenge;
    EXPECT_EQ(
        qldapx::validateServerResponse("U", "p", 1, "R", "H", "C", 1, &challenge.record, nullptr),
        49);
}

} // namespace
} // namespace qldapx_test
