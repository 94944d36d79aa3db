#include "qldapx/crypto_lock.h"
#include "qldapx/state.h"

#include <cerrno>

namespace {

pthread_mutex_t poolMutex = PTHREAD_MUTEX_INITIALIZER;
constexpr int lockBit = 1; // of a mode

} // namespace

extern "C" {

pthread_mutex_t g_Locks[QLDAPX_LOCK_COUNT];

void LockInit(void) {
    for (pthread_mutex_t &lock : g_Locks)
        pthread_mutex_init(&lock, nullptr);
}

int LockCallback(int mode, int lockNumber) {
    pthread_mutex_t *lock = &g_Locks[lockNumber];
    return (mode & lockBit) != 0 ? pthread_mutex_lock(lock) : pthread_mutex_unlock(lock);
}

// A mutex that was free is destroyed while this thread holds it, as the interface always did.
void LockCleanUp(void) {
    for (pthread_mutex_t &lock : g_Locks) {
        if (pthread_mutex_trylock(&lock) == EBUSY)
            pthread_mutex_unlock(&lock);
        pthread_mutex_destroy(&lock);
    }
}

int CRYPTO_w_lock(void) {
    return pthread_mutex_lock(&poolMutex);
}

int CRYPTO_w_unlock(void) {
    return pthread_mutex_unlock(&poolMutex);
}

void CRYPTO_thread_setup(void) {}

void CRYPTO_thread_cleanup(void) {
    pthread_mutex_destroy(&poolMutex);
}
}
