// field_changes.h - fields for the library's edits of a schema, written down as words.
#pragma once

#include <ldap.h>
#include <string>
#include <utility>
#include <vector>

namespace qldapx_test {

struct FieldChange {
    int operation;
    std::string keyword;
    std::vector<std::string> values;
};

// The array that the library's functions take; it points into the changes.
class FieldChanges {
  public:
    explicit FieldChanges(std::vector<FieldChange> changes)
        : changes_(std::move(changes)), values_(changes_.size()), mods_(changes_.size()) {
        for (std::size_t i = 0; i < changes_.size(); ++i) {
            for (std::string &value : changes_[i].values)
                values_[i].push_back(value.data());
            values_[i].push_back(nullptr);
            mods_[i] = {changes_[i].operation, changes_[i].keyword.data(), {values_[i].data()}};
            list_.push_back(&mods_[i]);
        }
        list_.push_back(nullptr);
    }
    FieldChanges(const FieldChanges &) = delete;
    FieldChanges &operator=(const FieldChanges &) = delete;

    [[nodiscard]] LDAPMod **list() { return list_.data(); }

  private:
    std::vector<FieldChange> changes_;
    std::vector<std::vector<char *>> values_;
    std::vector<LDAPMod> mods_;
    std::vector<LDAPMod *> list_;
};

} // namespace qldapx_test
