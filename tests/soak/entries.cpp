#include "jobs.h"
#include "owners.h"
#include "support/modifications.h"

namespace soak {
namespace {

MessagePtr search(Hand &hand, const std::string &base, int scope, const std::string &filter) {
    MessagePtr found;
    const int code = ldap_search_ext_s(hand.session(), base.c_str(), scope, filter.c_str(), nullptr,
                                       0, nullptr, nullptr, nullptr, LDAP_NO_LIMIT, out(found));
    hand.expect("ldap_search_ext_s", code);
    return found;
}

} // namespace

void addPerson(Hand &hand, const std::string &dn, const std::string &description) {
    const std::string name = dn.substr(3, dn.find(',') - 3);
    qldapx_test::Modifications mods;
    mods.bytes(LDAP_MOD_ADD, "objectClass", {"person"})
        .bytes(LDAP_MOD_ADD, "cn", {name})
        .bytes(LDAP_MOD_ADD, "sn", {"Soak"})
        .bytes(LDAP_MOD_ADD, "description", {description});
    hand.expect("ldap_add_ext_s",
                ldap_add_ext_s(hand.session(), dn.c_str(), mods.list(), nullptr, nullptr));
}

void deleteEntry(Hand &hand, const std::string &dn) {
    hand.expect("ldap_delete_ext_s",
                ldap_delete_ext_s(hand.session(), dn.c_str(), nullptr, nullptr));
}

std::string valueOf(Hand &hand, const std::string &dn, const std::string &attribute) {
    const MessagePtr found = search(hand, dn, LDAP_SCOPE_BASE, "(objectClass=*)");
    LDAPMessage *entry = ldap_first_entry(hand.session(), found.get());
    berval **values = ldap_get_values_len(hand.session(), entry, attribute.c_str());
    const bool isOne = ldap_count_values_len(values) == 1;
    const std::string value =
        isOne ? std::string(values[0]->bv_val, values[0]->bv_len) : std::string();
    ldap_value_free_len(values);
    hand.verify(isOne, attribute + " of " + dn + " has not one value");
    return value;
}

int countEntries(Hand &hand, const std::string &filter) {
    const MessagePtr found = search(hand, hand.place().area, LDAP_SCOPE_ONELEVEL, filter);
    return ldap_count_entries(hand.session(), found.get());
}

} // namespace soak
