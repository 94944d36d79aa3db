/*
 * md5.h - the message digest MD5 (RFC 1321). Not part of qldapx.h: include it where it is needed,
 * since other libraries have functions of these names. It is for DIGEST-MD5 and the random pool,
 * and for old formats; MD5 has been broken for signatures (RFC 6151).
 */
#ifndef QLDAPX_MD5_H
#define QLDAPX_MD5_H

#include <qldapx/export.h>
#include <stddef.h>
#include <stdint.h>

QLDAPX_BEGIN

/* A digest under way; allocated by the caller, and used by one thread at a time. */
typedef struct QldapxMD5Context {
    uint64_t chain[4];         /* A, B, C, D: the low 32 bits count */
    uint64_t bitCount[2];      /* bits so far, low and high: the low 32 bits count */
    unsigned char pending[64]; /* what does not fill a block yet */
} QldapxMD5Context;

/* MD5Init - begins a digest. */
QLDAPX_API void MD5Init(QldapxMD5Context *context);

/* MD5Update - goes on with length bytes of data. */
QLDAPX_API void MD5Update(QldapxMD5Context *context, const void *data, uint64_t length);

/* MD5Final - ends a digest: writes its 16 bytes and clears the context. */
QLDAPX_API void MD5Final(unsigned char digest[16], QldapxMD5Context *context);

/*
 * MD5 - the digest of length bytes of data.
 *
 * digest: receives its 16 bytes; NULL: they are written into a buffer of the library, which threads
 *         share, and which the next such call writes over.
 *
 * Result: where the digest is.
 */
QLDAPX_API unsigned char *MD5(const unsigned char *data, size_t length, unsigned char *digest);

QLDAPX_END

#endif
