#include "schema/element.h"

#include <algorithm>
#include <cstdlib>

namespace qldapx::schema {
namespace {

// libldap's printers follow what they take for granted into NULL.
bool isPrintable(const Field &field, void *record) {
    if (field.type == FieldType::List) {
        char **list = member<char **>(record, field.offset);
        return list == nullptr ? !field.isRequired : list[0] != nullptr;
    }
    return !field.isRequired || member<char *>(record, field.offset) != nullptr;
}

bool isPrintable(const LDAPSchemaElement &element) {
    for (const Field &field : kinds[element.kind].fields)
        if (!isPrintable(field, element.record))
            return false;
    LDAPSchemaExtensionItem **item = extensionsOf(element);
    for (; item != nullptr && *item != nullptr; ++item)
        if ((*item)->lsei_values == nullptr)
            return false;
    return true;
}

} // namespace

void releaseElement(LDAPSchemaElement *element) {
    requireKind(*element, freedKind);
    kinds[element->kind].release(element->record);
    std::free(element);
}

ElementPtr newElement(unsigned kind) {
    auto *made = static_cast<OwnElement *>(std::calloc(1, sizeof(OwnElement)));
    if (made == nullptr)
        return nullptr;
    made->element.kind = kind;
    return ElementPtr(&made->element);
}

Parsed parseDescription(unsigned kind, const char *text) {
    int code = 0; // libldap's parsers leave it alone when all is well
    const char *errorAt = nullptr;
    void *record = kinds[kind].parse(text, &code, &errorAt, parserFlags);
    return {record, code};
}

LdapStringPtr printDescription(const LDAPSchemaElement &element) {
    if (element.record == nullptr || !isPrintable(element))
        return nullptr;
    return LdapStringPtr(kinds[element.kind].print(element.record));
}

} // namespace qldapx::schema
