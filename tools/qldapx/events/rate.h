#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>

namespace qldapx {

/** How many there were in the last seconds. */
class Rate {
  public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::int64_t longest = 10; // seconds

    void add(Clock::time_point now) {
        advance(now);
        ++bucket(second_);
    }
    /** A second's number, on the average of so many seconds before this one, or since the
     * beginning. */
    [[nodiscard]] double over(std::int64_t seconds, Clock::time_point now) {
        advance(now);
        seconds = std::clamp(second_ - begin_, std::int64_t{1}, seconds);
        std::uint64_t sum = 0;
        for (std::int64_t i = 1; i <= seconds; ++i)
            sum += bucket(second_ - i);
        return static_cast<double>(sum) / static_cast<double>(seconds);
    }

  private:
    static std::int64_t secondOf(Clock::time_point time) {
        return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
    }
    void advance(Clock::time_point now) {
        const std::int64_t second = secondOf(now);
        if (second - second_ > longest)
            second_ = second - longest - 1;
        while (second_ < second)
            bucket(++second_) = 0;
    }
    std::uint64_t &bucket(std::int64_t second) {
        return buckets_[static_cast<std::size_t>(second) % buckets_.size()];
    }

    std::array<std::uint64_t, longest + 1> buckets_{}; // the present second's and those before
    std::int64_t begin_ = secondOf(Clock::now());
    std::int64_t second_ = longest;
};

} // namespace qldapx
