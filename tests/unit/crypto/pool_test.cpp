// The random pool: its results and its estimate. What it writes, byte for byte, the model's tests
// know.
#include <algorithm>
#include <gtest/gtest.h>
#include <qldapx.h>
#include <vector>

namespace qldapx_test {
namespace {

class RandomPool : public testing::Test {
  protected:
    void SetUp() override { XRAND_cleanup(); }
    void TearDown() override { XRAND_cleanup(); }
    unsigned char bytes[64] = {};
};

TEST_F(RandomPool, FirstOutputGathers) {
    EXPECT_EQ(XRAND_bytes(bytes, sizeof bytes), 0);
    EXPECT_EQ(XRAND_status(), 1);
    EXPECT_FALSE(std::all_of(bytes, bytes + sizeof bytes, [](auto byte) { return byte == 0; }));
}

TEST_F(RandomPool, StatusGathersAgainAfterACleanUp) {
    EXPECT_EQ(XRAND_status(), 1);
    XRAND_cleanup();
    EXPECT_EQ(XRAND_status(), 1);
}

TEST_F(RandomPool, PollSaysOne) {
    EXPECT_EQ(XRAND_poll(), 1);
}

TEST_F(RandomPool, PseudoBytesAreBytes) {
    EXPECT_EQ(XRAND_pseudo_bytes(bytes, 8), 0);
    XRAND_cleanup();
    XRAND_add("x", 1, -100.0);
    EXPECT_EQ(XRAND_pseudo_bytes(bytes, 8), 100);
}

// Twenty units of gathering reach the threshold; a debt before it leaves them short by one.
TEST_F(RandomPool, Threshold) {
    XRAND_add("x", 1, -1.0);
    EXPECT_EQ(XRAND_status(), 0);
    EXPECT_EQ(XRAND_bytes(bytes, 0), 100);
    XRAND_add("x", 1, 1.0);
    EXPECT_EQ(XRAND_status(), 1);
    EXPECT_EQ(XRAND_bytes(bytes, 0), 0);
}

// Output costs entropy only while there is too little, and never more than there is.
TEST_F(RandomPool, OutputLowersAPoorEstimate) {
    XRAND_add("x", 1, -5.0);
    EXPECT_EQ(XRAND_status(), 0); // 15
    EXPECT_EQ(XRAND_bytes(bytes, 10), 100);
    XRAND_add("x", 1, 14.0); // 19
    EXPECT_EQ(XRAND_bytes(bytes, 64), 100);
    XRAND_add("x", 1, 20.0);
    EXPECT_EQ(XRAND_bytes(bytes, 64), 0);
    EXPECT_EQ(XRAND_bytes(bytes, 64), 0);
}

TEST_F(RandomPool, SeedCreditsItsBytes) {
    XRAND_add("x", 1, -20.0);
    EXPECT_EQ(XRAND_status(), 0);
    XRAND_seed("0123456789", 10);
    EXPECT_EQ(XRAND_status(), 0);
    XRAND_seed("0123456789", 10);
    EXPECT_EQ(XRAND_status(), 1);
}

// A credit counts only while the estimate is below the threshold.
TEST_F(RandomPool, NothingIsCreditedAboveTheThreshold) {
    XRAND_seed("0123456789", 10);
    EXPECT_EQ(XRAND_status(), 1);
    XRAND_add("x", 1, -100.0);
    EXPECT_EQ(XRAND_status(), 1);
}

TEST_F(RandomPool, NegativeCountsAreNone) {
    XRAND_add(nullptr, -1, 0.0);
    XRAND_seed(nullptr, -100);
    EXPECT_EQ(XRAND_bytes(bytes, -5), 0);
    EXPECT_TRUE(std::all_of(bytes, bytes + sizeof bytes, [](auto byte) { return byte == 0; }));
}

TEST_F(RandomPool, OutputsDiffer) {
    std::vector<unsigned char> first(3000), second(3000);
    EXPECT_EQ(XRAND_bytes(first.data(), 3000), 0);
    EXPECT_EQ(XRAND_bytes(second.data(), 3000), 0);
    EXPECT_NE(first, second);
}

} // namespace
} // namespace qldapx_test
