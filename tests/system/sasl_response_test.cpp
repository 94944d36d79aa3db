// The answer to a challenge, against the arithmetic of RFC 2831, 2.1.2.1: servers commonly try more
// than one reading of a password, so that none of them tells how it was hashed.
#include "system/challenge_peer.h"
#include "system/sasl.h"

#include <array>
#include <gtest/gtest.h>
#include <openssl/evp.h>

namespace test {
namespace {

using namespace qldapx_test;

std::string md5(const std::string &text) {
    std::array<unsigned char, 16> digest{};
    EXPECT_EQ(EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_md5(), nullptr), 1);
    return std::string(digest.begin(), digest.end());
}

std::string hex(const std::string &bytes) {
    std::string digits = toHex(bytes);
    std::erase(digits, ' ');
    return digits;
}

/** The value of a directive of the answer, without its quotation marks. */
std::string directive(const Bytes &answer, const std::string &name) {
    const std::size_t begin = answer.find(name + "=") + name.size() + 1;
    const std::string value = answer.substr(begin, answer.find(',', begin) - begin);
    return value.starts_with('"') ? value.substr(1, value.size() - 2) : value;
}

std::string response(const Bytes &answer, const std::string &hashedPassword) {
    const std::string cnonce = directive(answer, "cnonce");
    const std::string secret = md5("ada:home:" + hashedPassword);
    const std::string proof = hex(md5(secret + ":abc:" + cnonce));
    const std::string act = hex(md5("AUTHENTICATE:" + directive(answer, "digest-uri")));
    return hex(md5(proof + ":abc:00000001:" + cnonce + ":auth:" + act));
}

TEST(SaslResponse, IsMadeOfThePasswordAsRfc2831HashesIt) {
    const struct {
        const char *typed, *hashed;
    } passwords[] = {{"secret", "secret"},
                     {"gr\xc3\xbc\xc3\x9f", "gr\xfc\xdf"},
                     {"\xce\xb1\xce\xb2", "\xce\xb1\xce\xb2"},
                     {"gr\xfc\xdf", "gr\xfc\xdf"}};
    for (const auto &each : passwords) {
        ChallengePeer peer(
            R"(realm="home",nonce="abc",qop="auth",charset=utf-8,algorithm=md5-sess)");
        const Result result = runTool(digestBind("ada", each.typed, {"whoami", "--timeout", "1"}),
                                      losingBind(peer.uri()));
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(directive(peer.rest(), "response"), response(peer.rest(), each.hashed));
    }
}

} // namespace
} // namespace test
