// ldap_message.h - LDAP messages (RFC 4511) written by hand.
#pragma once

#include "support/ber.h"

#include <optional>

namespace qldapx_test {

// LDAPMessage ::= SEQUENCE { messageID INTEGER, protocolOp }
Bytes ldapMessage(int id, const Bytes &protocolOp);

// ExtendedRequest ::= [APPLICATION 23] SEQUENCE {
//     requestName [0] LDAPOID, requestValue [1] OCTET STRING OPTIONAL }
Bytes extendedRequest(const std::string &oid, const std::optional<Bytes> &value);

// ExtendedResponse ::= [APPLICATION 24] SEQUENCE { LDAPResult,
//     responseName [10] LDAPOID OPTIONAL, responseValue [11] OCTET STRING OPTIONAL }
Bytes extendedResponse(int code, const std::optional<std::string> &oid,
                       const std::optional<Bytes> &value);

// SearchResultEntry without attributes, and SearchResultDone.
Bytes searchEntry(const std::string &dn);
Bytes searchDone(int code);

} // namespace qldapx_test
