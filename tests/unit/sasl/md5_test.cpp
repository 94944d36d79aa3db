// MD5: RFC 1321's suite, whole and in pieces, and the contract of its functions.
#include "sasl/proof.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <qldapx/md5.h>

namespace qldapx_test {
namespace {

const unsigned char *asBytes(const Bytes &text) {
    return reinterpret_cast<const unsigned char *>(text.data());
}

std::string inTwoPieces(const Bytes &text, std::size_t first) {
    QldapxMD5Context context;
    unsigned char digest[16];
    MD5Init(&context);
    MD5Update(&context, text.data(), first);
    MD5Update(&context, text.data() + first, text.size() - first);
    MD5Final(digest, &context);
    return hexOf({reinterpret_cast<char *>(digest), sizeof digest});
}

// RFC 1321, A.5.
const std::pair<const char *, const char *> suite[] = {
    {"", "d41d8cd98f00b204e9800998ecf8427e"},
    {"a", "0cc175b9c0f1b6a831c399e269772661"},
    {"abc", "900150983cd24fb0d6963f7d28e17f72"},
    {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
    {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
    {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
     "d174ab98d277d9f5a5611c2c9f419d9f"},
    {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
     "57edf4a22be3c955ac49da2e2107b67a"},
};

TEST(Md5, SuiteOfRfc1321) {
    for (const auto &[text, expected] : suite) {
        const Bytes bytes = text;
        unsigned char digest[16];
        EXPECT_EQ(MD5(asBytes(bytes), bytes.size(), digest), digest);
        EXPECT_EQ(hexOf({reinterpret_cast<char *>(digest), sizeof digest}), expected);
        for (std::size_t first = 0; first <= bytes.size(); ++first)
            EXPECT_EQ(inTwoPieces(bytes, first), expected) << text << " " << first;
    }
}

// Around each length at which the padding takes another block.
TEST(Md5, EveryLengthAndSplit) {
    Bytes text;
    for (std::size_t length = 0; length <= 200; ++length) {
        const std::string expected = hexOf(md5Of(text));
        for (std::size_t first = 0; first <= length; ++first)
            ASSERT_EQ(inTwoPieces(text, first), expected) << length << " " << first;
        text += static_cast<char>(length * 7 + 3);
    }
}

TEST(Md5, TheLibrarysOwnBuffer) {
    unsigned char *const first = MD5(asBytes("a"), 1, nullptr);
    EXPECT_EQ(hexOf({reinterpret_cast<char *>(first), 16}), suite[1].second);
    EXPECT_EQ(MD5(asBytes("abc"), 3, nullptr), first);
    EXPECT_EQ(hexOf({reinterpret_cast<char *>(first), 16}), suite[2].second);
}

TEST(Md5, InitialContext) {
    QldapxMD5Context context;
    std::memset(&context, 0xff, sizeof context);
    MD5Init(&context);
    EXPECT_EQ(context.chain[0], 0x67452301U);
    EXPECT_EQ(context.chain[1], 0xefcdab89U);
    EXPECT_EQ(context.chain[2], 0x98badcfeU);
    EXPECT_EQ(context.chain[3], 0x10325476U);
    EXPECT_EQ(context.bitCount[0] | context.bitCount[1], 0U);
}

TEST(Md5, FinalClears) {
    QldapxMD5Context context;
    unsigned char digest[16];
    MD5Init(&context);
    MD5Update(&context, "secret", 6);
    EXPECT_EQ(std::memcmp(context.pending, "secret", 6), 0);
    MD5Final(digest, &context);
    const auto *bytes = reinterpret_cast<const unsigned char *>(&context);
    EXPECT_TRUE(std::all_of(bytes, bytes + sizeof context, [](auto byte) { return byte == 0; }));
}

// The count carries into its high word, and is taken modulo 2^64.
TEST(Md5, BitCountAcrossItsWords) {
    QldapxMD5Context context;
    MD5Init(&context);
    context.bitCount[0] = 0xfffffff8;
    MD5Update(&context, "", 0);
    EXPECT_EQ(context.bitCount[1], 0U);
    MD5Update(&context, "a", 1);
    EXPECT_EQ(context.bitCount[0], 0U);
    EXPECT_EQ(context.bitCount[1], 1U);
    context.bitCount[1] = 0xffffffff;
    context.bitCount[0] = 0xfffffe00;
    const Bytes block(64, 'x');
    MD5Update(&context, block.data(), block.size());
    EXPECT_EQ(context.bitCount[0], 0U);
    EXPECT_EQ(context.bitCount[1], 0U);
}

// The high half of each word is not looked at, whatever a caller has put there.
TEST(Md5, HighWordsOfTheContext) {
    QldapxMD5Context context, plain;
    MD5Init(&plain);
    context = plain;
    for (auto &word : context.chain)
        word |= 0xabcdef0100000000;
    context.bitCount[1] |= 0x100000000;
    unsigned char digests[2][16];
    MD5Update(&context, "abc", 3);
    MD5Update(&plain, "abc", 3);
    MD5Final(digests[0], &context);
    MD5Final(digests[1], &plain);
    EXPECT_EQ(std::memcmp(digests[0], digests[1], 16), 0);
}

} // namespace
} // namespace qldapx_test
