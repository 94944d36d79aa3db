#include "jobs.h"
#include "owners.h"

#include "support/field_changes.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace soak {
namespace {

using qldapx_test::FieldChange;
using qldapx_test::FieldChanges;

constexpr unsigned attributeType = LDAP_SCHEMA_ATTRIBUTE_TYPE;
constexpr unsigned kinds = LDAP_SCHEMA_DIT_STRUCTURE_RULE + 1;

SchemaPtr fetch(Hand &hand) {
    SchemaPtr schema;
    hand.expect("ldap_schema_fetch", ldap_schema_fetch(hand.session(), out(schema), nullptr));
    return schema;
}

void readElement(Hand &hand, LDAPSchemaElement *element) {
    StringsPtr names;
    hand.expect("ldap_schema_get_field_names", ldap_schema_get_field_names(element, out(names)));
    for (char **name = names.get(); *name != nullptr; ++name) {
        StringsPtr values;
        const int code = ldap_schema_get_field_values(element, *name, out(values));
        hand.verify(code == LDAP_SUCCESS || std::strncmp(*name, "X-", 2) == 0,
                    "a field that is listed has no values");
    }
    TextPtr description;
    const char *attribute = nullptr;
    hand.expect("ldap_schema_element_to_string",
                ldap_schema_element_to_string(element, out(description), &attribute));
}

/** An element of each kind by its number, all of it. */
void readSome(Hand &hand, LDAPSchema *schema) {
    for (unsigned kind = 0; kind < kinds; ++kind) {
        const int count = ldap_schema_get_count(schema, kind);
        hand.verify(count >= 0, "a schema is not valid");
        if (count == 0)
            continue;
        LDAPSchemaElement *element = nullptr;
        hand.expect("ldap_schema_get_by_index",
                    ldap_schema_get_by_index(schema, hand.below(count), kind, &element));
        readElement(hand, element);
    }
}

std::string descriptionOf(Hand &hand, const std::string &name) {
    const SchemaPtr schema = fetch(hand);
    LDAPSchemaElement *element = nullptr;
    hand.expect("ldap_schema_get_by_name",
                ldap_schema_get_by_name(schema.get(), name.c_str(), attributeType, &element));
    StringsPtr values;
    hand.expect("ldap_schema_get_field_values",
                ldap_schema_get_field_values(element, "DESC", out(values)));
    return values.get()[0];
}

/** Makes one edit of the schema as it is, and saves it. */
template <class Edit>
void edit(Hand &hand, const char *call, const Edit &change) {
    const SchemaPtr schema = fetch(hand);
    hand.expect(call, change(schema.get()));
    hand.expect("ldap_schema_save", ldap_schema_save(hand.session(), schema.get(), nullptr));
}

} // namespace

void editSchema(Hand &hand) {
    const std::string number = std::to_string(hand.freshNumber());
    // Areas end with the number of their thread.
    const std::string area = hand.place().area.substr(0, hand.place().area.find(','));
    const std::string thread = area.substr(area.rfind('-') + 1);
    const std::string oid = "2.16.840.1.907341.9.77." + thread + "." + number;
    const std::string name = "soak" + thread + "x" + number, text = hand.letters(30);
    FieldChanges added({{LDAP_MOD_ADD, "OID", {oid}},
                        {LDAP_MOD_ADD, "NAME", {name}},
                        {LDAP_MOD_ADD, "SUP", {"description"}}});
    FieldChanges changed({{LDAP_MOD_REPLACE, "DESC", {text}}});
    readSome(hand, fetch(hand).get());
    edit(hand, "ldap_schema_add",
         [&](LDAPSchema *schema) { return ldap_schema_add(schema, attributeType, added.list()); });
    edit(hand, "ldap_schema_modify", [&](LDAPSchema *schema) {
        return ldap_schema_modify(schema, name.c_str(), attributeType, changed.list());
    });
    hand.verify(descriptionOf(hand, name) == text, "the schema has another text");
    edit(hand, "ldap_schema_delete", [&](LDAPSchema *schema) {
        return ldap_schema_delete(schema, attributeType, oid.c_str());
    });
    LDAPSchemaElement *element = nullptr;
    hand.expect("ldap_schema_get_by_name",
                ldap_schema_get_by_name(fetch(hand).get(), oid.c_str(), attributeType, &element),
                LDAP_NO_SUCH_OBJECT);
}

} // namespace soak
