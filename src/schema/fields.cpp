// fields.cpp - the fields of an element by keyword, and its description.
#include "qldapx/schema_element.h"
#include "schema/element.h"
#include "schema/strings.h"

#include <cstdio>
#include <strings.h>

namespace qldapx::schema {
namespace {

bool isListed(const Field &field, void *record) {
    switch (field.type) {
    case FieldType::Text:
    case FieldType::BoundedText:
    case FieldType::List:
    case FieldType::QuotedList:
        return member<void *>(record, field.offset) != nullptr;
    case FieldType::Flag:
    case FieldType::FlagOne:
        return member<int>(record, field.offset) == 1;
    case FieldType::Usage:
        break;
    case FieldType::UsageKeyword:
    case FieldType::ClassKind:
        return member<int>(record, field.offset) == field.number;
    }
    return false;
}

int giveMark(bool isSet, char ***values) {
    return isSet ? single_string_dup(values, "") : LDAP_NO_SUCH_ATTRIBUTE;
}

int giveBounded(const char *text, int bound, char ***values) {
    if (text == nullptr)
        return LDAP_NO_SUCH_ATTRIBUTE;
    char decimal[12];
    std::snprintf(decimal, sizeof decimal, "%d", bound);
    char *both[] = {const_cast<char *>(text), decimal, nullptr};
    *values = str_array_dup(both);
    return *values == nullptr ? LDAP_NO_MEMORY : LDAP_SUCCESS;
}

int give(const Field &field, void *record, char ***values) {
    switch (field.type) {
    case FieldType::Text:
        return single_string_dup(values, member<char *>(record, field.offset));
    case FieldType::BoundedText:
        return giveBounded(member<char *>(record, field.offset),
                           member<int>(record, field.offset + sizeof(char *)), values);
    case FieldType::List:
    case FieldType::QuotedList:
        return double_string_dup(values, member<char **>(record, field.offset));
    case FieldType::Flag:
        return giveMark(member<int>(record, field.offset) != 0, values);
    case FieldType::FlagOne:
        return giveMark(member<int>(record, field.offset) == 1, values);
    case FieldType::Usage:
        break;
    case FieldType::UsageKeyword:
    case FieldType::ClassKind:
        return giveMark(member<int>(record, field.offset) == field.number, values);
    }
    return LDAP_NO_SUCH_ATTRIBUTE;
}

int giveExtension(const LDAPSchemaElement &element, const char *name, char ***values) {
    if (!kinds[element.kind].givesExtensions)
        return LDAP_NO_SUCH_ATTRIBUTE;
    LDAPSchemaExtensionItem **item = extensionsOf(element);
    for (; item != nullptr && *item != nullptr; ++item)
        if (strcasecmp((*item)->lsei_name, name) == 0)
            return double_string_dup(values, (*item)->lsei_values);
    return LDAP_NO_SUCH_ATTRIBUTE;
}

// Copies the keywords of the fields that an element has, nullptr where memory ran out.
std::size_t copyKeywords(const LDAPSchemaElement &element, char **copies) {
    std::size_t count = 0;
    for (const Field &field : kinds[element.kind].fields)
        if ((field.uses & Listed) != 0 && isListed(field, element.record))
            copies[count++] = strdup(field.keyword);
    return count;
}

std::size_t countExtensions(LDAPSchemaExtensionItem *const *items) {
    std::size_t count = 0;
    while (items != nullptr && items[count] != nullptr)
        ++count;
    return count;
}

// Puts keywords and the names of extensions into an array that has room for them.
bool fillNames(char **names, char *const *keywords, std::size_t keywordCount,
               LDAPSchemaExtensionItem *const *items) {
    for (std::size_t i = 0; i < keywordCount; ++i)
        if ((*names++ = keywords[i]) == nullptr)
            return false;
    for (; items != nullptr && *items != nullptr; ++items)
        if ((*names++ = strdup((*items)->lsei_name)) == nullptr)
            return false;
    return true;
}

} // namespace
} // namespace qldapx::schema

using namespace qldapx::schema;

QLDAPX_API char **str_array_dup(char **array) {
    return array == nullptr ? nullptr : copyStrings<ForCallers>(array);
}

QLDAPX_API int single_string_dup(char ***out, const char *string) {
    if (string == nullptr)
        return LDAP_NO_SUCH_ATTRIBUTE;
    char *one[] = {const_cast<char *>(string), nullptr};
    char **copy = str_array_dup(one);
    if (copy == nullptr)
        return LDAP_NO_MEMORY;
    *out = copy;
    return LDAP_SUCCESS;
}

QLDAPX_API int double_string_dup(char ***out, char **array) {
    if (array == nullptr)
        return LDAP_NO_SUCH_ATTRIBUTE;
    *out = str_array_dup(array);
    return LDAP_SUCCESS;
}

QLDAPX_API int ldap_schema_get_field_names(LDAPSchemaElement *element, char ***names) {
    requireKind(*element, listedKind);
    char *keywords[mostFields];
    const std::size_t count = copyKeywords(*element, keywords);
    LDAPSchemaExtensionItem **items = extensionsOf(*element);
    auto **all =
        static_cast<char **>(std::calloc(count + countExtensions(items) + 1, sizeof(char *)));
    if (all == nullptr || !fillNames(all, keywords, count, items)) {
        // The copies are lost: callers count on this, wherever memory ran out.
        std::free(all);
        return LDAP_NO_MEMORY; // NOLINT(clang-analyzer-unix.Malloc)
    }
    *names = all;
    return LDAP_SUCCESS;
}

QLDAPX_API int ldap_schema_get_field_values(LDAPSchemaElement *element, const char *keyword,
                                            char ***values) {
    *values = nullptr;
    requireKind(*element, readKind);
    const Field *field = findField(element->kind, keyword, Read);
    return field != nullptr ? give(*field, element->record, values)
                            : giveExtension(*element, keyword, values);
}

QLDAPX_API int ldap_schema_element_to_string(LDAPSchemaElement *element, char **description,
                                             const char **attribute) {
    requireKind(*element, writtenKind);
    *attribute = kinds[element->kind].attribute;
    *description = printDescription(*element).release();
    return *description == nullptr ? LDAP_LOCAL_ERROR : LDAP_SUCCESS;
}
