// Schemas: a handle of each thread's own, which it edits, and one that all of them read.
#include "rows.h"

#include "schema/samples.h"
#include "support/modifications.h"

namespace qldapx_test {
namespace {

// The records that a kind's description comes from, two of each.
const std::vector<Described> subentryOfAll = {
    {"attributeTypes",
     {"( 1.1 NAME ( 'a' 'alpha' ) DESC 'x' SYNTAX 1.2.3 X-ORIGIN 'y' )", "( 1.2 NAME 'b' SUP a )"}},
    {"objectClasses", {"( 2.1 NAME 'c' ABSTRACT )", "( 2.2 NAME 'd' SUP c MUST ( a $ b ) )"}},
    {"ldapSyntaxes", {"( 1.2.3 DESC 'text' )", "( 1.2.4 )"}},
    {"matchingRules", {"( 3.1 NAME 'e' SYNTAX 1.2.3 )", "( 3.2 NAME 'f' SYNTAX 1.2.3 )"}},
    {"matchingRuleUse", {"( 3.1 APPLIES a )", "( 3.2 APPLIES ( a $ b ) )"}},
    {"nameForms", {"( 4.1 NAME 'g' OC c MUST a )", "( 4.2 NAME 'h' OC d MUST a MAY b )"}},
    {"dITContentRules", {"( 2.1 NAME 'i' AUX d )", "( 2.2 NAME 'j' NOT b )"}},
    {"dITStructureRules", {"( 1 NAME 'k' FORM g )", "( 2 NAME 'l' FORM h SUP 1 )"}},
};
constexpr unsigned kinds = 8;

void readFields(LDAPSchemaElement *element) {
    char **names = nullptr;
    require(ldap_schema_get_field_names(element, &names) == LDAP_SUCCESS, "names of fields");
    for (const std::string &name : taken(names)) {
        char **values = nullptr;
        (void)ldap_schema_get_field_values(element, name.c_str(), &values);
        taken(values);
    }
    require(!described(element).empty(), "a description");
}

void readAll(LDAPSchema *schema) {
    for (unsigned kind = 0; kind < kinds; ++kind) {
        require(ldap_schema_get_count(schema, kind) == 2, "two of each kind");
        for (int i = 0; i < 2; ++i) {
            LDAPSchemaElement *element = nullptr;
            require(ldap_schema_get_by_index(schema, i, kind, &element) == LDAP_SUCCESS,
                    "an element by its place");
            readFields(element);
        }
    }
    LDAPSchemaElement *element = nullptr;
    for (const char *name : {"A", "alpha", "1.2"})
        require(ldap_schema_get_by_name(schema, name, LDAP_SCHEMA_ATTRIBUTE_TYPE, &element) ==
                    LDAP_SUCCESS,
                name);
    require(ldap_schema_get_by_name(schema, "2", LDAP_SCHEMA_DIT_STRUCTURE_RULE, &element) ==
                LDAP_SUCCESS,
            "a structure rule");
}

void editAndSave(const SchemaPtr &schema) {
    constexpr unsigned kind = LDAP_SCHEMA_ATTRIBUTE_TYPE;
    Modifications added, changed;
    added.strings(0, "OID", {"1.3"}).strings(0, "NAME", {"m"});
    changed.strings(LDAP_MOD_REPLACE, "DESC", {"y"});
    require(ldap_schema_add(schema.get(), kind, added.list()) == LDAP_SUCCESS &&
                ldap_schema_modify(schema.get(), "a", kind, changed.list()) == LDAP_SUCCESS &&
                ldap_schema_delete(schema.get(), kind, "b") == LDAP_SUCCESS,
            "edits");
    const Bytes done = tlv(0x67, fromHex("0a 01 00 04 00 04 00"));
    ScriptedPeer peer({ScriptedPeer::answer(done)});
    require(ldap_schema_save(peer.session(), schema.get(), "cn=schema") == LDAP_SUCCESS,
            "a schema is saved");
}

void useOwn(unsigned /*round*/) {
    const SchemaPtr schema = fetched(subentryOfAll);
    readAll(schema.get());
    editAndSave(schema);
}

SchemaPtr shared;

void readShared(unsigned /*round*/) {
    readAll(shared.get());
}

const Row rows[] = {
    {"schemas", 15, {useOwn, useOwn, useOwn, useOwn}},
    {"schema-read-by-all",
     40,
     {readShared, readShared, readShared, readShared},
     [](unsigned) { shared = fetched(subentryOfAll); },
     [] { shared.reset(); }},
};

} // namespace

std::span<const Row> schemaRows() {
    return rows;
}

} // namespace qldapx_test
