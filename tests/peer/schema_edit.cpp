#include "schema_edit.h"

namespace test {

int addElement(LDAPSchema *schema, unsigned kind, const Attributes &fields) {
    std::vector<FieldChange> changes;
    for (const auto &[keyword, values] : fields)
        changes.push_back({LDAP_MOD_ADD, keyword, values});
    return ldap_schema_add(schema, kind, FieldChanges(std::move(changes)).list());
}

int modifyElement(LDAPSchema *schema, unsigned kind, const std::string &name,
                  const std::vector<FieldChange> &changes) {
    return ldap_schema_modify(schema, name.c_str(), kind, FieldChanges(changes).list());
}

} // namespace test
