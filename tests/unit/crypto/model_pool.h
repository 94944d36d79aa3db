// model_pool.h - the random pool, computed anew from whole strings: what is hashed is put together
// first.
#pragma once

#include "crypto/model_entropy.h"
#include "crypto/model_md5.h"

#include <array>
#include <cstdint>
#include <string>

namespace qldapx_test::pool_model {

using md5_model::Digest;

class Pool {
  public:
    void add(const std::string &bytes, double entropy);
    // The bytes that come out over those that stand there.
    int bytes(std::string &out);
    int status();
    void poll();
    void cleanup();

    static constexpr std::size_t ringSize = 1023;
    // Where the next byte goes, and how many have been written.
    [[nodiscard]] std::size_t index() const { return index_; }
    [[nodiscard]] std::size_t fill() const { return fill_; }

  private:
    static constexpr double threshold = 20.0;

    void stir();
    void draw(std::string &out);

    std::array<char, ringSize> ring_{};
    std::size_t index_ = 0;
    std::size_t fill_ = 0;
    std::string running_ = std::string(16, '\0');
    std::array<std::uint64_t, 2> counter_{};
    double entropy_ = 0;
    bool isInitialised_ = false;
    bool isStirred_ = false;
    Entropy source_;
};

} // namespace qldapx_test::pool_model
