#include "load/dn_order.h"

#include <ldap.h>
#include <memory>

namespace qldapx {
namespace {

struct FreeLdap {
    void operator()(LDAPDN dn) const { ldap_dnfree(dn); }
    void operator()(char *text) const { ldap_memfree(text); }
};
using DnPtr = std::unique_ptr<LDAPRDN, FreeLdap>;

DnPtr parsed(const char *dn) {
    LDAPDN parts = nullptr;
    const int result = ldap_str2dn(dn, &parts, LDAP_DN_FORMAT_LDAPV3);
    return DnPtr(result == LDAP_SUCCESS ? parts : nullptr);
}

std::string textOf(LDAPDN dn) {
    char *text = nullptr;
    const int result = ldap_dn2str(dn, &text, LDAP_DN_FORMAT_LDAPV3);
    const std::unique_ptr<char, FreeLdap> owner(text);
    return result == LDAP_SUCCESS && text != nullptr ? text : std::string();
}

} // namespace

std::string comparableDn(const char *dn) {
    const DnPtr parts = parsed(dn);
    std::string result = parts == nullptr ? std::string() : textOf(parts.get());
    if (result.empty())
        result = dn; // the root, or none that libldap can read
    for (char &byte : result)
        byte = byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
    return result;
}

bool isBelow(std::string_view dn, std::string_view above) {
    return dn.size() > above.size() && dn.ends_with(above) &&
           (above.empty() || dn[dn.size() - above.size() - 1] == ',');
}

std::string renamedDn(const char *dn, const char *newRdn, const char *newSuperior) {
    const std::string rdn = newRdn;
    if (newSuperior != nullptr)
        return *newSuperior == '\0' ? rdn : rdn + "," + newSuperior;
    const DnPtr parts = parsed(dn);
    if (parts == nullptr)
        return {};
    const std::string parent = textOf(parts.get() + 1);
    return parent.empty() ? rdn : rdn + "," + parent;
}

} // namespace qldapx
