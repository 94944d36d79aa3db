#include "support/failing_memory.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <malloc.h>

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void __libc_free(void *block);
}

namespace {

// Allocations left until the one that fails; 0 when unarmed or past it.
thread_local long countdown = 0;
constexpr long allFail = -1;
thread_local bool isLasting = false;
thread_local long live = 0;
thread_local long bytes = 0;
thread_local long bytesAtMark = 0;
thread_local long mostBytes = 0;

long sizeOf(void *block) {
    return static_cast<long>(malloc_usable_size(block));
}

void *counted(void *block) {
    live += block != nullptr ? 1 : 0;
    bytes += sizeOf(block);
    mostBytes = std::max(mostBytes, bytes);
    return block;
}

void uncount(void *block) {
    live -= block != nullptr ? 1 : 0;
    bytes -= sizeOf(block);
}

} // namespace

namespace qldapx_test::failing_memory {

void failAllocation(long number, Shortage shortage) {
    countdown = number;
    isLasting = shortage == Shortage::lasting;
}

bool failsNow() {
    if (countdown == 0 || (countdown > 0 && --countdown > 0))
        return false;
    if (isLasting)
        countdown = allFail;
    errno = ENOMEM;
    return true;
}

bool disarm() {
    bool failed = countdown <= 0;
    countdown = 0;
    return failed;
}

long untilFailure() {
    return std::max(countdown, 0L);
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

void markPeak() {
    bytesAtMark = mostBytes = bytes;
}

long peakBytes() {
    return mostBytes - bytesAtMark;
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
    long before = sizeOf(block);
    void *moved = __libc_realloc(block, size);
    if (moved != nullptr) {
        live -= block != nullptr ? 1 : 0;
        bytes -= before;
    }
    return counted(moved);
}

void free(void *block) {
    uncount(block);
    __libc_free(block);
}
}
