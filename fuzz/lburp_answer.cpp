#include "lburp_answer.h"

#include "ber_ptr.h"
#include "heap_watch.h"

#include <cstring>

namespace qldapx_fuzz {

namespace {

// Elements one behind the other, whatever element they are in.
class FlatReader {
  public:
    explicit FlatReader(const Bytes &value)
        : ber_(decoderOf({value.size(), const_cast<char *>(value.data())})) {}

    [[nodiscard]] ber_len_t left() const {
        ber_len_t bytes = 0;
        ber_get_option(ber_.get(), LBER_OPT_BER_REMAINING_BYTES, &bytes);
        return bytes;
    }
    [[nodiscard]] bool nextIs(ber_tag_t tag) const {
        ber_len_t length = 0;
        return ber_peek_tag(ber_.get(), &length) == tag;
    }
    // *after receives how much is left behind the sequence.
    bool enterSequence(ber_len_t *after) {
        ber_len_t length = 0;
        if (!nextIs(LBER_SEQUENCE) || ber_skip_tag(ber_.get(), &length) == LBER_ERROR)
            return false;
        *after = left() - length;
        return true;
    }
    bool integer(int *number, ber_tag_t tag = LBER_INTEGER) {
        return nextIs(tag) && ber_get_int(ber_.get(), number) != LBER_ERROR;
    }
    bool text(std::string *text) {
        char *read = nullptr;
        if (!nextIs(LBER_OCTETSTRING) || ber_get_stringa(ber_.get(), &read) == LBER_ERROR)
            return false;
        *text = read == nullptr ? "" : read;
        ber_memfree(read);
        return true;
    }
    bool skip() {
        berval contents;
        return ber_skip_element(ber_.get(), &contents) != LBER_ERROR;
    }

  private:
    BerPtr ber_;
};

bool readFailure(FlatReader &value, ber_len_t after, Failure &failure) {
    ber_len_t unused = 0;
    std::string matchedDn;
    bool isThere =
        value.enterSequence(&unused) &&
        (value.integer(&failure.code) || value.integer(&failure.code, LBER_ENUMERATED)) &&
        value.text(&matchedDn) && value.text(&failure.message);
    while (isThere && value.left() > after)
        isThere = value.skip();
    return isThere;
}

} // namespace

LburpAnswer::LburpAnswer(LDAP *ld, LDAPMessage *received) {
    char *text = nullptr, *name = nullptr;
    berval *contents = nullptr;
    parsed = ldap_parse_result(ld, received, &code, nullptr, &text, nullptr, nullptr, 0);
    if (parsed == LDAP_SUCCESS)
        parsed = ldap_parse_extended_result(ld, received, &name, &contents, 0);
    if (text != nullptr)
        message = text;
    if (name != nullptr)
        oid = name;
    if (contents != nullptr)
        value = Bytes(contents->bv_val, contents->bv_len);
    ldap_memfree(text);
    ldap_memfree(name);
    ber_bvfree(contents);
}

int LburpAnswer::resultUnder(const char *expected) const {
    if (parsed != LDAP_SUCCESS)
        return parsed;
    return oid == expected ? LDAP_SUCCESS : LDAP_NOT_SUPPORTED;
}

std::optional<int> transactionSizeIn(const Bytes &value) {
    FlatReader reader(value);
    ber_len_t after = 0;
    int size = 0;
    if (!reader.enterSequence(&after) || !reader.integer(&size))
        return std::nullopt;
    return size;
}

// A number that nothing follows ends the list and does not count.
FailureList failuresIn(const Bytes &value) {
    FlatReader reader(value);
    FailureList list;
    while (reader.left() > 0) {
        ber_len_t after = 0;
        Failure failure;
        if (!reader.enterSequence(&after) || !reader.integer(&failure.number))
            return list;
        if (reader.left() == 0)
            break;
        if (!readFailure(reader, after, failure))
            return list;
        list.failures.push_back(std::move(failure));
    }
    list.decodes = true;
    return list;
}

} // namespace qldapx_fuzz
