// Schemas: fetched, read, edited and saved.
#include "fuzz/schema_reading.h"
#include "hostile/call.h"

#include <cstdlib>
#include <qldapx.h>

namespace hostile {

namespace {

struct SchemaRelease {
    void operator()(LDAPSchema *schema) const { ldap_schema_free(schema); }
};
using SchemaPtr = std::unique_ptr<LDAPSchema, SchemaRelease>;

// libldap loses names of extensions that it cannot read, and the library the schema of a
// description that does not parse.
int fetch(Call &call, const char *dn, SchemaPtr &schema) {
    LDAPSchema *fetched = nullptr;
    const int result = ldap_schema_fetch(call.ld, &fetched, dn);
    call.losesMemory |= !call.peer.isRight();
    call.heedRefusal();
    call.requireRight(result == LDAP_SUCCESS);
    if (result != LDAP_SUCCESS)
        return result;
    schema.reset(fetched);
    qldapx_fuzz::readAll(fetched);
    return result;
}

int runFetch(Call &call) {
    SchemaPtr schema;
    return fetch(call, call.random.percent(50) ? "cn=schema" : nullptr, schema);
}

int addType(LDAPSchema *schema) {
    char *keys[] = {arg("1.2.3.4"), nullptr}, *names[] = {arg("added"), nullptr};
    LDAPMod key{LDAP_MOD_ADD, arg("OID"), {keys}}, name{LDAP_MOD_ADD, arg("NAME"), {names}};
    LDAPMod *fields[] = {&key, &name, nullptr};
    return ldap_schema_add(schema, LDAP_SCHEMA_ATTRIBUTE_TYPE, fields);
}

// What cannot be edited is saved all the same: the deletion alone, or nothing.
int runSave(Call &call) {
    SchemaPtr schema;
    const int fetched = fetch(call, "cn=schema", schema);
    if (fetched != LDAP_SUCCESS)
        return fetched;
    require(addType(schema.get()) == LDAP_SUCCESS, "A type is not added.");
    ldap_schema_delete(schema.get(), LDAP_SCHEMA_OBJECT_CLASS, "top");
    const int result =
        ldap_schema_save(call.ld, schema.get(), call.random.percent(50) ? "cn=schema" : nullptr);
    call.heedRefusal();
    call.requireRight(result == LDAP_SUCCESS);
    return result;
}

int runDn(Call &call) {
    char *dn = nullptr;
    const int result = get_schema_dn(call.ld, &dn);
    require((dn != nullptr) == (result == LDAP_SUCCESS), "A DN and a result do not agree.");
    std::free(dn);
    call.heedRefusal();
    call.requireRight(result == LDAP_SUCCESS);
    return result;
}

} // namespace

void addSchemas(std::vector<Operation> &all) {
    all.push_back({"ldap_schema_fetch", 15, 70, runFetch});
    all.push_back({"ldap_schema_save", 10, 50, runSave});
    all.push_back({"get_schema_dn", 4, 100, runDn});
}

} // namespace hostile
