/*
 * crypto_lock.h - mutexes for a crypto library that asks its application for them, and the one of
 * the random pool.
 *
 * OpenSSL 1.1.0 and later lock for themselves: LockInit and LockCleanUp are the work on g_Locks
 * alone then, and nothing else uses it. Programs that were written for earlier ones call LockInit
 * before their first use of TLS and LockCleanUp at their end, and may go on so.
 */
#ifndef QLDAPX_CRYPTO_LOCK_H
#define QLDAPX_CRYPTO_LOCK_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/* LockInit - initialises the 41 mutexes of g_Locks. */
QLDAPX_API void LockInit(void);

/*
 * LockCallback - locks or unlocks a mutex of g_Locks.
 *
 * mode:       bit 0 set: lock, else unlock. Other bits count nothing: no lock is shared by readers.
 * lockNumber: 0 to 40; not checked.
 *
 * Result: that of pthread_mutex_lock or pthread_mutex_unlock.
 */
QLDAPX_API int LockCallback(int mode, int lockNumber);

/*
 * LockCleanUp - unlocks each mutex of g_Locks that is locked, and destroys it. Call it when no
 * other thread uses them any more.
 */
QLDAPX_API void LockCleanUp(void);

/*
 * CRYPTO_w_lock - locks the mutex of the random pool. It is not recursive: who holds it must not
 * call the functions of random_pool.h.
 *
 * Result: that of pthread_mutex_lock.
 */
QLDAPX_API int CRYPTO_w_lock(void);

/* CRYPTO_w_unlock - unlocks it; the result is that of pthread_mutex_unlock. */
QLDAPX_API int CRYPTO_w_unlock(void);

/* CRYPTO_thread_setup - does nothing: the mutex of the random pool is there from the beginning. */
QLDAPX_API void CRYPTO_thread_setup(void);

/* CRYPTO_thread_cleanup - destroys the mutex of the random pool, which is not used afterwards. */
QLDAPX_API void CRYPTO_thread_cleanup(void);

QLDAPX_END

#endif
