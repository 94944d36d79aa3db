#define _GNU_SOURCE
#include "md5_side.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

static int fault(int is_one, const char *side, const char *what) {
    if (is_one)
        fprintf(stderr, "%s: %s\n", side, what);
    return is_one;
}

int digest_faults(const char *side, const unsigned char digest[16]) {
    return fault(
        memcmp(digest, "\x90\x01\x50\x98\x3c\xd2\x4f\xb0\xd6\x96\x3f\x7d\x28\xe1\x7f\x72", 16) != 0,
        side, "another digest");
}

int address_faults(const char *side, const char *library, const void *address) {
    Dl_info found;
    int is_there = dladdr(address, &found) != 0 && strstr(found.dli_fname, library) != NULL;
    return fault(!is_there, side, "a function of another library");
}

int fence_faults(const char *side, const unsigned char fence[FENCE_SIZE]) {
    int i, changed = 0;
    for (i = 0; i < FENCE_SIZE; i++)
        changed |= fence[i] != FENCE;
    return fault(changed, side, "bytes behind the context");
}
