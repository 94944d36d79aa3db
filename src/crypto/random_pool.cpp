#include "qldapx/random_pool.h"

#include "core/md5.h"
#include "qldapx/crypto_lock.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <string.h>
#include <sys/time.h>
#include <unistd.h>

namespace qldapx {
namespace {

constexpr int ringSize = 1023;
constexpr double threshold = 20.0;
constexpr int entropyShort = 100; // result of an output that is not to be relied on

constexpr int mixChunk = 16;
constexpr int outputPiece = 8;

// A variable of the pool. The lock guards the bookkeeping only, and while an output stirs the pool
// under it every mixing goes without; so each is read and written whole, and the last writer wins.
template <class T>
class Shared {
  public:
    operator T() const { return value_.load(std::memory_order_relaxed); }
    Shared &operator=(T value) {
        value_.store(value, std::memory_order_relaxed);
        return *this;
    }

  private:
    std::atomic<T> value_{};
};

using Words = std::array<std::uint64_t, 2>; // a digest or the counter, 16 bytes

struct SharedWords {
    Shared<std::uint64_t> first, second;

    operator Words() const { return {first, second}; }
    SharedWords &operator=(const Words &words) {
        first = words[0];
        second = words[1];
        return *this;
    }
};

struct Pool {
    std::array<Shared<unsigned char>, ringSize> ring;
    Shared<int> index;
    Shared<int> fill;
    SharedWords digest;
    SharedWords counter; // outputs, mixed chunks
    Shared<double> entropy;
    Shared<bool> initialised;
    Shared<bool> stirred; // outlives a clean-up
    Shared<bool> lockHeld;
};

constinit Pool pool;

// Not for the thread that holds it, nor, since there is one flag for all, for any other then.
class UnlessHeld {
  public:
    UnlessHeld() : locked_(!pool.lockHeld) {
        if (locked_)
            CRYPTO_w_lock();
    }
    ~UnlessHeld() {
        if (locked_)
            CRYPTO_w_unlock();
    }
    UnlessHeld(const UnlessHeld &) = delete;
    UnlessHeld &operator=(const UnlessHeld &) = delete;

  private:
    bool locked_;
};

class Locked {
  public:
    Locked() { CRYPTO_w_lock(); }
    ~Locked() { CRYPTO_w_unlock(); }
    Locked(const Locked &) = delete;
    Locked &operator=(const Locked &) = delete;
};

// A place in the ring. The place behind the last one, where an index may stand, is the first.
class Place {
  public:
    Place(int index, int size) : index_(index), size_(size) {}

    // Visits so many bytes in their order, and goes on behind them.
    template <class Visitor>
    void visit(int count, Visitor visitor) {
        for (int done = 0; done < count;) {
            if (index_ >= size_)
                index_ = 0;
            const int end = std::min(count, done + size_ - index_);
            for (; done < end; ++done)
                visitor(pool.ring[static_cast<std::size_t>(index_++)], done);
        }
    }

    // Mixes as many bytes in.
    void add(const unsigned char *bytes, int count) {
        visit(count, [bytes](Shared<unsigned char> &byte, int i) {
            byte = static_cast<unsigned char>(byte ^ bytes[i]);
        });
    }

  private:
    int index_, size_;
};

// A message of at most two blocks that is put together in place and digested at once.
class Message {
  public:
    Message() = default;
    ~Message() { explicit_bzero(bytes_.data(), bytes_.size()); }
    Message(const Message &) = delete;
    Message &operator=(const Message &) = delete;

    void begin() { size_ = 0; }
    void add(const void *bytes, std::size_t count) {
        memcpy(bytes_.data() + size_, bytes, count);
        size_ += count;
    }
    void add(const Words &words) { add(words.data(), sizeof words); }
    void add(Place place, int count) {
        unsigned char *const to = bytes_.data() + size_;
        place.visit(count, [to](const Shared<unsigned char> &byte, int i) { to[i] = byte; });
        size_ += static_cast<std::size_t>(count);
    }

    [[nodiscard]] Words digest() {
        if (size_ != paddedSize_)
            pad();
        Md5Chain chain = md5Start;
        md5Transform(chain, bytes_.data(), blocks_);
        return std::bit_cast<Words>(chain);
    }

  private:
    // What follows a message: the same for all that are as long.
    void pad() {
        const std::uint64_t bits = std::uint64_t{size_} * 8;
        blocks_ = size_ < md5LengthOffset ? 1 : 2;
        const std::size_t end = blocks_ * md5BlockSize - sizeof bits;
        bytes_[size_] = 0x80;
        memset(bytes_.data() + size_ + 1, 0, end - size_ - 1);
        memcpy(bytes_.data() + end, &bits, sizeof bits);
        paddedSize_ = size_;
    }

    std::array<unsigned char, 2 * md5BlockSize> bytes_;
    std::size_t size_ = 0, paddedSize_ = 0, blocks_ = 0;
};

// What a call works with outside the lock.
struct Claim {
    int index, fill;
    Words digest, counter;
};

using DigestBytes = std::array<unsigned char, sizeof(Words)>;

Claim claimForMixing(int count) {
    const UnlessHeld lock;
    const Claim claim = {pool.index, ringSize, pool.digest, pool.counter};
    const long end = long{claim.index} + count;
    if (end >= ringSize)
        pool.fill = ringSize;
    else if (end > pool.fill)
        pool.fill = static_cast<int>(end);
    pool.index = static_cast<int>(end % ringSize);
    pool.counter.second = pool.counter.second + static_cast<unsigned>(count) / mixChunk +
                          (count % mixChunk != 0 ? 1 : 0);
    return claim;
}

Words mixChunkIn(Message &message, const Claim &claim, Place place, const unsigned char *chunk,
                 int size) {
    message.begin();
    message.add(claim.digest);
    message.add(place, size);
    message.add(chunk, static_cast<std::size_t>(size));
    message.add(claim.counter);
    return message.digest();
}

void mix(const unsigned char *input, int count, double entropy) {
    Claim claim = claimForMixing(count);
    Place place(claim.index, ringSize);
    Message message;
    for (long done = 0; done < count; done += mixChunk) {
        const int size = static_cast<int>(std::min<long>(mixChunk, count - done));
        claim.digest = mixChunkIn(message, claim, place, input + done, size);
        ++claim.counter[1];
        place.add(std::bit_cast<DigestBytes>(claim.digest).data(), size);
    }
    const UnlessHeld lock;
    pool.digest.first = pool.digest.first ^ claim.digest[0];
    pool.digest.second = pool.digest.second ^ claim.digest[1];
    if (pool.entropy < threshold)
        pool.entropy = pool.entropy + entropy;
}

// Enough chunks to reach every byte of the ring, so that none is output as it was put in.
void stir() {
    constexpr char filler[] = "....................";
    for (int i = 0; i < (ringSize + mixChunk - 1) / mixChunk; ++i)
        mix(reinterpret_cast<const unsigned char *>(filler), mixChunk, 0.0);
}

void gatherOnce() {
    if (!pool.initialised)
        XRAND_poll();
}

bool prepareOutput(int count) {
    const double entropy = pool.entropy;
    const bool isGood = entropy >= threshold;
    pool.lockHeld = true;
    pool.initialised = true;
    if (!isGood)
        pool.entropy = std::max(entropy - count, 0.0);
    if (!pool.stirred) {
        stir();
        if (isGood)
            pool.stirred = true;
    }
    return isGood;
}

Claim claimForOutput(int count) {
    const Claim claim = {pool.index, pool.fill, pool.digest, pool.counter};
    const long end = long{claim.index} + count;
    // A ring without bytes is what a clean-up by another thread leaves.
    const int size = claim.fill > 0 ? claim.fill : ringSize;
    pool.index = static_cast<int>(end > claim.fill ? end % size : end);
    pool.counter.first = pool.counter.first + 1;
    pool.lockHeld = false;
    return {claim.index, size, claim.digest, claim.counter};
}

void output(unsigned char *out, int count, Claim &claim) {
    Place place(claim.index, claim.fill);
    Message message;
    for (long done = 0; done < count; done += outputPiece) {
        const int size = static_cast<int>(std::min<long>(outputPiece, count - done));
        message.begin();
        message.add(&claim.digest[1], sizeof claim.digest[1]);
        message.add(claim.counter);
        message.add(out + done, static_cast<std::size_t>(size));
        message.add(place, size);
        claim.digest = message.digest();
        const auto bytes = std::bit_cast<DigestBytes>(claim.digest);
        place.add(bytes.data(), size);
        memcpy(out + done, bytes.data() + outputPiece, static_cast<std::size_t>(size));
    }
}

void chainOutput(const Claim &claim) {
    Message message;
    message.begin();
    message.add(claim.counter);
    message.add(claim.digest);
    const Locked lock;
    message.add(pool.digest);
    pool.digest = message.digest();
}

void addRand(unsigned seed) {
    srand(seed);
    const int number = rand(); // NOLINT(cert-msc30-c,cert-msc50-cpp): one of many sources
    XRAND_add(&number, sizeof number, 1.0);
}

long clockReading() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    return now.tv_sec + now.tv_usec;
}

} // namespace
} // namespace qldapx

extern "C" {

void XRAND_add(const void *buffer, int count, double entropy) {
    qldapx::mix(static_cast<const unsigned char *>(buffer), std::max(count, 0), entropy);
}

void XRAND_seed(const void *buffer, int count) {
    XRAND_add(buffer, count, std::max(count, 0));
}

int XRAND_bytes(unsigned char *out, int count) {
    count = std::max(count, 0);
    qldapx::gatherOnce();
    bool isGood = false;
    qldapx::Claim claim;
    {
        const qldapx::Locked lock;
        isGood = qldapx::prepareOutput(count);
        claim = qldapx::claimForOutput(count);
    }
    qldapx::output(out, count, claim);
    qldapx::chainOutput(claim);
    return isGood ? 0 : qldapx::entropyShort;
}

int XRAND_pseudo_bytes(unsigned char *out, int count) {
    return XRAND_bytes(out, count);
}

int XRAND_status(void) {
    qldapx::gatherOnce();
    qldapx::pool.initialised = true;
    return qldapx::pool.entropy >= qldapx::threshold ? 1 : 0;
}

// How the clock reads twice in a row is what is left to chance here.
int XRAND_poll(void) {
    constexpr int clockSamples = 16;
    qldapx::addRand(static_cast<unsigned>(getpid()));
    qldapx::addRand(static_cast<unsigned>(getuid()));
    for (int i = 0; i < clockSamples; ++i) {
        const long first = qldapx::clockReading();
        qldapx::addRand(static_cast<unsigned>(first ^ qldapx::clockReading()));
    }
    qldapx::addRand(static_cast<unsigned>(getppid()));
    qldapx::addRand(static_cast<unsigned>(getpagesize()));
    return 1;
}

void XRAND_cleanup(void) {
    const qldapx::Locked lock;
    qldapx::Pool &pool = qldapx::pool;
    for (auto &byte : pool.ring)
        byte = 0;
    pool.index = 0;
    pool.fill = 0;
    pool.digest = qldapx::Words{};
    pool.counter = qldapx::Words{};
    pool.entropy = 0.0;
    pool.initialised = false;
}
}
