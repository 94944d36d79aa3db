#include "events/event.h"

namespace qldapx {

std::string rawNotification(LDAP *ld, LDAPMessage *message) {
    const auto value = events::raw_payload(ld, message).value();
    return value ? std::string(value->view()) : std::string();
}

} // namespace qldapx
