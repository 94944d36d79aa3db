#include "qldapx/memory.h"

#include <cstdlib>

extern "C" void ldapx_memfree(void *p) {
    std::free(p);
}
