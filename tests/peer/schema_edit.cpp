#include "schema_edit.h"

namespace test {

FieldChanges::FieldChanges(std::vector<FieldChange> changes)
    : changes_(std::move(changes)), values_(changes_.size()), mods_(changes_.size()) {
    for (std::size_t i = 0; i < changes_.size(); ++i) {
        for (std::string &value : changes_[i].values)
            values_[i].push_back(value.data());
        values_[i].push_back(nullptr);
        mods_[i].mod_op = changes_[i].operation;
        mods_[i].mod_type = changes_[i].keyword.data();
        mods_[i].mod_values = values_[i].data();
        list_.push_back(&mods_[i]);
    }
    list_.push_back(nullptr);
}

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
