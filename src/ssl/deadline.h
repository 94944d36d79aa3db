// deadline.h - waiting for a socket, within a time.
#pragma once

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <poll.h>

namespace qldapx {

constexpr int noLimit = -1; // milliseconds

class Deadline {
  public:
    explicit Deadline(int milliseconds) : isLimited_(milliseconds >= 0) {
        end_ = now() + milliseconds;
    }

    [[nodiscard]] int left() const {
        if (!isLimited_)
            return noLimit;
        return static_cast<int>(std::clamp(end_ - now(), 0L, long{INT_MAX}));
    }

  private:
    static long now() {
        timespec time = {};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return time.tv_sec * 1000 + time.tv_nsec / 1'000'000;
    }

    bool isLimited_;
    long end_;
};

enum class OnSignal { goOn, stop };

// False with errno when it cannot be done: ETIMEDOUT, or EINTR if a signal is to stop it.
inline bool waitFor(int socket, short events, const Deadline &deadline, OnSignal onSignal) {
    pollfd waiting = {socket, events, 0};
    for (;;) {
        const int ready = poll(&waiting, 1, deadline.left());
        if (ready > 0)
            return true;
        if (ready == 0)
            errno = ETIMEDOUT;
        if (ready == 0 || errno != EINTR || onSignal == OnSignal::stop)
            return false;
    }
}

} // namespace qldapx
