// schema_edit.h - the library's edits with fields written down as words.
#pragma once

#include "directory.h"
#include "support/field_changes.h"

#include <qldapx.h>

namespace test {

using qldapx_test::FieldChange;
using qldapx_test::FieldChanges;

int addElement(LDAPSchema *schema, unsigned kind, const Attributes &fields);
int modifyElement(LDAPSchema *schema, unsigned kind, const std::string &name,
                  const std::vector<FieldChange> &changes);

} // namespace test
