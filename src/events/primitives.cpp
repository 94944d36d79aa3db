#include "events/primitives.h"

#include "core/session.h"
#include "events/record.h"
#include "qldapx/event.h"

#include <algorithm>
#include <cstdint>

namespace {

using namespace qldapx::events;

// Room for one more string and the NULL behind it. The array doubles, so that a long list is
// not copied for each of its strings.
bool growForOne(char ***list, std::size_t count, std::size_t *capacity) {
    if (count + 1 < *capacity)
        return true;
    std::size_t larger = std::max<std::size_t>(4, 2 * *capacity);
    auto *grown = static_cast<char **>(std::realloc(*list, larger * sizeof(char *)));
    if (grown == nullptr)
        return false;
    *list = grown;
    *capacity = larger;
    return true;
}

// SEQUENCE { OCTET STRING ... }: what follows the string within is not looked at.
int readListedString(BerElement *ber, char **string) {
    berval bytes;
    if (enter(ber) != LDAP_SUCCESS || ber_skip_element(ber, &bytes) != LBER_OCTETSTRING)
        return LDAP_DECODING_ERROR;
    if (bytes.bv_len > 0 && std::memchr(bytes.bv_val, 0, bytes.bv_len - 1) != nullptr)
        return LDAP_DECODING_ERROR;
    int result = copyBytes(bytes, string);
    if (result == LDAP_SUCCESS && *string == nullptr) { // NULL would end the list
        *string = static_cast<char *>(std::calloc(1, 1));
        result = *string == nullptr ? LDAP_NO_MEMORY : LDAP_SUCCESS;
    }
    return result;
}

// Strings up to the point where `after` bytes of the value are left.
int readListedStrings(BerElement *ber, ber_len_t after, char ***list) {
    std::size_t capacity = 1;
    for (std::size_t count = 0; bytesLeft(ber) > after; ++count) {
        if (!growForOne(list, count, &capacity))
            return LDAP_NO_MEMORY;
        (*list)[count] = nullptr;
        int result = readListedString(ber, &(*list)[count]);
        if (result != LDAP_SUCCESS)
            return result;
        (*list)[count + 1] = nullptr;
    }
    return bytesLeft(ber) == after ? LDAP_SUCCESS : LDAP_DECODING_ERROR;
}

// The shortest entry: 30 04 02 00 04 00.
constexpr ber_len_t shortestReferral = 6;

int readReferral(BerElement *ber, ReferralEntry *entry) {
    int result = enter(ber);
    if (result == LDAP_SUCCESS)
        result = readInteger(ber, &entry->type);
    if (result != LDAP_SUCCESS)
        return result;
    ber_len_t length = 0;
    result = parseOctetString(ber, &entry->value, &length, 0);
    entry->length = static_cast<std::uint32_t>(length);
    return result;
}

int readConnection(BerElement *ber, ConnectionInfo *info) {
    int result = readInteger(ber, &info->number1);
    if (result == LDAP_SUCCESS)
        result = readInteger(ber, &info->number2);
    return result == LDAP_SUCCESS ? readString(ber, &info->text) : result;
}

} // namespace

namespace qldapx::events {

int readAddress(BerElement *ber, void **out) {
    std::int32_t type = 0;
    ber_len_t length = 0;
    if (readInteger(ber, &type) != LDAP_SUCCESS || ber_peek_tag(ber, &length) != LBER_OCTETSTRING)
        return LDAP_DECODING_ERROR;
    constexpr std::size_t head = offsetof(NetAddrEventData, value);
    *out = allocEventData(head + length + 1, netAddressKind);
    if (*out == nullptr)
        return LDAP_NO_MEMORY;
    auto *address = static_cast<NetAddrEventData *>(*out);
    address->addressType = type;
    address->length = static_cast<std::uint32_t>(length);
    char *value = static_cast<char *>(*out) + head;
    value[length] = '\0';
    if (length == 0)
        return LDAP_SUCCESS; // and leaves the empty string unread: kept
    berval bytes;
    ber_skip_element(ber, &bytes);
    std::memcpy(value, bytes.bv_val, length);
    return LDAP_SUCCESS;
}

int readOptionalAddress(BerElement *ber, void **ipData) {
    if (nextTag(ber) != LBER_INTEGER)
        return LDAP_SUCCESS;
    if (ipData != nullptr)
        return readAddress(ber, ipData);
    void *dropped = nullptr;
    int result = readAddress(ber, &dropped);
    ldap_event_free(dropped);
    return result;
}

} // namespace qldapx::events

extern "C" {

int ber_get_IP(LDAP *ld, BerElement *ber, void **ipData) {
    if (nextTag(ber) != LBER_INTEGER)
        return qldapx::storedResult(ld);
    return qldapx::storeResult(ld, readOptionalAddress(ber, ipData));
}

int parseNetAddrEventData(LDAP *ld, BerElement *ber, void **out) {
    return qldapx::storeResult(ld, readAddress(ber, out));
}

int parseOctetString(BerElement *ber, char **out, ber_len_t *length, ber_tag_t expectedTag) {
    return readOctets(ber, out, length, expectedTag == 0 ? LBER_OCTETSTRING : expectedTag,
                      wrongOctetsTag);
}

int parseLDAPString(BerElement *ber, char **out, ber_tag_t expectedTag) {
    return readString(ber, out, expectedTag == 0 ? LBER_OCTETSTRING : expectedTag);
}

int parseStringSequence(BerElement *ber, char ***out) {
    if (bytesLeft(ber) == 0)
        return LDAP_SUCCESS;
    ber_len_t length = 0;
    if (ber_peek_tag(ber, &length) == LBER_DEFAULT)
        return LDAP_DECODING_ERROR;
    *out = static_cast<char **>(std::calloc(1, sizeof(char *)));
    if (*out == nullptr)
        return LDAP_NO_MEMORY;
    ber_skip_tag(ber, &length);
    int result = readListedStrings(ber, bytesLeft(ber) - length, out);
    if (result != LDAP_SUCCESS) {
        freeStringSequence(*out);
        *out = nullptr;
    }
    return result;
}

void freeStringSequence(char **list) {
    if (list == nullptr)
        return;
    for (char **string = list; *string != nullptr; ++string)
        std::free(*string);
    std::free(list);
}

int parseReferralList(BerElement *ber, int *count, ReferralEntry **list) {
    *list = nullptr;
    *count = 0;
    if (bytesLeft(ber) == 0)
        return LDAP_SUCCESS;
    std::int32_t entries = 0;
    if (enter(ber) != LDAP_SUCCESS || readInteger(ber, &entries) != LDAP_SUCCESS ||
        enter(ber) != LDAP_SUCCESS)
        return LDAP_DECODING_ERROR;
    auto wanted = static_cast<std::size_t>(std::max(entries, 0));
    if (wanted > bytesLeft(ber) / shortestReferral)
        return LDAP_DECODING_ERROR;
    *count = entries;
    *list = static_cast<ReferralEntry *>(std::calloc(wanted, sizeof(ReferralEntry)));
    if (*list == nullptr)
        return LDAP_NO_MEMORY;
    int result = LDAP_SUCCESS;
    for (std::size_t i = 0; result == LDAP_SUCCESS && i < wanted; ++i)
        result = readReferral(ber, &(*list)[i]);
    return result;
}

void freeReferralList(int count, ReferralEntry *list) {
    if (list == nullptr)
        return;
    // From the second entry on: the first one's value stays allocated, kept since callers have
    // held on to it.
    for (int i = 1; i < count; ++i)
        std::free(list[i].value);
    std::free(list);
}

int parseConnectionData(BerElement *ber, ConnectionInfo **out) {
    *out = nullptr;
    if (bytesLeft(ber) == 0)
        return LDAP_SUCCESS;
    if (enter(ber) != LDAP_SUCCESS)
        return LDAP_DECODING_ERROR;
    *out = static_cast<ConnectionInfo *>(std::calloc(1, sizeof(ConnectionInfo)));
    return *out == nullptr ? LDAP_NO_MEMORY : readConnection(ber, *out);
}

void freeConnectionData(ConnectionInfo *info) {
    if (info == nullptr)
        return;
    std::free(info->text);
    std::free(info);
}
}
