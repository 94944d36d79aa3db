// schema_reading.h - all that a schema handle gives to those who only read.
#pragma once

#include <ldap.h>
#include <qldapx.h>

namespace qldapx_fuzz {

// Whether libldap's description of it can be written.
bool isWritable(LDAPSchemaElement *element);

// Reads every element, its fields, their values and its description, and finds it by its key;
// ends the process when the handle does not give what it says it has.
void readAll(LDAPSchema *schema);

} // namespace qldapx_fuzz
