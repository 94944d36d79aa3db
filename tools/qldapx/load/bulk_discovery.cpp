#include "load/bulk_discovery.h"

#include "messages.h"

#include <array>
#include <memory>
#include <string_view>

namespace qldapx {

bool listsBulkUpdate(LDAP *ld, int &code) {
    char attribute[] = "supportedExtension";
    std::array<char *, 2> attributes = {attribute, nullptr};
    LDAPMessage *found = nullptr;
    code = ldap_search_ext_s(ld, "", LDAP_SCOPE_BASE, "(objectClass=*)", attributes.data(), 0,
                             nullptr, nullptr, nullptr, 0, &found);
    const message owner(adopt, found);
    if (code == LDAP_SUCCESS && found == nullptr) // a notice of disconnection instead
        code = failureCode(ld);
    LDAPMessage *entry = code == LDAP_SUCCESS ? ldap_first_entry(ld, found) : nullptr;
    if (entry == nullptr)
        return code != LDAP_SUCCESS;
    berval **values = ldap_get_values_len(ld, entry, attribute);
    const std::unique_ptr<berval *, void (*)(berval **)> valuesOwner(values, ldap_value_free_len);
    constexpr std::string_view start = "2.16.840.1.907341.1.142.100.1";
    for (berval **each = values; each != nullptr && *each != nullptr; ++each)
        if (std::string_view((*each)->bv_val, (*each)->bv_len) == start)
            return true;
    return false;
}

} // namespace qldapx
