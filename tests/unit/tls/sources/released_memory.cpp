#include "tls/sources/released_memory.h"

#include <algorithm>
#include <cstring>
#include <execinfo.h>
#include <malloc.h>
#include <unistd.h>

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void __libc_free(void *block);
}

namespace {

thread_local const std::vector<std::string> *sought = nullptr;
thread_local int foundCount = 0;

bool holdsSought(const void *block, std::size_t size) {
    return std::any_of(sought->begin(), sought->end(), [&](const std::string &text) {
        return memmem(block, size, text.data(), text.size()) != nullptr;
    });
}

// Who released it, for a person to read.
void tellWhere() {
    void *callers[30];
    const std::vector<std::string> *paused = sought;
    sought = nullptr;
    backtrace_symbols_fd(callers, backtrace(callers, 30), STDERR_FILENO);
    sought = paused;
}

void lookInto(const void *block, std::size_t size) {
    if (sought == nullptr || !holdsSought(block, size))
        return;
    ++foundCount;
    tellWhere();
}

} // namespace

namespace qldapx_test::released_memory {

Watch::Watch(const std::vector<std::string> &texts) {
    foundCount = 0;
    sought = &texts;
}

Watch::~Watch() {
    sought = nullptr;
}

int Watch::found() {
    return foundCount;
}

} // namespace qldapx_test::released_memory

extern "C" {

void *malloc(std::size_t size) {
    return __libc_malloc(size);
}

void *calloc(std::size_t count, std::size_t size) {
    return __libc_calloc(count, size);
}

void free(void *block) {
    if (block == nullptr)
        return;
    const std::size_t size = malloc_usable_size(block);
    lookInto(block, size);
    explicit_bzero(block, size);
    __libc_free(block);
}

void *realloc(void *block, std::size_t size) {
    void *moved = malloc(size);
    if (moved == nullptr || block == nullptr)
        return moved;
    std::memcpy(moved, block, std::min(size, malloc_usable_size(block)));
    free(block);
    return moved;
}
}
