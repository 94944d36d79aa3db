// decoder.h - reads the value of a response or a control, element by element.
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
    // Reads the value where it lies, which must outlive the decoder and, like all that libldap
    // decodes, have a readable byte after it. Allocates only what liblber needs; false
    // afterwards means that there was no memory for that.
    explicit Decoder(const berval &value) : ber_(ber_alloc_t(0)) {
        berval bytes = value;
        if (ber_ != nullptr)
            ber_init2(ber_.get(), &bytes, 0);
    }
    // Reads from where another element stands, and leaves that one there.
    explicit Decoder(BerElement *other) : ber_(ber_dup(other)) {}
    explicit operator bool() const { return ber_ != nullptr; }

    // Goes on with bytes that were read, as a value of their own.
    void restart(berval value) { ber_init2(ber_.get(), &value, 0); }

    // For readers of their own; it stays the decoder's.
    [[nodiscard]] BerElement *element() const { return ber_.get(); }

    [[nodiscard]] bool nextIs(ber_tag_t tag) const {
        ber_len_t length = 0;
        return ber_peek_tag(ber_.get(), &length) == tag;
    }

    // INTEGER or ENUMERATED of at most 32 bits, or an implicitly tagged one.
    [[nodiscard]] bool integer(int *number, ber_tag_t tag = LBER_INTEGER) {
        return nextIs(tag) && ber_get_int(ber_.get(), number) != LBER_ERROR;
    }

    // OCTET STRING without a NUL inside; one at its end is taken for the string's terminator.
    [[nodiscard]] bool text(LdapStringPtr &text, ber_tag_t tag = LBER_OCTETSTRING) {
        return nextIs(tag) && ber_get_stringa(ber_.get(), Out(text)) != LBER_ERROR;
    }

    // Contents of the next element of any tag, where they lie.
    [[nodiscard]] bool contents(berval *bytes) {
        return ber_skip_element(ber_.get(), bytes) != LBER_ERROR;
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

    // True when an element of that tag comes next within the one that enter() opened.
    [[nodiscard]] bool hasWithin(ber_len_t after, ber_tag_t tag) const {
        return insideOf(after) && nextIs(tag);
    }

    // True when nothing that was read crosses the end of the element that enter() opened, and
    // what may be left of it begins with a whole element.
    [[nodiscard]] bool isWholeUpTo(ber_len_t after) const {
        return endOf(after) || (insideOf(after) && !nextIs(LBER_ERROR));
    }

  private:
    [[nodiscard]] ber_len_t left() const {
        ber_len_t bytes = 0;
        ber_get_option(ber_.get(), LBER_OPT_BER_REMAINING_BYTES, &bytes);
        return bytes;
    }

    BorrowingElementPtr ber_;
};

} // namespace qldapx
