#pragma once

#include "command.h"
#include "load/journal.h"
#include "load/pace.h"
#include <qldapx.hpp>

namespace qldapx {

/** An answer of the server's. */
struct Answer {
    qldapx::message message;
    [[nodiscard]] int id() const { return message ? message.id() : 0; }
    explicit operator bool() const { return static_cast<bool>(message); }
};

/** The session as a load uses it: many requests under way, whose answers come in any order. */
class Channel {
  public:
    using Clock = Pace::Clock;

    explicit Channel(Run &run, int timeout);

    [[nodiscard]] LDAP *ld() const { return session_.get(); }
    [[nodiscard]] session_ref session() const { return session_; }
    /** The next answer; none when that time has come before it. */
    Answer receive(Clock::time_point until);
    /** The next answer; when none comes in time, or the server is gone, a Failure. */
    Answer receive();
    /** The answer to one request while nothing else is under way. */
    Answer receive(int id);
    /** A Failure for a result code of the library's. */
    [[noreturn]] void fail(int code);
    void require(int code);
    /** The value of a result, or the Failure of its code. */
    template <typename Value>
    Value require(result<Value> outcome) {
        if (!outcome)
            fail(outcome.error().code());
        return *std::move(outcome);
    }
    /** For the time that an answer may take: it counts from here. */
    void sent() { lastSign_ = Clock::now(); }
    /** The server's result, and its words. */
    [[nodiscard]] Refusal refusal(const Answer &answer) const;

  private:
    void wait(Clock::time_point until) const;
    [[nodiscard]] Clock::time_point deadline() const;

    Run &run_;
    session_ref session_;
    std::chrono::seconds timeout_;
    Clock::time_point lastSign_ = Clock::now();
};

} // namespace qldapx
