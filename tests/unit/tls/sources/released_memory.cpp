#include "tls/sources/released_memory.h"

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <execinfo.h>
#include <iterator>
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

// OpenSSL's own, which leave copies of what they read, write and derive keys from, whoever calls
// them.
constexpr const char *leaving[] = {"OSSL_DECODER_from_bio", "OSSL_ENCODER_to_bio",
                                   "PKCS12_key_gen_uni_ex"};

bool leavesCopies(const char *name) {
    return name != nullptr &&
           std::any_of(std::begin(leaving), std::end(leaving),
                       [&](const char *known) { return std::strcmp(name, known) == 0; });
}

bool isUnderOpenSsl(void *const *callers, int count) {
    return std::any_of(callers, callers + count, [](void *caller) {
        Dl_info place{};
        return dladdr(caller, &place) != 0 && leavesCopies(place.dli_sname);
    });
}

// Tells who released it, for a person to read.
void lookInto(const void *block, std::size_t size) {
    if (sought == nullptr || !holdsSought(block, size))
        return;
    const std::vector<std::string> *paused = sought;
    sought = nullptr;
    void *callers[50];
    const int count = backtrace(callers, 50);
    if (!isUnderOpenSsl(callers, count)) {
        ++foundCount;
        backtrace_symbols_fd(callers, count, STDERR_FILENO);
    }
    sought = paused;
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
