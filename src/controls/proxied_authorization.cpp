#include "core/session.h"
#include "qldapx/control.h"

#include <cstring>

namespace {

constexpr char proxyOid[] = "2.16.840.1.113730.3.4.18";

// What ldap_control_free can release. What was allocated before the allocation that failed is
// left, which is the contract of this control.
LDAPControl *makeProxyControl(const char *authzDN) {
    auto *control = static_cast<LDAPControl *>(ber_memalloc(sizeof(LDAPControl)));
    if (control == nullptr)
        return nullptr;
    auto *oid = static_cast<char *>(ber_memalloc(sizeof proxyOid));
    if (oid == nullptr)
        return nullptr;
    char *value = ber_strdup(authzDN);
    if (value == nullptr)
        return nullptr;
    std::memcpy(oid, proxyOid, sizeof proxyOid);
    // The DN itself, not a BER element, and always critical: a server that passed over the
    // control would use the caller's own rights.
    *control = {oid, {std::strlen(value), value}, 1};
    return control;
}

} // namespace

extern "C" {

int ldap_create_proxyauth_control(LDAP *ld, const char *authzDN, LDAPControl **ctrlp) {
    if (ld == nullptr)
        return LDAP_PARAM_ERROR;
    if (ctrlp == nullptr || authzDN == nullptr)
        return qldapx::storeResult(ld, LDAP_PARAM_ERROR);
    LDAPControl *control = makeProxyControl(authzDN);
    if (control == nullptr)
        return qldapx::storeResult(ld, LDAP_NO_MEMORY);
    *ctrlp = control;
    return qldapx::storeResult(ld, LDAP_SUCCESS);
}
}
