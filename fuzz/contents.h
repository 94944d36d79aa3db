// contents.h - what was written, read with liblber: any difference ends the process.
#pragma once

#include "ber_ptr.h"
#include "heap_watch.h"
#include "support/ber.h"

#include <optional>
#include <string_view>

namespace qldapx_fuzz {

using qldapx_test::Bytes;

// The elements of a constructed one. liblber may look at the byte behind them.
class Contents {
  public:
    explicit Contents(std::string_view bytes)
        : ber_(decoderOf({bytes.size(), const_cast<char *>(bytes.data())})) {}

    std::string_view element(ber_tag_t tag) {
        berval contents{};
        require(ber_skip_element(ber_.get(), &contents) == tag, "another element was written");
        return {contents.bv_val, contents.bv_len};
    }
    void octets(const std::optional<Bytes> &expected, ber_tag_t tag = LBER_OCTETSTRING) {
        require(element(tag) == expected, "other bytes were written");
    }
    void integer(int expected, ber_tag_t tag) {
        int written = 0;
        require(ber_get_int(ber_.get(), &written) == tag, "no number was written");
        require(written == expected, "another number was written");
    }
    void boolean(bool expected) {
        int written = 0;
        require(ber_get_boolean(ber_.get(), &written) == LBER_BOOLEAN, "no flag was written");
        require((written != 0) == expected, "another flag was written");
    }
    void end() const {
        ber_len_t left = 0;
        ber_get_option(ber_.get(), LBER_OPT_BER_REMAINING_BYTES, &left);
        require(left == 0, "more was written");
    }

  private:
    BerPtr ber_;
};

} // namespace qldapx_fuzz
