// Schema access: fetched, read, edited, saved.
#include "memory/prepared.h"
#include "memory/rows.h"
#include "support/modifications.h"

#include <algorithm>

namespace qldapx_test::memory {
namespace {

const std::vector<std::string> types = {"( 1.1 NAME 'a' )", "( 1.2 )", "( 1.3 NAME 'c' )"};

void askForDn(Trial &trial) {
    ScriptedPeer peer({subentryAnswer({{"subschemaSubentry", {"cn=sub"}}})});
    const Watch watch(trial);
    LDAP *ld = peer.session();
    char *dn = nullptr;
    const int result = trial.code(
        "get_schema_dn", [&] { return get_schema_dn(ld, &dn); }, Without::mayGoOn);
    trial.expect((dn != nullptr) == (result == LDAP_SUCCESS), "another output");
    std::free(dn);
    peer.closeSession();
}

// A fetch that fails leaves what it had behind a pointer that nobody can release, unless the search
// had failed. An attribute type for which there is no memory is left out.
void fetch(Trial &trial) {
    constexpr long whole = 40; // blocks of this schema, at most
    ScriptedPeer peer({subentryAnswer({{"attributeTypes", types}, {"ldapSyntaxes", {"( 1.4 )"}}})});
    Watch watch(trial);
    LDAP *ld = peer.session();
    LDAPSchema *schema = nullptr;
    const int result = trial.code(
        "ldap_schema_fetch", [&] { return ldap_schema_fetch(ld, &schema, "cn=schema"); },
        Without::mayGoOn);
    peer.closeSession();
    if (result == LDAP_SUCCESS) {
        const SchemaPtr owner(schema);
        const int count = ldap_schema_get_count(schema, 0);
        trial.expect(count == 3 || (trial.hasFailed() && count < 3), "another schema");
        const std::vector<std::string> all = listed(owner, 0);
        trial.expect(std::is_sorted(all.begin(), all.end()), "another order");
        find(owner, 0, "c");
        return;
    }
    watch.allow(whole);
}

void look(Trial &trial) {
    const Watch watch(trial);
    SchemaPtr schema = preparedSchema(types);
    LDAPSchemaElement *element = nullptr;
    trial.call("ldap_schema_get_count", [&] { return ldap_schema_get_count(schema.get(), 0); });
    trial.code("ldap_schema_get_by_name",
               [&] { return ldap_schema_get_by_name(schema.get(), "c", 0, &element); });
    trial.code("ldap_schema_get_by_index",
               [&] { return ldap_schema_get_by_index(schema.get(), 0, 0, &element); });
    trial.code("ldap_schema_free", [&] { return ldap_schema_free(schema.release()); });
}

// The keywords that were copied before memory ran out are lost: that is the contract.
void listFields(Trial &trial) {
    Watch watch(trial);
    const SchemaPtr schema = preparedSchema({"( 1.2 NAME 'a' X-A 'x' X-B 'y' )"});
    LDAPSchemaElement *element = elementAt(schema, 0, 0);
    char *unset = nullptr, **names = &unset;
    const int result = trial.code("ldap_schema_get_field_names",
                                  [&] { return ldap_schema_get_field_names(element, &names); });
    trial.expect((names == &unset) == (result != LDAP_SUCCESS), "another output");
    if (result == LDAP_SUCCESS)
        return static_cast<void>(taken(names));
    watch.allow(trial.number() + 1);
}

// For a list of values that finds no memory the result is success, and the array is NULL.
void readField(Trial &trial, const char *keyword, bool isList) {
    const Watch watch(trial);
    const SchemaPtr schema =
        preparedSchema({"( 1.2 NAME ( 'a' 'b' ) SYNTAX 1.3{64} SINGLE-VALUE )"});
    LDAPSchemaElement *element = elementAt(schema, 0, 0);
    char *unset = nullptr, **values = &unset;
    const int result = trial.code(
        "ldap_schema_get_field_values",
        [&] { return ldap_schema_get_field_values(element, keyword, &values); },
        isList ? Without::mayGoOn : Without::fails);
    trial.expect(!isList || result == LDAP_SUCCESS, "another result");
    trial.expect((values == nullptr) == trial.hasFailed(), "another output");
    taken(values);
}

void write(Trial &trial) {
    const Watch watch(trial);
    const SchemaPtr schema = preparedSchema(types);
    char *text = nullptr;
    const char *attribute = nullptr;
    LDAPSchemaElement *element = elementAt(schema, 0, 0);
    const int result = trial.code("ldap_schema_element_to_string", [&] {
        return ldap_schema_element_to_string(element, &text, &attribute);
    });
    trial.expect((text != nullptr) == (result == LDAP_SUCCESS), "another output");
    std::free(text);
}

using Edit = std::function<int(LDAPSchema *schema)>;

// After a failure the handle is as it was.
void edit(Trial &trial, const char *function, const Edit &work) {
    const Watch watch(trial);
    const SchemaPtr schema = preparedSchema(types);
    const std::vector<std::string> was = listed(schema, 0);
    const int result = trial.code(function, [&] { return work(schema.get()); });
    trial.expect((listed(schema, 0) == was) == (result != LDAP_SUCCESS), "another schema");
    for (const char *key : {"a", "1.1", "1.2", "c"})
        find(schema, 0, key);
}

void addEdits(Rows &rows) {
    rows.push_back({"addition", [](Trial &trial) {
                        Modifications fields;
                        fields.strings(0, "OID", {"1.15"}).strings(0, "NAME", {"n", "o"});
                        fields.strings(0, "X-A", {"x"});
                        LDAPMod **list = fields.list();
                        edit(trial, "ldap_schema_add", [list](LDAPSchema *schema) {
                            return ldap_schema_add(schema, 0, list);
                        });
                    }});
    rows.push_back({"change", [](Trial &trial) {
                        Modifications fields;
                        fields.strings(LDAP_MOD_REPLACE, "DESC", {"d"}).strings(0, "X-A", {"x"});
                        LDAPMod **list = fields.list();
                        edit(trial, "ldap_schema_modify", [list](LDAPSchema *schema) {
                            return ldap_schema_modify(schema, "a", 0, list);
                        });
                    }});
    rows.push_back({"deletion", [](Trial &trial) {
                        edit(trial, "ldap_schema_delete",
                             [](LDAPSchema *schema) { return ldap_schema_delete(schema, 0, "a"); });
                    }});
}

// ModifyResponse ::= [APPLICATION 7] LDAPResult
void save(Trial &trial) {
    ScriptedPeer peer({ScriptedPeer::answer(tlv(0x67, fromHex("0a 01 00 04 00 04 00")))});
    const Watch watch(trial);
    LDAP *ld = peer.session();
    const SchemaPtr schema = preparedSchema(types);
    ldap_schema_delete(schema.get(), 0, "a");
    trial.code("ldap_schema_save", [&] { return ldap_schema_save(ld, schema.get(), "cn=schema"); });
    peer.closeSession();
}

} // namespace

void addSchema(Rows &rows) {
    rows.push_back({"schema's DN", askForDn});
    rows.push_back({"schema", fetch});
    rows.push_back({"look-up", look});
    rows.push_back({"fields", listFields});
    for (const char *keyword : {"OID", "SYNTAX", "SINGLE-VALUE", "NAME"})
        rows.push_back({keyword, [keyword](Trial &trial) {
                            readField(trial, keyword, keyword == std::string("NAME"));
                        }});
    rows.push_back({"description", write});
    addEdits(rows);
    rows.push_back({"save", save});
}

} // namespace qldapx_test::memory
