#include "schema_reading.h"

#include "heap_watch.h"

#include <cstring>
#include <initializer_list>
#include <string>
#include <strings.h>

namespace qldapx_fuzz {

namespace {

constexpr unsigned kindCount = 8;

void freeAll(char **values) {
    for (char **value = values; value != nullptr && *value != nullptr; ++value)
        ldapx_memfree(*value);
    ldapx_memfree(values);
}

bool lacksExtensions(const LDAPSchemaElement &element) {
    return element.kind == LDAP_SCHEMA_NAME_FORM || element.kind == LDAP_SCHEMA_DIT_CONTENT_RULE;
}

// Given as an extension's name, it would be one that is listed and not given.
bool isUsage(const char *name) {
    for (const char *usage :
         {"userApplications", "directoryOperation", "distributedOperation", "dSAOperation"})
        if (strcasecmp(name, usage) == 0)
            return true;
    return false;
}

void readField(LDAPSchemaElement *element, const char *name) {
    char **values = nullptr;
    int result = ldap_schema_get_field_values(element, name, &values);
    const bool isNotGiven =
        result == LDAP_NO_SUCH_ATTRIBUTE && (lacksExtensions(*element) || isUsage(name));
    require(result == LDAP_SUCCESS || isNotGiven, "a listed field is not there");
    require((values != nullptr) == (result == LDAP_SUCCESS), "values and result do not agree");
    freeAll(values);
}

void readFields(LDAPSchemaElement *element) {
    char **names = nullptr;
    require(ldap_schema_get_field_names(element, &names) == LDAP_SUCCESS, "no names of fields");
    for (char **name = names; *name != nullptr; ++name)
        readField(element, *name);
    freeAll(names);
}

std::string keyOf(LDAPSchemaElement *element) {
    char **values = nullptr;
    const char *keyword = element->kind == LDAP_SCHEMA_DIT_STRUCTURE_RULE ? "RULEID" : "OID";
    if (ldap_schema_get_field_values(element, keyword, &values) != LDAP_SUCCESS)
        return "";
    std::string key = values[0];
    freeAll(values);
    return key;
}

void requireFound(LDAPSchema *schema, LDAPSchemaElement *element, const std::string &key) {
    LDAPSchemaElement *found = nullptr;
    if (key.empty() || key[0] < '0' || key[0] > '9')
        return;
    require(ldap_schema_get_by_name(schema, key.c_str(), element->kind, &found) == LDAP_SUCCESS,
            "an element is not found by its key");
    require(found == element || keyOf(found) == key, "another element is found by the key");
}

void readElement(LDAPSchema *schema, unsigned kind, int index, std::string &previous) {
    LDAPSchemaElement *element = nullptr;
    require(ldap_schema_get_by_index(schema, index, kind, &element) == LDAP_SUCCESS,
            "an element is not at its place");
    require(element->kind == kind, "an element of another kind");
    readFields(element);
    static_cast<void>(isWritable(element));
    std::string key = keyOf(element);
    require(key.empty() || previous <= key, "the elements are out of order");
    requireFound(schema, element, key);
    previous = key;
}

} // namespace

bool isWritable(LDAPSchemaElement *element) {
    char *description = nullptr;
    const char *attribute = nullptr;
    int result = ldap_schema_element_to_string(element, &description, &attribute);
    require(attribute != nullptr, "no name of an attribute");
    require((description != nullptr) == (result == LDAP_SUCCESS), "no description");
    require(result == LDAP_SUCCESS || result == LDAP_LOCAL_ERROR, "an unexpected result");
    ldap_memfree(description);
    return result == LDAP_SUCCESS;
}

void readAll(LDAPSchema *schema) {
    for (unsigned kind = 0; kind < kindCount; ++kind) {
        std::string previous;
        const int count = ldap_schema_get_count(schema, kind);
        require(count >= 0, "no count");
        for (int i = 0; i < count; ++i)
            readElement(schema, kind, i, previous);
        for (const char *key : {"", "cn", "1", "2.5.4.3", "\xff", "X"}) {
            LDAPSchemaElement *found = nullptr;
            int result = ldap_schema_get_by_name(schema, key, kind, &found);
            require((found != nullptr) == (result == LDAP_SUCCESS), "found without success");
        }
    }
}

} // namespace qldapx_fuzz
