#include "schema_check.h"

#include "persistent_search.h"

#include <algorithm>
#include <cctype>
#include <gtest/gtest.h>

namespace test {
namespace {

MessagePtr readEntry(LDAP *ld, const std::string &dn, std::vector<const char *> attributes) {
    attributes.push_back(nullptr);
    LDAPMessage *found = nullptr;
    EXPECT_EQ(ldap_search_ext_s(ld, dn.c_str(), LDAP_SCOPE_BASE, nullptr,
                                const_cast<char **>(attributes.data()), 0, nullptr, nullptr,
                                nullptr, LDAP_NO_LIMIT, &found),
              LDAP_SUCCESS);
    return MessagePtr(found);
}

std::vector<std::string> valuesOf(LDAP *ld, LDAPMessage *entry, const char *attribute) {
    std::vector<std::string> values;
    berval **found = ldap_get_values_len(ld, entry, attribute);
    for (berval **value = found; value != nullptr && *value != nullptr; ++value)
        values.emplace_back((*value)->bv_val, (*value)->bv_len);
    ldap_value_free_len(found);
    return values;
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return std::toupper(c); });
    return text;
}

// What libldap can read, in the order that the interface has: without OID at the end.
std::vector<SchemaRecord> readable(unsigned kind, const std::vector<std::string> &descriptions) {
    std::vector<SchemaRecord> records;
    for (const std::string &description : descriptions)
        if (auto record = readDescription(kind, description))
            records.push_back(std::move(*record));
    std::stable_sort(records.begin(), records.end(), [](const auto &a, const auto &b) {
        return std::pair(a.key.empty(), a.key) < std::pair(b.key.empty(), b.key);
    });
    return records;
}

using Descriptions = std::map<std::string, std::vector<std::string>>;

// Several elements may have one name: any of them will do.
void expectFoundByNames(LDAPSchema *schema, unsigned kind, const std::vector<SchemaRecord> &all) {
    Descriptions byName;
    for (const SchemaRecord &record : all)
        for (const std::string &name : record.names)
            byName[upperCase(name)].push_back(record.printed);
    for (const SchemaRecord &record : all)
        for (const std::string &name : record.names)
            for (const std::string &key : {name, upperCase(name)}) {
                const auto &candidates = byName[upperCase(name)];
                EXPECT_EQ(
                    std::count(candidates.begin(), candidates.end(), lookUp(schema, kind, key)), 1)
                    << schemaAttributes[kind] << ": " << key;
            }
}

void expectAtPlace(LDAPSchema *schema, unsigned kind, int index, const SchemaRecord &record) {
    LDAPSchemaElement *element = nullptr;
    ASSERT_EQ(ldap_schema_get_by_index(schema, index, kind, &element), LDAP_SUCCESS);
    EXPECT_EQ(element->kind, kind);
    EXPECT_EQ(fieldsOfElement(element), record.fields) << record.printed;
    EXPECT_EQ(descriptionOf(element), record.printed);
    EXPECT_EQ(lookUp(schema, kind, record.key), record.printed);
}

// Behind the others, in any order.
void expectWithoutKey(LDAPSchema *schema, unsigned kind, std::size_t first,
                      const std::vector<SchemaRecord> &records) {
    std::multimap<std::string, Fields> found, expected;
    for (std::size_t i = first; i < records.size(); ++i) {
        LDAPSchemaElement *element = nullptr;
        ASSERT_EQ(ldap_schema_get_by_index(schema, int(i), kind, &element), LDAP_SUCCESS);
        found.emplace(descriptionOf(element), fieldsOfElement(element));
        expected.emplace(records[i].printed, records[i].fields);
    }
    EXPECT_EQ(found, expected);
}

void expectKindIs(LDAPSchema *schema, unsigned kind, const std::vector<SchemaRecord> &records) {
    ASSERT_EQ(ldap_schema_get_count(schema, kind), int(records.size())) << schemaAttributes[kind];
    std::size_t keyed = 0;
    for (; keyed < records.size() && !records[keyed].key.empty(); ++keyed)
        expectAtPlace(schema, kind, int(keyed), records[keyed]);
    expectWithoutKey(schema, kind, keyed, records);
    LDAPSchemaElement *element = nullptr;
    EXPECT_EQ(ldap_schema_get_by_index(schema, int(records.size()), kind, &element),
              LDAP_PARAM_ERROR);
    expectFoundByNames(schema, kind, records);
    for (const char *unknown : {"", "noSuchElement", "1.2.3.99999", "0"})
        EXPECT_EQ(lookUp(schema, kind, unknown), "result 32") << unknown;
}

std::vector<std::string> taken(char **values) {
    std::vector<std::string> copy;
    for (char **value = values; value != nullptr && *value != nullptr; ++value) {
        copy.emplace_back(*value);
        ldapx_memfree(*value);
    }
    ldapx_memfree(values);
    return copy;
}

} // namespace

std::string subschemaOf(LDAP *ld) {
    MessagePtr root = readEntry(ld, "", {"subschemaSubentry"});
    auto dns = valuesOf(ld, ldap_first_entry(ld, root.get()), "subschemaSubentry");
    return dns.empty() ? "" : dns.front();
}

SchemaValues searchSchema(LDAP *ld, const std::string &dn) {
    MessagePtr entry =
        readEntry(ld, dn, {std::begin(schemaAttributes), std::end(schemaAttributes)});
    SchemaValues values;
    for (unsigned kind = 0; kind < schemaKinds; ++kind)
        values[kind] = valuesOf(ld, ldap_first_entry(ld, entry.get()), schemaAttributes[kind]);
    return values;
}

std::optional<SchemaRecord> searchElement(LDAP *ld, unsigned kind, const std::string &oid) {
    const SchemaValues values = searchSchema(ld, subschemaOf(ld));
    for (const std::string &description : values[kind])
        if (auto record = readDescription(kind, description); record && record->key == oid)
            return record;
    return std::nullopt;
}

SchemaPtr fetchSchema(LDAP *ld, const char *dn) {
    LDAPSchema *schema = nullptr;
    EXPECT_EQ(ldap_schema_fetch(ld, &schema, dn), LDAP_SUCCESS);
    return SchemaPtr(schema);
}

Fields fieldsOfElement(LDAPSchemaElement *element) {
    char **names = nullptr;
    EXPECT_EQ(ldap_schema_get_field_names(element, &names), LDAP_SUCCESS);
    Fields fields;
    for (const std::string &name : taken(names)) {
        char **values = nullptr;
        EXPECT_EQ(ldap_schema_get_field_values(element, name.c_str(), &values), LDAP_SUCCESS)
            << name;
        EXPECT_FALSE(fields.contains(name)) << name;
        fields[name] = taken(values);
    }
    return fields;
}

std::string descriptionOf(LDAPSchemaElement *element) {
    char *text = nullptr;
    const char *attribute = nullptr;
    int result = ldap_schema_element_to_string(element, &text, &attribute);
    EXPECT_STREQ(attribute, schemaAttributes[element->kind]);
    std::string description = text != nullptr ? text : "result " + std::to_string(result);
    ldap_memfree(text);
    return description;
}

std::string lookUp(LDAPSchema *schema, unsigned kind, const std::string &key) {
    LDAPSchemaElement *element = nullptr;
    int result = ldap_schema_get_by_name(schema, key.c_str(), kind, &element);
    return result == LDAP_SUCCESS ? descriptionOf(element) : "result " + std::to_string(result);
}

int expectSchemaIs(LDAPSchema *schema, const SchemaValues &values) {
    std::size_t unreadable = 0;
    for (unsigned kind = 0; kind < schemaKinds; ++kind) {
        std::vector<SchemaRecord> records = readable(kind, values[kind]);
        unreadable += values[kind].size() - records.size();
        expectKindIs(schema, kind, records);
    }
    return int(unreadable);
}

} // namespace test
