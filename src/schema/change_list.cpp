// change_list.cpp - the noted changes of a schema, and their way to the server.
#include "qldapx/schema_element.h"
#include "schema/store.h"
#include "schema/strings.h"

#include <algorithm>
#include <climits>

namespace qldapx::schema {
namespace {

bool makeRoom(LDAPSchema &schema) {
    constexpr int least = 10;
    if (schema.changeCount + 1 < schema.changeCapacity)
        return true;
    if (schema.changeCapacity > INT_MAX / 2)
        return false;
    const int wanted = schema.changeCapacity + std::max(least, schema.changeCapacity / 2);
    auto *grown = static_cast<LDAPMod **>(
        std::realloc(schema.changes, static_cast<std::size_t>(wanted) * sizeof(LDAPMod *)));
    if (grown == nullptr)
        return false;
    schema.changes = grown;
    schema.changeCapacity = wanted;
    return true;
}

} // namespace
} // namespace qldapx::schema

using namespace qldapx;
using namespace qldapx::schema;

QLDAPX_API int add_change(LDAPSchema *schema, LDAPMod *change) {
    if (!makeRoom(*schema))
        return LDAP_NO_MEMORY;
    std::unique_ptr<LDAPMod, Releaser<std::free>> added(
        static_cast<LDAPMod *>(std::calloc(1, sizeof(LDAPMod))));
    if (added == nullptr)
        return LDAP_NO_MEMORY;
    added->mod_op = change->mod_op;
    added->mod_type = change->mod_type;
    added->mod_values = str_array_dup(change->mod_values);
    if (change->mod_values != nullptr && added->mod_values == nullptr)
        return LDAP_NO_MEMORY;
    schema->changes[schema->changeCount++] = added.release();
    schema->changes[schema->changeCount] = nullptr;
    return LDAP_SUCCESS;
}

QLDAPX_API int store_update(LDAPSchema *schema, LDAPSchemaElement *element, int operation) {
    HeapPtr description;
    const char *attribute = nullptr;
    const int written = ldap_schema_element_to_string(element, Out(description), &attribute);
    if (written != LDAP_SUCCESS)
        return written;
    char *values[] = {description.get(), nullptr};
    LDAPMod change = {operation, const_cast<char *>(attribute), {values}};
    return add_change(schema, &change);
}

QLDAPX_API void free_changes(LDAPSchema *schema) {
    for (int i = 0; i < schema->changeCount; ++i) {
        if (schema->changes[i]->mod_values != nullptr)
            releaseStrings<ForCallers>(schema->changes[i]->mod_values);
        std::free(schema->changes[i]);
    }
    std::free(schema->changes);
    schema->changes = nullptr;
    schema->changeCount = schema->changeCapacity = 0;
}

QLDAPX_API int ldap_schema_save(LDAP *ld, LDAPSchema *schema, const char *dn) {
    if (ld == nullptr || schema == nullptr || !isValid(*schema))
        return LDAP_PARAM_ERROR;
    if (schema->changeCount == 0)
        return LDAP_SUCCESS;
    HeapPtr found;
    if (dn == nullptr) {
        const int located = get_schema_dn(ld, Out(found));
        if (located != LDAP_SUCCESS)
            return located;
        dn = found.get();
    }
    const int result = ldap_modify_ext_s(ld, dn, schema->changes, nullptr, nullptr);
    free_changes(schema);
    return result;
}
