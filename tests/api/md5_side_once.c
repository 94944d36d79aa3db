/* One source for the two libraries that have MD5. */
#include "md5_side.h"

#include <string.h>
#ifdef SIDE_LIBCRYPTO
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>
#define SIDE md5_of_libcrypto
#define LIBRARY "libcrypto"
#else
#include <qldapx/md5.h>
#define SIDE md5_once_of_qldapx
#define LIBRARY "libqldapx"
#endif

int SIDE(void) {
    unsigned char digest[16];
    unsigned char *(*function)(const unsigned char *, size_t, unsigned char *) = MD5;
    void *address;
    memcpy(&address, &function, sizeof address);
    MD5((const unsigned char *)"abc", 3, digest);
    return address_faults(LIBRARY, LIBRARY, address) + digest_faults(LIBRARY, digest);
}
