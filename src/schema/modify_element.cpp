// modify_element.cpp - one field of an element changed.
#include "qldapx/schema_element.h"
#include "schema/description_reader.h"
#include "schema/element.h"
#include "schema/strings.h"

#include <strings.h>

namespace qldapx::schema {
namespace {

bool hasValue(char *const *values) {
    return values != nullptr && *values != nullptr;
}

bool contains(char *const *values, const char *text) {
    for (; hasValue(values); ++values)
        if (strcasecmp(*values, text) == 0)
            return true;
    return false;
}

// The strings of a list but for those that are among `values`, in front of copies of `added`.
int mergeValues(char ***field, char **values, char **added) {
    const std::size_t before = countStrings(*field);
    char **merged = copyStrings<ForRecords>(added, before);
    if (merged == nullptr)
        return LDAP_NO_MEMORY;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < before; ++i)
        if (!contains(values, (*field)[i]))
            merged[kept++] = (*field)[i];
    // Only now are the dropped ones released: the caller's values may be among them.
    for (std::size_t i = 0, next = 0; i < before; ++i)
        if (next < kept && merged[next] == (*field)[i])
            ++next;
        else
            ber_memfree((*field)[i]);
    const std::size_t count = countStrings(added);
    std::memmove(merged + kept, merged + before, (count + 1) * sizeof *merged);
    ber_memfree(*field);
    *field = merged;
    return LDAP_SUCCESS;
}

int replaceValues(char ***field, char **values) {
    char **copies = hasValue(values) ? copyStrings<ForRecords>(values) : nullptr;
    if (hasValue(values) && copies == nullptr)
        return LDAP_NO_MEMORY;
    ber_memvfree(reinterpret_cast<void **>(*field));
    *field = copies;
    return LDAP_SUCCESS;
}

int setUsage(int &usage, char **values, int operation) {
    if (operation == LDAP_MOD_DELETE || !hasValue(values)) {
        usage = LDAP_SCHEMA_USER_APPLICATIONS;
        return LDAP_SUCCESS;
    }
    for (int i = 0; i < static_cast<int>(std::size(usages)); ++i)
        if (strcasecmp(usages[i], *values) == 0) {
            usage = i;
            return LDAP_SUCCESS;
        }
    return LDAP_PARAM_ERROR;
}

int changeField(const Field &field, void *record, char **values, int operation) {
    constexpr int noKind = -1;
    const bool isDelete = operation == LDAP_MOD_DELETE;
    switch (field.type) {
    case FieldType::Text:
    case FieldType::BoundedText: // the bound stays: it is no part of the value
        return new_value(&member<char *>(record, field.offset), values, operation);
    case FieldType::List:
    case FieldType::QuotedList:
        return new_values(&member<char **>(record, field.offset), values, operation);
    case FieldType::Flag:
    case FieldType::FlagOne:
        member<int>(record, field.offset) = isDelete ? 0 : 1;
        break;
    case FieldType::Usage:
        return setUsage(member<int>(record, field.offset), values, operation);
    case FieldType::UsageKeyword:
        break;
    case FieldType::ClassKind:
        member<int>(record, field.offset) = isDelete ? noKind : field.number;
        break;
    }
    return LDAP_SUCCESS;
}

ItemPtr newItem(const char *name, char **values) {
    ItemPtr item(
        static_cast<LDAPSchemaExtensionItem *>(ber_memcalloc(1, sizeof(LDAPSchemaExtensionItem))));
    if (item == nullptr)
        return nullptr;
    item->lsei_name = ber_strdup(name);
    item->lsei_values = copyStrings<ForRecords>(values);
    const bool isWhole = item->lsei_name != nullptr && item->lsei_values != nullptr;
    return isWhole ? std::move(item) : nullptr;
}

int addItem(LDAPSchemaExtensionItem **&items, const char *name, char **values) {
    if (!hasValue(values)) // taken for values that could not be copied
        return LDAP_NO_MEMORY;
    ItemPtr item = newItem(name, values);
    if (item == nullptr)
        return LDAP_NO_MEMORY;
    std::size_t count = 0;
    while (items != nullptr && items[count] != nullptr)
        ++count;
    auto **grown = static_cast<LDAPSchemaExtensionItem **>(
        ber_memrealloc(items, (count + 2) * sizeof(LDAPSchemaExtensionItem *)));
    if (grown == nullptr)
        return LDAP_NO_MEMORY;
    grown[count] = item.release();
    grown[count + 1] = nullptr;
    items = grown;
    return LDAP_SUCCESS;
}

int changeExtension(LDAPSchemaExtensionItem **&items, const char *name, char **values,
                    int operation) {
    for (LDAPSchemaExtensionItem **item = items; item != nullptr && *item != nullptr; ++item)
        if (strcasecmp((*item)->lsei_name, name) == 0)
            return new_values(&(*item)->lsei_values, values, operation);
    return operation == LDAP_MOD_DELETE ? LDAP_SUCCESS : addItem(items, name, values);
}

} // namespace
} // namespace qldapx::schema

using namespace qldapx::schema;

QLDAPX_API int new_value(char **field, char **values, int operation) {
    char *copy = nullptr;
    if (operation != LDAP_MOD_DELETE && hasValue(values)) {
        copy = ber_strdup(*values);
        if (copy == nullptr)
            return LDAP_NO_MEMORY;
    }
    ber_memfree(*field);
    *field = copy;
    return LDAP_SUCCESS;
}

QLDAPX_API int new_values(char ***field, char **values, int operation) {
    switch (operation) {
    case LDAP_MOD_ADD: // of nothing makes no list, which could not be written
        return hasValue(values) ? mergeValues(field, values, values) : LDAP_SUCCESS;
    case LDAP_MOD_DELETE:
        return mergeValues(field, values, nullptr);
    case LDAP_MOD_REPLACE:
        return replaceValues(field, values);
    default:
        return LDAP_PARAM_ERROR;
    }
}

QLDAPX_API int modify_element(LDAPSchemaElement *element, const char *keyword, char **values,
                              int operation) {
    requireKind(*element, changedKind);
    if (const Field *field = findField(element->kind, keyword, Changed))
        return changeField(*field, element->record, values, operation);
    return changeExtension(extensionsOf(*element), keyword, values, operation);
}
