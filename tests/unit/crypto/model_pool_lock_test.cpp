// The lock of the pool, and those of g_Locks.
#include "crypto/model_child.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <fstream>
#include <qldapx/crypto_lock.h>
#include <qldapx/random_pool.h>
#include <qldapx/state.h>
#include <string>
#include <sys/syscall.h>
#include <thread>

namespace qldapx_test::pool_model {
namespace {

// The state of a thread of this process, as ps shows it.
char stateOf(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    return line.empty() ? 'X' : line.at(line.rfind(')') + 2);
}

// A call that waits while somebody else holds the pool's lock. What it does before it waits is
// short; a thread that is done has no state of its own any more.
void waitsForTheLock(void (*call)()) {
    std::atomic<pid_t> id{0};
    std::atomic<bool> isDone{false};
    ASSERT_EQ(CRYPTO_w_lock(), 0);
    std::thread thread([&] {
        id = static_cast<pid_t>(syscall(SYS_gettid));
        call();
        isDone = true;
    });
    while (id == 0 || (!isDone && stateOf(id) != 'S'))
        std::this_thread::yield();
    EXPECT_FALSE(isDone);
    EXPECT_EQ(CRYPTO_w_unlock(), 0);
    thread.join();
    EXPECT_TRUE(isDone);
}

struct Call {
    const char *name;
    void (*run)();
    bool mixesOnce = false; // only what is done first needs the lock
};

void PrintTo(const Call &call, std::ostream *out) {
    *out << call.name;
}

void drawOne(int (*draw)(unsigned char *, int)) {
    unsigned char byte = 0;
    draw(&byte, 1);
}

const Call calls[] = {
    {"Add", [] { XRAND_add("a", 1, 0); }},    {"Seed", [] { XRAND_seed("a", 1); }},
    {"Bytes", [] { drawOne(XRAND_bytes); }},  {"PseudoBytes", [] { drawOne(XRAND_pseudo_bytes); }},
    {"Status", [] { XRAND_status(); }, true}, {"Poll", [] { XRAND_poll(); }},
    {"Cleanup", [] { XRAND_cleanup(); }},
};

class PoolLock : public testing::TestWithParam<Call> {};

TEST_P(PoolLock, IsWaitedFor) {
    inChild([] { waitsForTheLock(GetParam().run); });
}

TEST_P(PoolLock, IsWaitedForAfterAnOutput) {
    inChild([] {
        drawOne(XRAND_bytes);
        if (!GetParam().mixesOnce)
            return waitsForTheLock(GetParam().run);
        ASSERT_EQ(CRYPTO_w_lock(), 0);
        GetParam().run(); // with the lock it would wait for ever
        EXPECT_EQ(CRYPTO_w_unlock(), 0);
    });
}

INSTANTIATE_TEST_SUITE_P(Calls, PoolLock, testing::ValuesIn(calls),
                         [](const auto &call) { return std::string(call.param.name); });

TEST(LockOfThePool, OneAtATime) {
    constexpr int threads = 8, rounds = 5000;
    int count = 0;
    std::array<std::thread, threads> all;
    for (std::thread &thread : all)
        thread = std::thread([&] {
            for (int i = 0; i < rounds; ++i) {
                CRYPTO_w_lock();
                ++count;
                CRYPTO_w_unlock();
            }
        });
    for (std::thread &thread : all)
        thread.join();
    EXPECT_EQ(count, threads * rounds);
}

TEST(LockOfThePool, SetUpAndCleanUp) {
    inChild([] {
        CRYPTO_thread_setup();
        EXPECT_EQ(CRYPTO_w_lock(), 0);
        CRYPTO_thread_setup();
        EXPECT_EQ(CRYPTO_w_unlock(), 0);
        CRYPTO_thread_cleanup();
    });
}

constexpr int lockCount = 41;

bool isFree(int number) {
    const int result = pthread_mutex_trylock(&g_Locks[number]);
    if (result == 0)
        pthread_mutex_unlock(&g_Locks[number]);
    return result == 0;
}

// Only the lowest bit of the mode counts: 1 locks, 2 unlocks, 5 and 9 are the modes of readers and
// writers, with which OpenSSL locks, and 6 and 10 those with which it unlocks.
TEST(CryptoLocks, EveryLockIsExclusive) {
    constexpr std::pair<int, int> modes[] = {{1, 0}, {1, 2}, {5, 6}, {9, 10}, {-1, -2}};
    inChild([&] {
        LockInit();
        for (int number = 0; number < lockCount; ++number)
            for (const auto &[lock, unlock] : modes) {
                EXPECT_TRUE(isFree(number)) << number;
                EXPECT_EQ(LockCallback(lock, number), 0);
                EXPECT_FALSE(isFree(number)) << number;
                EXPECT_TRUE(isFree((number + 1) % lockCount)) << number;
                EXPECT_EQ(LockCallback(unlock, number), 0);
                EXPECT_TRUE(isFree(number)) << number;
            }
        LockCleanUp();
    });
}

TEST(CryptoLocks, CleanUpTakesWhatIsLockedAndInitBeginsAnew) {
    inChild([] {
        for (int round = 0; round < 3; ++round) {
            LockInit();
            for (int number = 0; number < lockCount; ++number) {
                EXPECT_TRUE(isFree(number)) << number;
                if (number % 3 == round) {
                    EXPECT_EQ(LockCallback(1, number), 0);
                }
            }
            LockCleanUp();
        }
    });
}

// They are no locks of each other's.
TEST(CryptoLocks, ThePoolsLockIsAnother) {
    inChild([] {
        LockInit();
        for (int number = 0; number < lockCount; ++number)
            LockCallback(1, number);
        EXPECT_EQ(XRAND_status(), 1);
        EXPECT_EQ(CRYPTO_w_lock(), 0);
        for (int number = 0; number < lockCount; ++number)
            EXPECT_EQ(LockCallback(2, number), 0);
        EXPECT_EQ(CRYPTO_w_unlock(), 0);
        LockCleanUp();
    });
}

} // namespace
} // namespace qldapx_test::pool_model
