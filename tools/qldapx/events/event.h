#pragma once

#include <chrono>
#include <qldapx.hpp>
#include <string>
#include <string_view>

namespace qldapx {

/** An event as a notification tells it, and when it was read. */
struct Event : events::event {
    explicit Event(events::event &&told) : event(std::move(told)) {}

    const std::chrono::system_clock::time_point time = std::chrono::system_clock::now();
};

/** The value of a notification, as it came. */
std::string rawNotification(LDAP *ld, LDAPMessage *message);

/** A field's value, of the type that goes with the field's. */
template <typename Value>
const Value &valueOf(const events::field &field) {
    return *static_cast<const Value *>(field.value);
}

/** The bytes of a field that is LDAPX_EVENT_BYTES. */
inline std::string_view bytesOf(const events::field &field) {
    const char *bytes = valueOf<char *>(field);
    return bytes == nullptr ? std::string_view() : std::string_view(bytes, field.count);
}

} // namespace qldapx
