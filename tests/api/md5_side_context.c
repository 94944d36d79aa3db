/* One source for the two libraries that have MD5Init, MD5Update and MD5Final, with contexts of
 * different sizes. */
#include "md5_side.h"

#include <string.h>
#ifdef SIDE_LIBMD
#include <sys/types.h>

#include <md5.h>
typedef MD5_CTX context_type;
#define SIDE md5_of_libmd
#define LIBRARY "libmd"
#else
#include <qldapx/md5.h>
typedef QldapxMD5Context context_type;
#define SIDE md5_of_qldapx
#define LIBRARY "libqldapx"
#endif

typedef struct {
    context_type context;
    unsigned char fence[FENCE_SIZE];
} fenced_context;

static int addresses(void) {
    /* A function's address is no object pointer to ISO C, but it is to dladdr. */
    void (*functions[])(void) = {(void (*)(void))MD5Init, (void (*)(void))MD5Update,
                                 (void (*)(void))MD5Final};
    int faults = 0;
    size_t i;
    for (i = 0; i < sizeof functions / sizeof functions[0]; i++) {
        void *address;
        memcpy(&address, &functions[i], sizeof address);
        faults += address_faults(LIBRARY, LIBRARY, address);
    }
    return faults;
}

int SIDE(void) {
    fenced_context fenced;
    unsigned char digest[16];
    memset(&fenced, FENCE, sizeof fenced);
    MD5Init(&fenced.context);
    MD5Update(&fenced.context, (const unsigned char *)"ab", 2);
    MD5Update(&fenced.context, (const unsigned char *)"c", 1);
    MD5Final(digest, &fenced.context);
    return addresses() + digest_faults(LIBRARY, digest) + fence_faults(LIBRARY, fenced.fence);
}
