// expected_leak.h - code whose contract it is to lose memory.
#pragma once

// Of the sanitizer, where the test was built with one.
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();

namespace qldapx_test {

// What is allocated while it lives may leak.
class ExpectedLeak {
  public:
    ExpectedLeak() {
        if (__lsan_disable != nullptr)
            __lsan_disable();
    }
    ~ExpectedLeak() {
        if (__lsan_enable != nullptr)
            __lsan_enable();
    }
    ExpectedLeak(const ExpectedLeak &) = delete;
    ExpectedLeak &operator=(const ExpectedLeak &) = delete;
};

} // namespace qldapx_test
