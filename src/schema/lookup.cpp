#include "qldapx/schema_element.h"
#include "schema/store.h"

#include <cctype>
#include <cstdlib>

namespace qldapx::schema {
namespace {

LDAPSchemaElement *findNamed(const LDAPSchema &schema, unsigned kind, const char *name) {
    const int place =
        searchByHalves(schema.names[kind], 0, schema.nameCount[kind],
                       [&](const NameEntry &entry) { return compareNameTo(name, entry); });
    return place < 0 ? nullptr : schema.names[kind][place].element;
}

LDAPSchemaElement *find(const LDAPSchema &schema, unsigned kind, const char *key) {
    if (std::isdigit(static_cast<unsigned char>(*key)) == 0)
        return findNamed(schema, kind, key);
    const int place = findKey(schema, kind, key);
    return place < 0 ? nullptr : schema.elements[kind][place];
}

void releaseLists(LDAPSchema &schema, unsigned kind) {
    for (int i = 0; i < schema.nameCount[kind]; ++i)
        std::free(schema.names[kind][i].name);
    std::free(schema.names[kind]);
    for (int i = 0; i < schema.elementCount[kind]; ++i)
        releaseElement(schema.elements[kind][i]);
    std::free(schema.elements[kind]);
    schema.fences[kind].clear();
}

} // namespace
} // namespace qldapx::schema

using namespace qldapx::schema;

QLDAPX_API int ldap_schema_get_by_name(LDAPSchema *schema, const char *key, unsigned kind,
                                       LDAPSchemaElement **element) {
    *element = nullptr;
    if (!isValid(*schema))
        return LDAP_LOCAL_ERROR;
    if (key == nullptr || !isKind(kind))
        return LDAP_PARAM_ERROR;
    *element = find(*schema, kind, key);
    return *element == nullptr ? LDAP_NO_SUCH_OBJECT : LDAP_SUCCESS;
}

QLDAPX_API int ldap_schema_get_by_index(LDAPSchema *schema, int index, unsigned kind,
                                        LDAPSchemaElement **element) {
    *element = nullptr;
    if (schema == nullptr || !isKind(kind) || index < 0 || index >= schema->elementCount[kind])
        return LDAP_PARAM_ERROR;
    if (!isValid(*schema))
        return LDAP_LOCAL_ERROR;
    *element = schema->elements[kind][index];
    return LDAP_SUCCESS;
}

QLDAPX_API int ldap_schema_get_count(LDAPSchema *schema, unsigned kind) {
    if (schema == nullptr || !isKind(kind) || !isValid(*schema))
        return -1;
    return schema->elementCount[kind];
}

QLDAPX_API int ldap_schema_free(LDAPSchema *schema) {
    if (schema == nullptr)
        return LDAP_SUCCESS;
    if (!isValid(*schema))
        return LDAP_PARAM_ERROR;
    schema->mark = 0;
    for (unsigned kind = 0; kind < kindCount; ++kind)
        releaseLists(*schema, kind);
    free_changes(schema);
    std::free(schema);
    return LDAP_SUCCESS;
}
