// strings.h - arrays of strings that NULL ends, copied.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <lber.h>

namespace qldapx::schema {

// Copies in memory of the C allocator, for callers ...
struct ForCallers {
    static void *allocate(std::size_t count, std::size_t size) { return std::calloc(count, size); }
    static char *copy(const char *text) { return strdup(text); }
    static void release(void *p) { std::free(p); }
};

// ... and in liblber's, which libldap's records are made of.
struct ForRecords {
    static void *allocate(std::size_t count, std::size_t size) {
        return ber_memcalloc(count, size);
    }
    static char *copy(const char *text) { return ber_strdup(text); }
    static void release(void *p) { ber_memfree(p); }
};

template <class Memory>
void releaseStrings(char **strings) {
    for (char **string = strings; *string != nullptr; ++string)
        Memory::release(*string);
    Memory::release(strings);
}

inline std::size_t countStrings(char *const *strings) {
    std::size_t count = 0;
    while (strings != nullptr && strings[count] != nullptr)
        ++count;
    return count;
}

// Copies strings behind the first `before` slots of a new array, which it leaves empty for its
// caller; nullptr: no memory.
template <class Memory>
char **copyStrings(char *const *strings, std::size_t before = 0) {
    const std::size_t count = countStrings(strings);
    auto **copies = static_cast<char **>(Memory::allocate(before + count + 1, sizeof(char *)));
    if (copies == nullptr)
        return nullptr;
    for (std::size_t i = 0; i < count; ++i) {
        copies[before + i] = Memory::copy(strings[i]);
        if (copies[before + i] != nullptr)
            continue;
        while (i-- > 0)
            Memory::release(copies[before + i]);
        Memory::release(copies);
        return nullptr;
    }
    return copies;
}

} // namespace qldapx::schema
