#pragma once

#include "command.h"
#include "load/journal.h"
#include "load/pace.h"
#include "messages.h"

namespace qldapx {

/** An answer of the server's. */
struct Answer {
    MessagePtr message;
    [[nodiscard]] int id() const { return message ? ldap_msgid(message.get()) : 0; }
    explicit operator bool() const { return message != nullptr; }
};

/** The session as a load uses it: many requests under way, whose answers come in any order. */
class Channel {
  public:
    using Clock = Pace::Clock;

    explicit Channel(Run &run, int timeout);

    [[nodiscard]] LDAP *ld() const { return ld_; }
    /** The next answer; none when that time has come before it. */
    Answer receive(Clock::time_point until);
    /** The next answer; when none comes in time, or the server is gone, a Failure. */
    Answer receive();
    /** The answer to one request while nothing else is under way. */
    Answer receive(int id);
    /** A Failure for a result code of the library's. */
    [[noreturn]] void fail(int code);
    void require(int code);
    /** For the time that an answer may take: it counts from here. */
    void sent() { lastSign_ = Clock::now(); }
    /** The server's result, and its words. */
    Refusal result(const Answer &answer) const;

  private:
    void wait(Clock::time_point until) const;
    [[nodiscard]] Clock::time_point deadline() const;

    Run &run_;
    LDAP *ld_ = nullptr;
    std::chrono::seconds timeout_;
    Clock::time_point lastSign_ = Clock::now();
};

} // namespace qldapx
