#include "schema/field_list.h"

namespace qldapx {

void FieldList::add(int operation, const std::string &keyword,
                    const std::vector<std::string> &values) {
    auto row = std::make_unique<Row>();
    row->keyword = keyword;
    row->values = values;
    for (std::string &value : row->values)
        row->pointers.push_back(value.data());
    row->pointers.push_back(nullptr);
    row->mod.mod_op = operation;
    row->mod.mod_type = row->keyword.data();
    row->mod.mod_values = row->pointers.data();
    rows_.push_back(std::move(row));
}

LDAPMod **FieldList::mods() {
    mods_.clear();
    for (const auto &row : rows_)
        mods_.push_back(&row->mod);
    mods_.push_back(nullptr);
    return mods_.data();
}

} // namespace qldapx
