// interposition.h - functions of the application's own under names that the library has, too.
#pragma once

#include <qldapx.h>

// Calls of any of them.
inline int captured = 0;

// Under a name that no header declares.
#define CAPTURE(name) CAPTURE_DECLARED(name)

// With the type that its header declares.
#define CAPTURE_DECLARED(name, ...)                                                                \
    extern "C" __attribute__((visibility("default"), used)) int name(__VA_ARGS__) {                \
        ++captured;                                                                                \
        return 4711;                                                                               \
    }

#define CAPTURE_VOID(name, ...)                                                                    \
    extern "C" __attribute__((visibility("default"), used)) void name(__VA_ARGS__) {               \
        ++captured;                                                                                \
    }
