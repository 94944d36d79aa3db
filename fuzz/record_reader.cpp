#include "record_reader.h"

#include "heap_watch.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <qldapx.h>

namespace qldapx_fuzz {

namespace {

volatile unsigned sink;

void readBytes(const void *start, std::size_t length) {
    const auto *bytes = static_cast<const unsigned char *>(start);
    for (std::size_t i = 0; i < length; ++i)
        sink = sink + bytes[i];
}

template <class T>
const T &valueOf(const LDAPXEventField &field) {
    return *static_cast<const T *>(field.value);
}

void readText(const char *text) {
    if (text != nullptr)
        readBytes(text, std::strlen(text) + 1);
}

// And the NUL behind them.
void readCounted(const void *bytes, std::size_t length) {
    require(bytes != nullptr || length == 0, "bytes without a place");
    if (bytes == nullptr)
        return;
    readBytes(bytes, length + 1);
    require(static_cast<const char *>(bytes)[length] == '\0', "no NUL behind the bytes");
}

void readInteger(const LDAPXEventField &field) {
    readBytes(field.value, sizeof(std::int32_t));
}

void readString(const LDAPXEventField &field) {
    readText(valueOf<char *>(field));
}

void readOctets(const LDAPXEventField &field) {
    readCounted(valueOf<char *>(field), field.count);
}

void readInlineText(const LDAPXEventField &field) {
    readText(static_cast<const char *>(field.value));
}

void readSequence(const LDAPXEventField &field) {
    char **list = valueOf<char **>(field);
    for (; list != nullptr && *list != nullptr; ++list)
        readText(*list);
}

void readConnection(const LDAPXEventField &field) {
    const ConnectionInfo *info = valueOf<ConnectionInfo *>(field);
    if (info == nullptr)
        return;
    readBytes(info, sizeof *info);
    readText(info->text);
}

void readReferrals(const LDAPXEventField &field) {
    const ReferralEntry *list = valueOf<ReferralEntry *>(field);
    for (std::uint32_t i = 0; i < field.count; ++i) {
        readBytes(&list[i].type, sizeof list[i].type);
        readCounted(list[i].value, list[i].length);
    }
}

void readIntegers(const LDAPXEventField &field) {
    readBytes(field.value, field.count * sizeof(std::int32_t));
}

void readStrings(const LDAPXEventField &field) {
    char *const *list = static_cast<char *const *>(field.value);
    for (std::uint32_t i = 0; i < field.count; ++i)
        readText(list[i]);
}

std::size_t lengthOf(std::int32_t length) {
    require(length >= 0, "a negative length");
    return static_cast<std::size_t>(length);
}

void readItem(const DebugItem &item) {
    readBytes(&item, sizeof item);
    switch (item.kind) {
    case 2:
        return readText(item.text);
    case 3:
        return readCounted(item.pointer, lengthOf(item.number));
    case 5:
        return readCounted(item.pointer, lengthOf(item.length));
    case 7:
        if (item.number > 0)
            readBytes(item.pointer, lengthOf(item.number) * 3 * sizeof(std::int32_t));
        return;
    default:
        require(item.kind >= 1 && item.kind <= 6, "an item of an unknown kind");
    }
}

void readItems(const LDAPXEventField &field) {
    const DebugItem *items = valueOf<DebugItem *>(field);
    for (std::uint32_t i = 0; i < field.count; ++i)
        readItem(items[i]);
}

void readAddress(const LDAPXEventField &field) {
    readCounted(field.value, field.count);
}

struct Reader {
    int type;
    void (*read)(const LDAPXEventField &field);
};

constexpr Reader readers[] = {
    {LDAPX_EVENT_INTEGER, readInteger},     {LDAPX_EVENT_STRING, readString},
    {LDAPX_EVENT_BYTES, readOctets},        {LDAPX_EVENT_TEXT, readInlineText},
    {LDAPX_EVENT_SEQUENCE, readSequence},   {LDAPX_EVENT_CONNECTION, readConnection},
    {LDAPX_EVENT_REFERRALS, readReferrals}, {LDAPX_EVENT_INTEGERS, readIntegers},
    {LDAPX_EVENT_STRINGS, readStrings},     {LDAPX_EVENT_ITEMS, readItems},
    {LDAPX_EVENT_ADDRESS, readAddress},
};

void read(const LDAPXEventField &field) {
    readText(field.name);
    for (const Reader &reader : readers)
        if (reader.type == field.type)
            return reader.read(field);
    require(false, "a field of an unknown type");
}

// The first referral's value, which ldap_event_free leaves to its callers.
char *leftByFree(const void *eventData) {
    constexpr int sevKind = 102;
    if (ldapx_event_kind(eventData) != sevKind)
        return nullptr;
    const auto *event = static_cast<const SEVEventData *>(eventData);
    return event->referralCount > 0 ? event->referrals[0].value : nullptr;
}

} // namespace

void readAndFree(void *eventData) {
    if (eventData == nullptr)
        return;
    readText(ldapx_event_record_name(ldapx_event_kind(eventData)));
    LDAPXEventField field;
    for (int i = 0; ldapx_event_field(eventData, i, &field) != 0; ++i)
        read(field);
    char *left = leftByFree(eventData);
    ldap_event_free(eventData);
    std::free(left);
}

} // namespace qldapx_fuzz
