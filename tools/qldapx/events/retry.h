#pragma once

#include <algorithm>
#include <chrono>
#include <random>

namespace qldapx {

/** Pauses between tries that double, each a little other than the last program's. */
class Backoff {
  public:
    std::chrono::milliseconds next() {
        // Clients that lost one server together do not come back together.
        std::uniform_real_distribution<double> jitter(0.75, 1.25);
        const auto pause = std::chrono::milliseconds(
            static_cast<std::chrono::milliseconds::rep>(pause_.count() * jitter(random_)));
        pause_ = std::min(pause_ * 2, longest);
        return pause;
    }
    void reset() { pause_ = shortest; }

  private:
    static constexpr std::chrono::duration<double, std::milli> shortest{500}, longest{30000};
    std::chrono::duration<double, std::milli> pause_ = shortest;
    std::minstd_rand random_{std::random_device{}()};
};

} // namespace qldapx
