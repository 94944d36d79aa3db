#include "support/ldap_message.h"

namespace qldapx_test {

namespace {

// LDAPResult's first elements: resultCode ENUMERATED, matchedDN, diagnosticMessage.
Bytes ldapResult(int code) {
    return join({tlv(0x0a, Bytes(1, static_cast<char>(code))), octetString(""), octetString("")});
}

Bytes optional(unsigned char tag, const std::optional<Bytes> &content) {
    return content ? tlv(tag, *content) : Bytes();
}

} // namespace

Bytes ldapMessage(int id, const Bytes &protocolOp) {
    return sequence({integer(id), protocolOp});
}

Bytes extendedRequest(const std::string &oid, const std::optional<Bytes> &value) {
    return tlv(0x77, tlv(0x80, oid) + optional(0x81, value));
}

Bytes extendedResponse(int code, const std::optional<std::string> &oid,
                       const std::optional<Bytes> &value) {
    return tlv(0x78, ldapResult(code) + optional(0x8a, oid) + optional(0x8b, value));
}

Bytes searchEntry(const std::string &dn) {
    return tlv(0x64, octetString(dn) + sequence({}));
}

Bytes searchDone(int code) {
    return tlv(0x65, ldapResult(code));
}

} // namespace qldapx_test
