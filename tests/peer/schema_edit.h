// schema_edit.h - fields for the library's edits, written down as words.
#pragma once

#include "directory.h"

#include <qldapx.h>

namespace test {

struct FieldChange {
    int operation;
    std::string keyword;
    std::vector<std::string> values;
};

// The array that the library's functions take; it points into the changes.
class FieldChanges {
  public:
    explicit FieldChanges(std::vector<FieldChange> changes);
    FieldChanges(const FieldChanges &) = delete;
    FieldChanges &operator=(const FieldChanges &) = delete;

    [[nodiscard]] LDAPMod **list() { return list_.data(); }

  private:
    std::vector<FieldChange> changes_;
    std::vector<std::vector<char *>> values_;
    std::vector<LDAPMod> mods_;
    std::vector<LDAPMod *> list_;
};

int addElement(LDAPSchema *schema, unsigned kind, const Attributes &fields);
int modifyElement(LDAPSchema *schema, unsigned kind, const std::string &name,
                  const std::vector<FieldChange> &changes);

} // namespace test
