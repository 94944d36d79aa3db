/*
 * random_pool.h - the library's random pool, from which the client nonce of DIGEST-MD5 comes.
 *
 * A pool of 1023 bytes is mixed and read through MD5. It gathers its start-up entropy from process
 * ids, the clock and rand, which is little: for keys, and wherever else somebody gains by guessing,
 * use getrandom. (ldap_bind_digest_md5_finish mixes bytes of getrandom in before it draws a nonce.)
 *
 * All of it is one state of the process and may be used by several threads. The bookkeeping is
 * locked (CRYPTO_w_lock); the digests are made outside the lock, on copies. While XRAND_bytes stirs
 * a new pool under the lock, XRAND_add of other threads goes on without: updates of the pool's
 * bytes and figures may then be lost, which costs entropy that was credited in that moment, and
 * nothing else: each is written whole, and every position stays inside the pool. A child process
 * has its parent's pool: mix its process id in.
 *
 * The start-up gathering calls srand, and so begins the sequence of the application's own rand
 * anew. It happens in the first XRAND_bytes, XRAND_pseudo_bytes or XRAND_status, in XRAND_poll, and
 * so in the first DIGEST-MD5 bind.
 */
#ifndef QLDAPX_RANDOM_POOL_H
#define QLDAPX_RANDOM_POOL_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/*
 * XRAND_add - mixes bytes into the pool.
 *
 * buffer:  the bytes.
 * count:   how many; 0 or less: none.
 * entropy: how many bytes of chance they hold. It is credited while the estimate is below 20, the
 *          pool's threshold.
 */
QLDAPX_API void XRAND_add(const void *buffer, int count, double entropy);

/* XRAND_seed - XRAND_add with all bytes taken for chance. */
QLDAPX_API void XRAND_seed(const void *buffer, int count);

/*
 * XRAND_bytes - writes count bytes into out, and takes what stood there as entropy: out must be
 * initialised where that is watched. Gathers start-up entropy first if nobody has yet.
 *
 * Result: 0; 100 when the estimate was below 20: the bytes are written, but do not rely on them.
 */
QLDAPX_API int XRAND_bytes(unsigned char *out, int count);

/* XRAND_pseudo_bytes - the same as XRAND_bytes. */
QLDAPX_API int XRAND_pseudo_bytes(unsigned char *out, int count);

/*
 * XRAND_status - gathers start-up entropy if nobody has yet.
 *
 * Result: 1 when the estimate is at least 20, else 0.
 */
QLDAPX_API int XRAND_status(void);

/*
 * XRAND_poll - gathers start-up entropy: twenty results of rand, seeded with ids of the process and
 * the clock, each credited with 1.
 *
 * Result: 1.
 */
QLDAPX_API int XRAND_poll(void);

/* XRAND_cleanup - makes the pool as it was when the process began. */
QLDAPX_API void XRAND_cleanup(void);

QLDAPX_END

#endif
