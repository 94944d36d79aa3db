#include "support/failing_memory.h"

#include <cerrno>
#include <cstddef>

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void __libc_free(void *block);
}

namespace {

// Allocations left until the one that fails; 0 when unarmed or past it.
thread_local long countdown = 0;
thread_local long live = 0;

void *counted(void *block) {
    live += block != nullptr ? 1 : 0;
    return block;
}

} // namespace

namespace qldapx_test::failing_memory {

void failAllocation(long number) {
    countdown = number;
}

bool failsNow() {
    if (countdown == 0 || --countdown > 0)
        return false;
    errno = ENOMEM;
    return true;
}

bool disarm() {
    bool failed = countdown == 0;
    countdown = 0;
    return failed;
}

Pause::Pause() : countdown_(countdown) {
    countdown = 0;
}

Pause::~Pause() {
    countdown = countdown_;
}

long liveBlocks() {
    return live;
}

} // namespace qldapx_test::failing_memory

using qldapx_test::failing_memory::failsNow;

extern "C" {

void *malloc(std::size_t size) {
    return failsNow() ? nullptr : counted(__libc_malloc(size));
}

void *calloc(std::size_t count, std::size_t size) {
    return failsNow() ? nullptr : counted(__libc_calloc(count, size));
}

void *realloc(void *block, std::size_t size) {
    if (failsNow())
        return nullptr;
    void *moved = __libc_realloc(block, size);
    return block == nullptr ? counted(moved) : moved;
}

void free(void *block) {
    live -= block != nullptr ? 1 : 0;
    __libc_free(block);
}
}
