#pragma once

#include <chrono>
#include <memory>
#include <qldapx.h>
#include <string>
#include <string_view>

namespace qldapx {

struct FreeRecord {
    void operator()(void *record) const;
};
using RecordPtr = std::unique_ptr<void, FreeRecord>;

/** An event as a notification tells it. */
struct Event {
    std::chrono::system_clock::time_point time; // when it was read
    int type = 0;
    int result = 0;
    RecordPtr record;  // empty: a kind that has none
    RecordPtr address; // empty: none came
};

/** Takes a notification apart; gives a result code. */
int readEvent(LDAP *ld, LDAPMessage *message, Event &event);

/** The value of a notification, as it came. */
std::string rawNotification(LDAP *ld, LDAPMessage *message);

/** A field's value, of the type that goes with the field's. */
template <typename Value>
const Value &valueOf(const LDAPXEventField &field) {
    return *static_cast<const Value *>(field.value);
}

/** The bytes of a field that is LDAPX_EVENT_BYTES. */
inline std::string_view bytesOf(const LDAPXEventField &field) {
    const char *bytes = valueOf<char *>(field);
    return bytes == nullptr ? std::string_view() : std::string_view(bytes, field.count);
}

/** Calls `visit` with each field of a record; NULL has none. */
template <typename Visit>
void eachField(const void *record, Visit visit) {
    LDAPXEventField field{};
    for (int i = 0; record != nullptr && ldapx_event_field(record, i, &field) != 0; ++i)
        visit(field);
}

} // namespace qldapx
