// The context of MD5, member by member. What is digested, the model's tests know.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <qldapx/md5.h>

namespace qldapx_test {
namespace {

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
    const char block[64] = {};
    MD5Update(&context, block, sizeof block);
    EXPECT_EQ(context.bitCount[0], 0U);
    EXPECT_EQ(context.bitCount[1], 0U);
}

} // namespace
} // namespace qldapx_test
