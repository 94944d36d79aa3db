// assertion.h - the assertions of the contract: faults of the other side after which the process
// ends, in every build.
#pragma once

// libc's own end of assert(): prints the message on standard error and aborts. <cassert> declares
// it only where NDEBUG is not defined.
extern "C" [[noreturn]] void __assert_fail(const char *expression, const char *file, unsigned line,
                                           const char *function) noexcept;

namespace qldapx {

// What the message says. Users know these faults, and their tools look for them, by just these
// words and numbers; they are not those of the present sources.
struct Assertion {
    const char *expression;
    const char *file;
    unsigned line;
    const char *function;
};

[[noreturn]] inline void fail(const Assertion &assertion) {
    __assert_fail(assertion.expression, assertion.file, assertion.line, assertion.function);
}

} // namespace qldapx
