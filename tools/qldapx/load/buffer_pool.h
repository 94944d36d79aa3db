#pragma once

#include <lber.h>
#include <vector>

namespace qldapx {

/** What libldap reads a record into, and grows. */
struct LdifBuffer {
    char *bytes = nullptr;
    int size = 0;
};

/**
 * Buffers are used again: the tool's memory is overwritten when it is released, which for one
 * buffer a record would be a quarter of all the work of a load.
 */
class BufferPool {
  public:
    BufferPool() = default;
    ~BufferPool() {
        for (const LdifBuffer &each : spare_)
            ber_memfree(each.bytes);
    }
    BufferPool(const BufferPool &) = delete;
    BufferPool &operator=(const BufferPool &) = delete;

    LdifBuffer take() {
        if (spare_.empty())
            return {};
        const LdifBuffer buffer = spare_.back();
        spare_.pop_back();
        return buffer;
    }
    /** One that a long record has left behind is not kept for the short ones that follow. */
    void give(const LdifBuffer &buffer) {
        constexpr int largestKept = 16 << 10;
        if (buffer.bytes != nullptr && buffer.size <= largestKept)
            spare_.push_back(buffer);
        else
            ber_memfree(buffer.bytes);
    }

  private:
    std::vector<LdifBuffer> spare_;
};

} // namespace qldapx
