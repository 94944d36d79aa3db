// schema_check.h - a fetched schema compared with what an ordinary search of the same entry gives.
#pragma once

#include "schema_record.h"

#include <array>
#include <ldap.h>
#include <memory>
#include <qldapx.h>

namespace test {

struct SchemaRelease {
    void operator()(LDAPSchema *schema) const { ldap_schema_free(schema); }
};
using SchemaPtr = std::unique_ptr<LDAPSchema, SchemaRelease>;

// The values of each kind's attribute.
using SchemaValues = std::array<std::vector<std::string>, schemaKinds>;

// The subschema subentry that the root DSE names, by libldap alone.
std::string subschemaOf(LDAP *ld);
SchemaValues searchSchema(LDAP *ld, const std::string &dn);
// The element of this OID, by such a search.
std::optional<SchemaRecord> searchElement(LDAP *ld, unsigned kind, const std::string &oid);

// Fetches, which must succeed; nullptr: from where the root DSE says.
SchemaPtr fetchSchema(LDAP *ld, const char *dn = nullptr);

Fields fieldsOfElement(LDAPSchemaElement *element);
std::string descriptionOf(LDAPSchemaElement *element);
// The description of what is found, or the result code in words.
std::string lookUp(LDAPSchema *schema, unsigned kind, const std::string &key);

// Expects each description once, at its place, found by its OID and its names, with its fields and
// as libldap prints it. How many descriptions libldap could not read are counted.
int expectSchemaIs(LDAPSchema *schema, const SchemaValues &values);

} // namespace test
