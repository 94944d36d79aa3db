// The steps that schema access is made of.
#include "memory/prepared.h"
#include "memory/rows.h"

#include <qldapx/schema_element.h>

namespace qldapx_test::memory {
namespace {

char one[] = "one", two[] = "two", keyword[] = "DESC";
char *values[] = {one, two, nullptr};

void copyStrings(Trial &trial) {
    const Watch watch(trial);
    char *unset = nullptr, **single = &unset, **twice = nullptr;
    taken(trial.pointer("str_array_dup", [] { return str_array_dup(values); }));
    const int result =
        trial.code("single_string_dup", [&] { return single_string_dup(&single, one); });
    if (result == LDAP_SUCCESS)
        taken(single);
    trial.expect(result == LDAP_SUCCESS || single == &unset, "another output");
    // Its result is success even without memory.
    trial.code(
        "double_string_dup", [&] { return double_string_dup(&twice, values); }, Without::mayGoOn);
    trial.expect((twice == nullptr) == trial.hasFailedHere(), "another output");
    taken(twice);
}

void changeElement(Trial &trial, const char *field) {
    const Watch watch(trial);
    const SchemaPtr schema = preparedSchema({"( 1.2 NAME 'a' DESC 'd' X-A 'x' )"});
    LDAPSchemaElement *element = elementAt(schema, 0, 0);
    const std::string was = described(element);
    const int result = trial.code(
        "modify_element", [&] { return modify_element(element, field, values, LDAP_MOD_REPLACE); });
    trial.expect((described(element) == was) == (result != LDAP_SUCCESS), "another field");
}

void changeText(Trial &trial) {
    const Watch watch(trial);
    char *was = ber_strdup("was"), *field = was;
    const int result =
        trial.code("new_value", [&] { return new_value(&field, values, LDAP_MOD_REPLACE); });
    trial.expect((field == was) == (result != LDAP_SUCCESS), "another field");
    ber_memfree(field);
}

void changeTexts(Trial &trial, int operation) {
    const Watch watch(trial);
    auto **field = static_cast<char **>(ber_memcalloc(2, sizeof(char *)));
    field[0] = ber_strdup("was");
    char **was = field;
    const int result =
        trial.code("new_values", [&] { return new_values(&field, values, operation); });
    trial.expect(result == LDAP_SUCCESS || field == was, "another field");
    ber_memvfree(reinterpret_cast<void **>(field));
}

void copyElement(Trial &trial) {
    const Watch watch(trial);
    const SchemaPtr schema = preparedSchema({"( 1.2 NAME 'a' X-A 'x' )"});
    LDAPSchemaElement *element = elementAt(schema, 0, 0), *copy = nullptr;
    const int result = trial.code(
        "dup_element", [&] { return dup_element(element, &copy); }, Without::mayGoOn);
    trial.expect((copy != nullptr) == (result == LDAP_SUCCESS), "another output");
    if (copy == nullptr)
        return;
    trial.expect((copy->record == nullptr) == trial.hasFailed(), "another record");
    ldap_attributetype_free(static_cast<LDAPAttributeType *>(copy->record));
    std::free(copy);
}

void noteChanges(Trial &trial) {
    const Watch watch(trial);
    const SchemaPtr schema = preparedSchema({"( 1.1 )", "( 1.2 )"});
    LDAPMod change = {LDAP_MOD_ADD, keyword, {values}};
    trial.code("add_change", [&] { return add_change(schema.get(), &change); });
    trial.code("store_update",
               [&] { return store_update(schema.get(), elementAt(schema, 0, 0), LDAP_MOD_ADD); });
    trial.code("remove_element", [&] { return remove_element(schema.get(), "1.1", 0); });
    trial.call("free_changes", [&] { free_changes(schema.get()); });
}

} // namespace

void addSchemaSteps(Rows &rows) {
    rows.push_back({"copies of strings", copyStrings});
    for (const char *field : {"DESC", "NAME", "X-A", "X-NEW"})
        rows.push_back({field, [field](Trial &trial) { changeElement(trial, field); }});
    rows.push_back({"text", changeText});
    for (int operation : {LDAP_MOD_ADD, LDAP_MOD_DELETE, LDAP_MOD_REPLACE})
        rows.push_back({"texts", [operation](Trial &trial) { changeTexts(trial, operation); }});
    rows.push_back({"copy of an element", copyElement});
    rows.push_back({"changes", noteChanges});
}

} // namespace qldapx_test::memory
