// primitives.h - the elements that event payloads are made of.
//
// All of them take the next element as a whole (ber_skip_element), which makes sure that it lies
// within the value, and look at its tag: liblber's other readers take any tag for their own.
#pragma once

#include "core/assertion.h"
#include "qldapx/event_decoder.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace qldapx::events {

constexpr Assertion wrongStringTag{"expectedTag == tag", "events.c", 776, "parseLDAPString"};
constexpr Assertion wrongOctetsTag{"expectedTag == tag", "events.c", 639, "parseOctetString"};
constexpr Assertion wrongAddressTag{"((ber_tag_t) 0x04UL) == tag", "events.c", 1181,
                                    "parseChangeServerAddressData"};

inline ber_len_t bytesLeft(BerElement *ber) {
    ber_len_t bytes = 0;
    ber_get_option(ber, LBER_OPT_BER_REMAINING_BYTES, &bytes);
    return bytes;
}

inline ber_tag_t nextTag(BerElement *ber) {
    ber_len_t length = 0;
    return ber_peek_tag(ber, &length);
}

// INTEGER of at most 32 bits.
[[nodiscard]] inline int readInteger(BerElement *ber, std::int32_t *number,
                                     ber_tag_t tag = LBER_INTEGER) {
    berval bytes;
    bool isRead = ber_skip_element(ber, &bytes) == tag && ber_decode_int(&bytes, number) == 0;
    return isRead ? LDAP_SUCCESS : LDAP_DECODING_ERROR;
}

// Steps into a constructed element.
[[nodiscard]] inline int enter(BerElement *ber, ber_tag_t tag = LBER_SEQUENCE) {
    ber_len_t length = 0;
    if (ber_peek_tag(ber, &length) != tag)
        return LDAP_DECODING_ERROR;
    ber_skip_tag(ber, &length);
    return LDAP_SUCCESS;
}

// A copy with a NUL behind it; NULL for no bytes.
[[nodiscard]] inline int copyBytes(const berval &bytes, char **copy) {
    *copy = nullptr;
    if (bytes.bv_len == 0)
        return LDAP_SUCCESS;
    char *block = static_cast<char *>(std::malloc(bytes.bv_len + 1));
    if (block == nullptr)
        return LDAP_NO_MEMORY;
    std::memcpy(block, bytes.bv_val, bytes.bv_len);
    block[bytes.bv_len] = '\0';
    *copy = block;
    return LDAP_SUCCESS;
}

// OCTET STRING; one that is there under another tag is the assertion's fault.
[[nodiscard]] inline int readOctets(BerElement *ber, char **out, ber_len_t *length, ber_tag_t tag,
                                    const Assertion &wrongTag) {
    *out = nullptr;
    *length = 0;
    berval bytes;
    ber_tag_t found = ber_skip_element(ber, &bytes);
    if (found == LBER_DEFAULT)
        return LDAP_DECODING_ERROR;
    if (found != tag)
        fail(wrongTag);
    int result = copyBytes(bytes, out);
    if (result == LDAP_SUCCESS)
        *length = bytes.bv_len;
    return result;
}

[[nodiscard]] inline int readString(BerElement *ber, char **out, ber_tag_t tag = LBER_OCTETSTRING) {
    ber_len_t length = 0;
    return readOctets(ber, out, &length, tag, wrongStringTag);
}

// The address without its session: what ber_get_IP and parseNetAddrEventData read.
[[nodiscard]] int readOptionalAddress(BerElement *ber, void **ipData);
[[nodiscard]] int readAddress(BerElement *ber, void **out);

} // namespace qldapx::events
