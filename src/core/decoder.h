// decoder.h - reads the value of a response, element by element.
//
// liblber's readers take an element of any tag for the one they were asked for, and those of
// constructed elements dereference NULL over a value that is present but empty. So every read
// here looks at the tag first: ber_peek_tag also makes sure that the whole element lies within
// the value.
#pragma once

#include "core/handle.h"

namespace qldapx {

class Decoder {
  public:
    // Copies the value; false afterwards means that there was no memory for the copy.
    explicit Decoder(berval *value) : ber_(ber_init(value)) {}
    explicit operator bool() const { return ber_ != nullptr; }

    [[nodiscard]] bool nextIs(ber_tag_t tag) const {
        ber_len_t length = 0;
        return ber_peek_tag(ber_.get(), &length) == tag;
    }

    // INTEGER of at most 32 bits.
    [[nodiscard]] bool integer(int *number) {
        return nextIs(LBER_INTEGER) && ber_get_int(ber_.get(), number) != LBER_ERROR;
    }

    // OCTET STRING without a NUL inside; one at its end is taken for the string's terminator.
    [[nodiscard]] bool text(LdapStringPtr &text) {
        return nextIs(LBER_OCTETSTRING) && ber_get_stringa(ber_.get(), Out(text)) != LBER_ERROR;
    }

    // OCTET STRING of any bytes.
    [[nodiscard]] bool octets(BervalPtr &octets) {
        return nextIs(LBER_OCTETSTRING) && ber_get_stringal(ber_.get(), Out(octets)) != LBER_ERROR;
    }

    // SEQUENCE OF or SET OF strings; an empty one gives NULL.
    [[nodiscard]] bool strings(char ***list) {
        return (nextIs(LBER_SEQUENCE) || nextIs(LBER_SET)) &&
               ber_scanf(ber_.get(), "v", list) != LBER_ERROR;
    }

    // Steps into a constructed element. *after receives the number of bytes of the value that
    // follow it, for insideOf().
    [[nodiscard]] bool enter(ber_tag_t tag, ber_len_t *after = nullptr) {
        if (!nextIs(tag))
            return false;
        ber_len_t length = 0;
        ber_skip_tag(ber_.get(), &length);
        if (after != nullptr)
            *after = left() - length;
        return true;
    }

    // True while bytes remain of the element that enter() opened.
    [[nodiscard]] bool insideOf(ber_len_t after) const { return left() > after; }

    // True when what was read ended exactly where the element ends.
    [[nodiscard]] bool endOf(ber_len_t after) const { return left() == after; }

  private:
    [[nodiscard]] ber_len_t left() const {
        ber_len_t bytes = 0;
        ber_get_option(ber_.get(), LBER_OPT_BER_REMAINING_BYTES, &bytes);
        return bytes;
    }

    BerElementPtr ber_;
};

} // namespace qldapx
