// samples.h - subschema subentries, and schemas fetched from them.
#pragma once

#include "support/ldap_message.h"
#include "support/scripted_peer.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>
#include <string>
#include <vector>

namespace qldapx_test {

// By kind.
inline const char *const schemaAttributes[] = {
    "attributeTypes",  "objectClasses", "ldapSyntaxes",    "matchingRules",
    "matchingRuleUse", "nameForms",     "dITContentRules", "dITStructureRules"};

struct Described {
    std::string attribute;
    std::vector<std::string> values;
};

// SearchResultEntry ::= [APPLICATION 4] SEQUENCE { objectName, attributes SEQUENCE OF
//     SEQUENCE { type, vals SET OF value } }
inline Bytes subentry(const std::vector<Described> &attributes) {
    Bytes list;
    for (const Described &attribute : attributes) {
        Bytes values;
        for (const std::string &value : attribute.values)
            values += octetString(value);
        list += sequence({octetString(attribute.attribute), tlv(0x31, values)});
    }
    return tlv(0x64, octetString("cn=schema") + tlv(0x30, list));
}

inline ScriptedPeer::Step subentryAnswer(const std::vector<Described> &attributes) {
    return ScriptedPeer::answers({subentry(attributes), searchDone(LDAP_SUCCESS)});
}

struct FreeSchema {
    void operator()(LDAPSchema *schema) const { EXPECT_EQ(ldap_schema_free(schema), LDAP_SUCCESS); }
};
using SchemaPtr = std::unique_ptr<LDAPSchema, FreeSchema>;

inline SchemaPtr fetched(const std::vector<Described> &attributes) {
    ScriptedPeer peer({subentryAnswer(attributes)});
    LDAPSchema *schema = nullptr;
    EXPECT_EQ(ldap_schema_fetch(peer.session(), &schema, "cn=schema"), LDAP_SUCCESS);
    return SchemaPtr(schema);
}

inline SchemaPtr fetched(unsigned kind, const std::vector<std::string> &values) {
    return fetched({{schemaAttributes[kind], values}});
}

inline LDAPSchemaElement *elementAt(const SchemaPtr &schema, unsigned kind, int index) {
    LDAPSchemaElement *element = nullptr;
    EXPECT_EQ(ldap_schema_get_by_index(schema.get(), index, kind, &element), LDAP_SUCCESS);
    return element;
}

inline LDAPSchemaElement *find(const SchemaPtr &schema, unsigned kind, const char *key) {
    LDAPSchemaElement *element = nullptr;
    const int result = ldap_schema_get_by_name(schema.get(), key, kind, &element);
    EXPECT_EQ(result, element == nullptr ? LDAP_NO_SUCH_OBJECT : LDAP_SUCCESS) << key;
    return element;
}

// What an array of strings holds; it is released.
inline std::vector<std::string> taken(char **array) {
    std::vector<std::string> strings;
    for (char **string = array; array != nullptr && *string != nullptr; ++string) {
        strings.emplace_back(*string);
        ldapx_memfree(*string);
    }
    ldapx_memfree(array);
    return strings;
}

inline std::string described(LDAPSchemaElement *element) {
    char *text = nullptr;
    const char *attribute = nullptr;
    EXPECT_EQ(ldap_schema_element_to_string(element, &text, &attribute), LDAP_SUCCESS);
    const std::string description = text == nullptr ? "" : text;
    std::free(text);
    return description;
}

// All descriptions of a kind, by index.
inline std::vector<std::string> listed(const SchemaPtr &schema, unsigned kind) {
    std::vector<std::string> all;
    for (int i = 0; i < ldap_schema_get_count(schema.get(), kind); ++i)
        all.push_back(described(elementAt(schema, kind, i)));
    return all;
}

} // namespace qldapx_test
