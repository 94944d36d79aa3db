#include "digest.h"
#include "in_process.h"

#include <gtest/gtest.h>

#include <cctype>
#include <random>

namespace {

using digest_client::Response;

/** A server that has sent its challenge, and texts that come as responses to it. */
class SaslHostileTest : public testing::Test {
  protected:
    /** A right response to a new challenge. */
    std::string right() {
        Response response{
            .nonce = digest_client::valueIn(server_.ask(digest_client::begin()).value, "nonce")};
        response.charset = "utf-8";
        return response.text();
    }
    int answerTo(const std::string &text) {
        return server_.ask(digest_client::request("DIGEST-MD5", &text)).code;
    }
    void expectRefused(const std::string &text) {
        const int code = answerTo(text);
        EXPECT_TRUE(code == 2 || code == 49) << code << " " << text;
        EXPECT_EQ(server_.identity.dn, "") << text;
        EXPECT_FALSE(server_.closed);
    }

    InProcess server_;
};

TEST_F(SaslHostileTest, PrefixesOfARightResponse) {
    const std::size_t size = right().size();
    for (std::size_t length = 0; length < size; ++length)
        expectRefused(right().substr(0, length));
    EXPECT_EQ(answerTo(right()), 0);
}

TEST_F(SaslHostileTest, FlippedBytesOfARightResponse) {
    const std::size_t size = right().size();
    for (std::size_t at = 0; at < size; ++at) {
        std::string text = right();
        text[at] = static_cast<char>(~text[at]);
        expectRefused(text);
    }
}

/** The names of directives have no case, and what is not known is passed over. */
bool saysTheSame(const std::string &text, std::size_t at, char flipped) {
    const std::size_t begin = text.rfind(',', at) + 1;
    const std::size_t equals = text.find('=', begin);
    const std::string name = text.substr(begin, equals - begin);
    if (name == "charset" && at > equals) // the value: neither
        return (text[at] ^ flipped) == 0x20 && std::isalpha(static_cast<unsigned char>(flipped));
    if (at >= equals || text[at] == ',')
        return false;
    return name == "qop" || name == "charset" || (text[at] ^ flipped) == 0x20;
}

TEST_F(SaslHostileTest, FlippedBitsOfARightResponse) {
    const std::size_t size = right().size();
    for (std::size_t at = 0; at < size; ++at) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            std::string text = right();
            const char flipped =
                static_cast<char>(static_cast<unsigned char>(text[at]) ^ 1U << bit);
            const bool same = saysTheSame(text, at, flipped);
            text[at] = flipped;
            if (same)
                answerTo(text);
            else
                expectRefused(text);
        }
    }
}

TEST_F(SaslHostileTest, BytesByChance) {
    std::mt19937 random(1);
    const std::string alphabet = "username=\"realm,\\nonce \t\r\n\x01\x7f\xff\xc3\xa9";
    for (int i = 0; i < 2000; ++i) {
        std::string text = right();
        for (unsigned edits = random() % 8 + 1; edits > 0; --edits)
            text.insert(random() % text.size(), 1, alphabet[random() % alphabet.size()]);
        answerTo(text);
    }
    for (int i = 0; i < 2000; ++i) {
        right();
        std::string text(random() % 200, ' ');
        for (char &c : text)
            c = alphabet[random() % alphabet.size()];
        expectRefused(text);
    }
}

TEST_F(SaslHostileTest, SizesAtTheLimit) {
    const std::string text = right();
    EXPECT_EQ(answerTo(text + std::string(4095 - text.size(), ',')), 0);
    const std::string other = right();
    EXPECT_EQ(answerTo(other + std::string(4096 - other.size(), ',')), 2);
    right();
    EXPECT_EQ(answerTo(std::string(1 << 20, ',')), 2);
    right();
    EXPECT_EQ(answerTo(std::string("username=\"\0\"", 12)), 2);
}

} // namespace
