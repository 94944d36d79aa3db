// The watch itself, against a list of what is allocated.
#include "heap_watch.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>

namespace {

using qldapx_fuzz::HeapWatch;

constexpr std::size_t received = 1000;
constexpr std::size_t most = 16 * received + (64U << 10U);

// So that the compiler does not leave it out.
void *allocate(std::size_t size) {
    void *(*volatile function)(std::size_t) = std::malloc;
    return function(size);
}

struct Block {
    void *start;
    std::size_t size;
};

// Many are alive at once, and end in any order.
TEST(HeapWatchBlocks, AreCountedUntilReleased) {
    constexpr int steps = 200000;
    constexpr std::size_t room = 5000;
    std::mt19937 random(1);
    std::vector<Block> alive;
    alive.reserve(room);
    std::size_t bytes = 0, peak = 0, wrong = 0;
    HeapWatch watch(received);
    for (int step = 0; step < steps; ++step) {
        const bool grows = random() % 100 < (step / 10000 % 2 == 0 ? 70 : 30);
        if (alive.empty() || (grows && alive.size() < room)) {
            const std::size_t size = 1 + random() % 100;
            alive.push_back({allocate(size), size});
            peak = std::max(peak, bytes += size);
        } else {
            std::swap(alive[random() % alive.size()], alive.back());
            bytes -= alive.back().size;
            std::free(alive.back().start);
            alive.pop_back();
        }
        wrong += watch.blocksLeft() == alive.size() && watch.peak() == peak ? 0 : 1;
    }
    EXPECT_EQ(wrong, 0U);
    watch.releaseAll();
    EXPECT_EQ(watch.blocksLeft(), 0U);
}

TEST(HeapWatchDeathTest, EndsTheProcessForALeak) {
    EXPECT_DEATH(
        {
            const HeapWatch watch(received);
            allocate(1);
        },
        "left over");
}

TEST(HeapWatchDeathTest, EndsTheProcessForAnInputThatTakesTooMuch) {
    EXPECT_DEATH(
        {
            const HeapWatch watch(received);
            std::free(allocate(most));
            std::fputs("so far so good\n", stderr);
            std::free(allocate(most + 1));
        },
        "so far so good\n.*larger than what was received");
}

} // namespace
