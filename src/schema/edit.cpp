// edit.cpp - elements added to the store, changed and taken out of it.
#include "qldapx/schema_element.h"
#include "schema/store.h"

#include <strings.h>

namespace qldapx::schema {
namespace {

ElementPtr newRecord(unsigned kind) {
    ElementPtr element = newElement(kind);
    if (element != nullptr)
        element->record = ber_memcalloc(1, kinds[kind].recordSize);
    return element != nullptr && element->record != nullptr ? std::move(element) : nullptr;
}

int addFields(LDAPSchemaElement &element, LDAPMod **fields) {
    for (; *fields != nullptr; ++fields) {
        const int result =
            modify_element(&element, (*fields)->mod_type, (*fields)->mod_values, LDAP_MOD_ADD);
        if (result != LDAP_SUCCESS)
            return result;
    }
    return LDAP_SUCCESS;
}

// What a change of fields means for the order of the store.
struct Reordering {
    bool isWanted = false;    // the key or the names changed
    bool breaksOrder = false; // a rule id changed, after which the rule stays where it is
};

int changeFields(LDAPSchemaElement &element, LDAPMod **fields, Reordering &reordering) {
    for (; *fields != nullptr; ++fields) {
        const char *keyword = (*fields)->mod_type;
        reordering.isWanted |= strcasecmp(keyword, "OID") == 0 || strcasecmp(keyword, "NAME") == 0;
        reordering.breaksOrder |= strcasecmp(keyword, "RULEID") == 0;
        const int result =
            modify_element(&element, keyword, (*fields)->mod_values, (*fields)->mod_op);
        if (result != LDAP_SUCCESS)
            return result;
    }
    return LDAP_SUCCESS;
}

int noteReplacement(LDAPSchema &schema, LDAPSchemaElement &before, LDAPSchemaElement &after) {
    HeapPtr old;
    HeapPtr changed;
    const char *attribute = nullptr;
    int result = ldap_schema_element_to_string(&before, Out(old), &attribute);
    if (result == LDAP_SUCCESS)
        result = ldap_schema_element_to_string(&after, Out(changed), &attribute);
    if (result != LDAP_SUCCESS)
        return result;
    char *oldValues[] = {old.get(), nullptr};
    char *newValues[] = {changed.get(), nullptr};
    LDAPMod removal = {LDAP_MOD_DELETE, const_cast<char *>(attribute), {oldValues}};
    LDAPMod addition = {LDAP_MOD_ADD, const_cast<char *>(attribute), {newValues}};
    result = add_change(&schema, &removal);
    return result == LDAP_SUCCESS ? add_change(&schema, &addition) : result;
}

// Puts the copy back in the place of an element whose change failed half-way. A key that was
// changed before has to lead back to the element: that it does not is a programming error.
int restore(LDAPSchema &schema, LDAPSchemaElement *changed, ElementPtr copy, int failure) {
    const unsigned kind = changed->kind;
    const char *key = keyOf(*changed);
    const bool isKept = compareKeys(key, keyOf(*copy)) == 0;
    const Range all = {0, schema.elementCount[kind]};
    if (!isKept && (key == nullptr || findBetween(schema, kind, key, all) < 0))
        fail(lostElement);
    erase(schema, changed);
    const int firstName = schema.nameCount[kind];
    const int result = append(schema, copy) == LDAP_SUCCESS ? failure : LDAP_LOCAL_ERROR;
    settle(schema, kind, firstName);
    return result;
}

} // namespace
} // namespace qldapx::schema

using namespace qldapx;
using namespace qldapx::schema;

QLDAPX_API int dup_element(LDAPSchemaElement *element, LDAPSchemaElement **copy) {
    *copy = nullptr;
    requireKind(*element, copiedKind);
    ElementPtr made = newElement(element->kind);
    if (made == nullptr)
        return LDAP_NO_MEMORY;
    const LdapStringPtr description = printDescription(*element);
    if (description == nullptr)
        return LDAP_LOCAL_ERROR;
    made->record = parseDescription(element->kind, description.get()).record;
    *copy = made.release();
    return LDAP_SUCCESS;
}

QLDAPX_API int remove_element(LDAPSchema *schema, const char *key, unsigned kind) {
    if (schema == nullptr)
        return LDAP_PARAM_ERROR;
    if (!isValid(*schema))
        return LDAP_LOCAL_ERROR;
    if (key == nullptr || !isKind(kind))
        return LDAP_PARAM_ERROR;
    const int place = findKey(*schema, kind, key);
    if (place < 0)
        return LDAP_NO_SUCH_OBJECT;
    erase(*schema, schema->elements[kind][place]);
    return LDAP_SUCCESS;
}

QLDAPX_API int ldap_schema_add(LDAPSchema *schema, unsigned kind, LDAPMod **fields) {
    if (schema == nullptr || fields == nullptr || !isKind(kind))
        return LDAP_PARAM_ERROR;
    ElementPtr element = newRecord(kind);
    if (element == nullptr)
        return LDAP_NO_MEMORY;
    int result = addFields(*element, fields);
    if (result != LDAP_SUCCESS)
        return result;
    const int firstName = schema->nameCount[kind];
    LDAPSchemaElement *added = element.get();
    result = append(*schema, element);
    if (result == LDAP_SUCCESS)
        result = store_update(schema, added, LDAP_MOD_ADD);
    if (result == LDAP_SUCCESS)
        settle(*schema, kind, firstName);
    else if (element == nullptr) // the store has it
        erase(*schema, added);
    return result;
}

QLDAPX_API int ldap_schema_modify(LDAPSchema *schema, const char *name, unsigned kind,
                                  LDAPMod **fields) {
    if (schema == nullptr || name == nullptr || fields == nullptr || !isKind(kind))
        return LDAP_PARAM_ERROR;
    LDAPSchemaElement *element = nullptr;
    int result = ldap_schema_get_by_name(schema, name, kind, &element);
    if (result != LDAP_SUCCESS)
        return result;
    ElementPtr copy;
    result = dup_element(element, Out(copy));
    if (result != LDAP_SUCCESS)
        return result;
    if (copy->record == nullptr) // there would be nothing to put back
        return LDAP_LOCAL_ERROR;
    const int place = placeOf(*schema, element);
    Reordering reordering;
    result = changeFields(*element, fields, reordering);
    if (result == LDAP_SUCCESS)
        result = noteReplacement(*schema, *copy, *element);
    if (result != LDAP_SUCCESS)
        return restore(*schema, element, std::move(copy), result);
    if (reordering.breaksOrder && kind == LDAP_SCHEMA_DIT_STRUCTURE_RULE) {
        schema->isUnsorted[kind] = true;
        schema->fences[kind].clear();
    }
    if (reordering.isWanted)
        replace(*schema, kind, place);
    return LDAP_SUCCESS;
}

QLDAPX_API int ldap_schema_delete(LDAPSchema *schema, unsigned kind, const char *name) {
    if (schema == nullptr || name == nullptr || !isKind(kind))
        return LDAP_PARAM_ERROR;
    LDAPSchemaElement *element = nullptr;
    int result = ldap_schema_get_by_name(schema, name, kind, &element);
    if (result == LDAP_SUCCESS)
        result = store_update(schema, element, LDAP_MOD_DELETE);
    if (result != LDAP_SUCCESS)
        return result;
    if (keyOf(*element) == nullptr) // only what has a key can be taken out
        return LDAP_PARAM_ERROR;
    erase(*schema, element);
    return LDAP_SUCCESS;
}
