#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

namespace qldapx {

/** When the next updates may be sent, so that no more than so many go in a second. */
class Pace {
  public:
    using Clock = std::chrono::steady_clock;

    explicit Pace(std::optional<int> rate) : rate_(rate) {}

    /** As many updates as go together: few at a low rate, so that none waits for long. */
    [[nodiscard]] int batch(int wanted) const {
        constexpr int requestsPerSecond = 10;
        return rate_ ? std::clamp(*rate_ / requestsPerSecond, 1, wanted) : wanted;
    }
    /** The moment from which on they may be sent. */
    [[nodiscard]] Clock::time_point due() const { return due_; }
    /** So many are being sent. What was late is caught up by one batch at most. */
    void sent(std::size_t updates) {
        if (!rate_)
            return;
        const auto time = std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(static_cast<double>(updates) / *rate_));
        due_ = std::max(due_, Clock::now() - time) + time;
    }

  private:
    std::optional<int> rate_;
    Clock::time_point due_ = Clock::now();
};

} // namespace qldapx
