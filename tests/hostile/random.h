// random.h - numbers that the same seed gives again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace hostile {

class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    // SplitMix64: a few cycles, and any seed will do.
    std::uint64_t next() {
        std::uint64_t z = state_ += 0x9e3779b97f4a7c15U;
        z = (z ^ z >> 30) * 0xbf58476d1ce4e5b9U;
        z = (z ^ z >> 27) * 0x94d049bb133111ebU;
        return z ^ z >> 31;
    }
    // From 0 on; the bound is not 0.
    std::size_t below(std::size_t bound) { return next() % bound; }
    // Small numbers are as likely as large ones.
    std::size_t upTo(std::size_t most) { return below(below(most + 1) + 1); }
    char byte() { return static_cast<char>(next()); }
    bool percent(unsigned share) { return below(100) < share; }

    template <class List>
    auto &pick(List &list) {
        return list[below(std::size(list))];
    }

  private:
    std::uint64_t state_;
};

} // namespace hostile
