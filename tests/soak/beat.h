// beat.h - a thread's sign of life: whoever makes no progress for too long hangs.
#pragma once

#include <atomic>
#include <chrono>
#include <string>

namespace soak {

class Beat {
  public:
    using Clock = std::chrono::steady_clock;

    explicit Beat(std::string name) : name_(std::move(name)) {}

    /** The thread works, on what is named; the text is a constant. */
    void working(const char *on) {
        on_ = on;
        since_ = Clock::now().time_since_epoch().count();
    }
    void going() { since_ = Clock::now().time_since_epoch().count(); }
    void idle() { since_ = 0; }

    [[nodiscard]] const std::string &name() const { return name_; }
    [[nodiscard]] const char *on() const { return on_; }
    [[nodiscard]] bool hangs(std::chrono::seconds patience) const {
        const Clock::rep since = since_;
        return since != 0 && Clock::now() - Clock::time_point(Clock::duration(since)) > patience;
    }

  private:
    std::string name_;
    std::atomic<const char *> on_ = "";
    std::atomic<Clock::rep> since_ = 0;
};

} // namespace soak
