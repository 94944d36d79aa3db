#include "qldapx/md5.h"

#include "core/md5.h"

#include <string.h>

namespace qldapx {
namespace {

Md5Chain chainOf(const QldapxMD5Context &context) {
    Md5Chain chain;
    for (std::size_t i = 0; i < chain.size(); ++i)
        chain[i] = static_cast<std::uint32_t>(context.chain[i]);
    return chain;
}

void take(QldapxMD5Context &context, const unsigned char *blocks, std::size_t count) {
    Md5Chain chain = chainOf(context);
    md5Transform(chain, blocks, count);
    for (std::size_t i = 0; i < chain.size(); ++i)
        context.chain[i] = chain[i];
}

std::size_t pendingBytes(const QldapxMD5Context &context) {
    return context.bitCount[0] / 8 % md5BlockSize;
}

void addLength(QldapxMD5Context &context, std::uint64_t length) {
    const auto low = static_cast<std::uint32_t>(context.bitCount[0]);
    const auto bits = static_cast<std::uint32_t>(length << 3);
    const std::uint32_t sum = low + bits;
    context.bitCount[0] = sum;
    context.bitCount[1] =
        static_cast<std::uint32_t>(context.bitCount[1] + (sum < bits ? 1 : 0) + (length >> 29));
}

// The bytes that follow the last whole block, the end mark and the bit count, in one block or two.
class LastBlocks {
  public:
    LastBlocks(const unsigned char *rest, std::size_t length, std::uint32_t low, std::uint32_t high)
        : count_(length < md5LengthOffset ? 1 : 2) {
        if (length > 0)
            memcpy(bytes_, rest, length);
        bytes_[length] = 0x80;
        unsigned char *place = bytes_ + (count_ - 1) * md5BlockSize + md5LengthOffset;
        memset(bytes_ + length + 1, 0, static_cast<std::size_t>(place - bytes_) - length - 1);
        memcpy(place, &low, sizeof low);
        memcpy(place + sizeof low, &high, sizeof high);
    }
    LastBlocks(const LastBlocks &) = delete;
    LastBlocks &operator=(const LastBlocks &) = delete;

    void close(Md5Chain &chain, unsigned char *digest) {
        md5Transform(chain, bytes_, count_);
        memcpy(digest, chain.data(), sizeof chain);
    }
    void wipe() { explicit_bzero(bytes_, sizeof bytes_); }

  private:
    unsigned char bytes_[2 * md5BlockSize];
    std::size_t count_;
};

} // namespace
} // namespace qldapx

extern "C" {

void MD5Init(QldapxMD5Context *context) {
    for (std::size_t i = 0; i < qldapx::md5Start.size(); ++i)
        context->chain[i] = qldapx::md5Start[i];
    context->bitCount[0] = context->bitCount[1] = 0;
}

void MD5Update(QldapxMD5Context *context, const void *data, uint64_t length) {
    if (length == 0)
        return;
    const auto *bytes = static_cast<const unsigned char *>(data);
    const std::size_t pending = qldapx::pendingBytes(*context);
    const std::size_t room = qldapx::md5BlockSize - pending;
    qldapx::addLength(*context, length);
    if (length < room) {
        memcpy(context->pending + pending, bytes, length);
        return;
    }
    if (pending > 0) {
        memcpy(context->pending + pending, bytes, room);
        qldapx::take(*context, context->pending, 1);
        bytes += room;
        length -= room;
    }
    qldapx::take(*context, bytes, length / qldapx::md5BlockSize);
    const std::size_t rest = length % qldapx::md5BlockSize;
    memcpy(context->pending, bytes + length - rest, rest);
}

void MD5Final(unsigned char digest[16], QldapxMD5Context *context) {
    qldapx::Md5Chain chain = qldapx::chainOf(*context);
    qldapx::LastBlocks last(context->pending, qldapx::pendingBytes(*context),
                            static_cast<std::uint32_t>(context->bitCount[0]),
                            static_cast<std::uint32_t>(context->bitCount[1]));
    last.close(chain, digest);
    last.wipe();
    explicit_bzero(context, sizeof *context);
}

unsigned char *MD5(const unsigned char *data, size_t length, unsigned char *digest) {
    static unsigned char shared[sizeof(qldapx::Md5Chain)];
    qldapx::Md5Chain chain = qldapx::md5Start;
    const std::size_t whole = length / qldapx::md5BlockSize;
    qldapx::md5Transform(chain, data, whole);
    qldapx::LastBlocks last(data + whole * qldapx::md5BlockSize, length % qldapx::md5BlockSize,
                            static_cast<std::uint32_t>(length << 3),
                            static_cast<std::uint32_t>(static_cast<uint64_t>(length) >> 29));
    if (digest == nullptr)
        digest = shared;
    last.close(chain, digest);
    return digest;
}
}
