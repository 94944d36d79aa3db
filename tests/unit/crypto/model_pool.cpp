#include "crypto/model_pool.h"

#include <algorithm>
#include <cstring>

namespace qldapx_test::pool_model {

namespace {

std::string digest(const std::string &data) {
    const Digest digest = md5_model::digestOf(data);
    return {digest.begin(), digest.end()};
}

void mix(std::string &into, const std::string &bytes) {
    for (std::size_t i = 0; i < into.size(); ++i)
        into[i] = static_cast<char>(into[i] ^ bytes[i]);
}

std::string bytesOf(const std::array<std::uint64_t, 2> &words) {
    return {reinterpret_cast<const char *>(words.data()), sizeof words};
}

// The first bytes of an array, as a ring.
class Ring {
  public:
    Ring(char *bytes, std::size_t size, std::size_t start)
        : bytes_(bytes), size_(size), next_(start % size) {}

    [[nodiscard]] std::string ahead(std::size_t count) const {
        std::string bytes;
        while (bytes.size() < count)
            bytes += bytes_[(next_ + bytes.size()) % size_];
        return bytes;
    }
    void mixIn(const std::string &bytes) {
        for (char byte : bytes) {
            bytes_[next_] = static_cast<char>(bytes_[next_] ^ byte);
            next_ = (next_ + 1) % size_;
        }
    }

  private:
    char *bytes_;
    std::size_t size_;
    std::size_t next_;
};

} // namespace

void Pool::add(const std::string &bytes, double entropy) {
    Ring ring(ring_.data(), ringSize, index_);
    std::string local = running_;
    std::array<std::uint64_t, 2> words = counter_;
    index_ += bytes.size();
    fill_ = std::max(fill_, std::min(index_, ringSize));
    index_ %= ringSize;
    for (std::size_t start = 0; start < bytes.size(); start += 16) {
        const std::string chunk = bytes.substr(start, 16);
        local = digest(local + ring.ahead(chunk.size()) + chunk + bytesOf(words));
        ++words[1];
        ring.mixIn(local.substr(0, chunk.size()));
    }
    counter_[1] = words[1];
    mix(running_, local);
    if (entropy_ < threshold)
        entropy_ += entropy;
}

void Pool::stir() {
    for (int i = 0; i < 64; ++i)
        add(std::string(16, '.'), 0);
}

void Pool::draw(std::string &out) {
    Ring ring(ring_.data(), fill_, index_);
    std::string local = running_;
    const std::string words = bytesOf(counter_);
    index_ += out.size();
    if (index_ > fill_)
        index_ %= fill_;
    ++counter_[0];
    for (std::size_t start = 0; start < out.size(); start += 8) {
        const std::string piece = out.substr(start, 8);
        local = digest(local.substr(8) + words + piece + ring.ahead(piece.size()));
        ring.mixIn(local.substr(0, piece.size()));
        out.replace(start, piece.size(), local, 8, piece.size());
    }
    running_ = digest(words + local + running_);
}

int Pool::bytes(std::string &out) {
    if (!isInitialised_)
        poll();
    isInitialised_ = true;
    const bool isGood = entropy_ >= threshold;
    if (!isGood)
        entropy_ = std::max(0.0, entropy_ - static_cast<double>(out.size()));
    if (!isStirred_) {
        stir();
        isStirred_ = isGood;
    }
    draw(out);
    return isGood ? 0 : 100;
}

int Pool::status() {
    if (!isInitialised_)
        poll();
    isInitialised_ = true;
    return entropy_ >= threshold ? 1 : 0;
}

void Pool::poll() {
    for (int number : source_.gather())
        add({reinterpret_cast<const char *>(&number), sizeof number}, 1.0);
}

// Whether it was stirred stays known.
void Pool::cleanup() {
    Pool fresh;
    fresh.isStirred_ = isStirred_;
    fresh.source_ = source_;
    *this = fresh;
}

} // namespace qldapx_test::pool_model
