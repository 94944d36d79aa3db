// message_owner.h - a message that libldap has received, released at its end.
#pragma once

#include <ldap.h>
#include <memory>

namespace qldapx_test {

struct MessageFree {
    void operator()(LDAPMessage *message) const { ldap_msgfree(message); }
};
using MessagePtr = std::unique_ptr<LDAPMessage, MessageFree>;

} // namespace qldapx_test
