// The mutexes for a crypto library, and that of the random pool.
#include <cerrno>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <qldapx.h>
#include <thread>

namespace qldapx_test {
namespace {

int tryElsewhere(pthread_mutex_t &mutex) {
    int result = 0;
    std::thread([&] {
        result = pthread_mutex_trylock(&mutex);
        if (result == 0)
            pthread_mutex_unlock(&mutex);
    }).join();
    return result;
}

TEST(Locks, EachOfThe41) {
    static_assert(sizeof g_Locks == 41 * sizeof(pthread_mutex_t));
    LockInit();
    for (int i = 0; i < QLDAPX_LOCK_COUNT; ++i) {
        EXPECT_EQ(LockCallback(1, i), 0);
        EXPECT_EQ(tryElsewhere(g_Locks[i]), EBUSY);
        EXPECT_EQ(LockCallback(2, i), 0);
        EXPECT_EQ(tryElsewhere(g_Locks[i]), 0);
    }
    LockCleanUp();
}

// Lock for reading (bits 0 and 2) is lock; unlock for writing (bits 1 and 3) is unlock.
TEST(Locks, OnlyBit0OfTheModeCounts) {
    LockInit();
    EXPECT_EQ(LockCallback(1 | 4, 7), 0);
    EXPECT_EQ(tryElsewhere(g_Locks[7]), EBUSY);
    EXPECT_EQ(LockCallback(2 | 8, 7), 0);
    EXPECT_EQ(tryElsewhere(g_Locks[7]), 0);
    LockCleanUp();
}

TEST(Locks, CleanUpEndsHeldOnes) {
    LockInit();
    LockCallback(1, 0);
    LockCallback(1, 40);
    LockCleanUp();
    LockInit();
    for (auto &lock : g_Locks)
        EXPECT_EQ(tryElsewhere(lock), 0);
    LockCleanUp();
}

// glibc destroys no mutex that is held, and one that was free is held by the look at it.
TEST(Locks, CleanUpHoldsFreeOnes) {
    LockInit();
    LockCallback(1, 3);
    LockCleanUp();
    EXPECT_EQ(tryElsewhere(g_Locks[2]), EBUSY);
    EXPECT_NE(tryElsewhere(g_Locks[3]), EBUSY);
    LockInit();
    LockCleanUp();
}

// An output waits for whoever has the lock.
TEST(PoolLock, Excludes) {
    ASSERT_EQ(CRYPTO_w_lock(), 0);
    std::future<int> output = std::async(std::launch::async, [] {
        unsigned char byte = 0;
        return XRAND_bytes(&byte, 1);
    });
    EXPECT_EQ(output.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    ASSERT_EQ(CRYPTO_w_unlock(), 0);
    EXPECT_EQ(output.get(), 0);
}

TEST(PoolLock, SetUpAndCleanUp) {
    EXPECT_EXIT(
        {
            CRYPTO_thread_setup();
            CRYPTO_thread_cleanup();
            exit(0);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace qldapx_test
