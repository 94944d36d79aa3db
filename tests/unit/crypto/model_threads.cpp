// Many threads on the random pool, for a ThreadSanitizer to look at: a data race ends the program
// with a report. What the threads get cannot be foretold, but that it lies within the contract can.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <qldapx/crypto_lock.h>
#include <qldapx/random_pool.h>
#include <random>
#include <thread>

namespace {

constexpr unsigned threadCount = 6, rounds = 3000;
constexpr int mostBytes = 300;

// Guarded by nothing but the lock of the pool.
long guardedCount = 0;

void require(bool holds, const char *what) {
    if (holds)
        return;
    std::fprintf(stderr, "not so: %s\n", what);
    std::exit(1);
}

using Draw = int(unsigned char *, int);

void draw(Draw *from, int count) {
    constexpr unsigned char fence = 0xA5;
    std::array<unsigned char, mostBytes + 2> block;
    block.fill(fence);
    const int result = from(block.data() + 1, count);
    require(result == 0 || result == 100, "a draw says 0 or 100");
    require(block[0] == fence && block[static_cast<std::size_t>(count) + 1] == fence,
            "a draw writes what it was asked for");
}

void guard() {
    require(CRYPTO_w_lock() == 0, "the lock is taken");
    ++guardedCount;
    require(CRYPTO_w_unlock() == 0, "the lock is given back");
}

void callOne(std::mt19937 &random, bool mayCleanUp) {
    static const std::array<char, mostBytes> bytes{};
    const int count = static_cast<int>(random() % mostBytes);
    switch (random() % 10) {
    case 0:
        return XRAND_seed(bytes.data(), count);
    case 1:
    case 2:
        return XRAND_add(bytes.data(), count, random() % 2 == 0 ? -3.0 : 1.0);
    case 3:
        return draw(XRAND_pseudo_bytes, count);
    case 4:
        return require(XRAND_poll() == 1, "a poll says 1");
    case 5:
        return require((XRAND_status() | 1) == 1, "the status is 0 or 1");
    case 6:
        return mayCleanUp ? XRAND_cleanup() : guard();
    case 7:
        return guard();
    default:
        return draw(XRAND_bytes, count);
    }
}

void runThreads(bool mayCleanUp) {
    std::array<std::thread, threadCount> threads;
    for (unsigned number = 0; number < threadCount; ++number)
        threads[number] = std::thread([=] {
            std::mt19937 random(number);
            for (unsigned i = 0; i < rounds; ++i)
                callOne(random, mayCleanUp);
        });
    for (std::thread &thread : threads)
        thread.join();
}

void requireGoodPool() {
    XRAND_cleanup();
    require(XRAND_status() == 1, "a pool that begins anew gathers enough");
    std::array<unsigned char, 64> first{}, second{};
    require(XRAND_bytes(first.data(), 64) == 0, "the first bytes are good");
    require(XRAND_bytes(second.data(), 64) == 0, "the next bytes are good");
    require(first != second && first != decltype(first)(), "they differ");
}

} // namespace

int main() {
    for (const bool mayCleanUp : {false, true}) {
        runThreads(mayCleanUp);
        requireGoodPool();
    }
    require(guardedCount > 0, "the lock was used");
    return 0;
}
