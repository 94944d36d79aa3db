// trial.h - one run of something with one of its allocations failing.
#pragma once

#include "support/failing_memory.h"

#include <ldap.h>
#include <qldapx/digest_challenge.h>
#include <type_traits>

namespace qldapx_test::memory {

// What a function may do without memory for one of its allocations.
enum class Without { fails, mayGoOn };

class Trial {
  public:
    static constexpr long never = 1L << 60;

    // number: of the allocation that fails, counted from 1 over all the calls below, or with which
    // they begin to fail until its call ends; report: a descriptor that is told what happens, line
    // by line, so that it is known after a crash.
    Trial(long number, failing_memory::Shortage shortage, int report)
        : number_(number), shortage_(shortage), left_(number), report_(report) {}
    Trial(const Trial &) = delete;
    Trial &operator=(const Trial &) = delete;

    // Calls what is named, with memory that may fail.
    template <class Call>
    auto call(const char *function, Call call) {
        begin(function);
        if constexpr (std::is_void_v<decltype(call())>) {
            call();
            end();
        } else {
            const auto result = call();
            end();
            return result;
        }
    }

    // The same for a result code: one of the library's own where memory failed, else success.
    template <class Call>
    int code(const char *function, Call work, Without without = Without::fails) {
        const int result = call(function, work);
        judge(result == 0, without, result < 0 || result == QLDAPX_DIGEST_NO_MEMORY);
        tellResult('R', result);
        return result;
    }

    // The same where one code stands for every failure.
    template <class Call>
    int codeOr(int failure, const char *function, Call work, Without without = Without::mayGoOn) {
        const int result = call(function, work);
        judge(result == 0, without, result == failure);
        tellResult('V', result);
        return result;
    }

    // The same for a pointer: NULL where memory failed, and nowhere else.
    template <class Call>
    auto pointer(const char *function, Call work, Without without = Without::fails) {
        const auto result = call(function, work);
        judge(result != nullptr, without, true);
        tellResult('P', result != nullptr ? 1 : 0);
        return result;
    }

    [[nodiscard]] long number() const { return number_; }
    // Whether the allocation has been asked for: in any call so far, in the last one.
    [[nodiscard]] bool hasFailed() const { return left_ == 0; }
    [[nodiscard]] bool hasFailedHere() const { return failedHere_; }

    void expect(bool holds, const char *what);

  private:
    friend class Watch;

    void begin(const char *function);
    void end();
    void judge(bool isDone, Without without, bool isFailure);
    // A line: what it is about, the function where memory failed or the last one, and a number.
    void tell(char about, long number) const;
    // What came of a call without memory: a result code, another value, a pointer.
    void tellResult(char about, int result) const;
    void lost(long blocks, long allowed) const;

    long number_;
    failing_memory::Shortage shortage_;
    long left_;
    int report_;
    const char *function_ = "";
    const char *failing_ = nullptr;
    bool failedHere_ = false;
};

// What is allocated while it lives, and by its end not released, is lost.
class Watch {
  public:
    explicit Watch(Trial &trial) : trial_(trial), before_(failing_memory::liveBlocks()) {}
    ~Watch() { trial_.lost(failing_memory::liveBlocks() - before_, allowed_); }
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    // The contract loses so many blocks at most.
    void allow(long blocks) { allowed_ += blocks; }

  private:
    Trial &trial_;
    long before_;
    long allowed_ = 0;
};

} // namespace qldapx_test::memory
