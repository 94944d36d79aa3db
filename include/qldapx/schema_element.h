/*
 * schema_element.h - the steps that schema access is made of, for programs that take elements apart
 * or edit them on their own. Not part of qldapx.h: include it where it is needed, since programs
 * have functions of such names themselves.
 */
#ifndef QLDAPX_SCHEMA_ELEMENT_H
#define QLDAPX_SCHEMA_ELEMENT_H

#include <qldapx/schema.h>

QLDAPX_BEGIN

/*
 * str_array_dup - copies an array of strings that NULL ends.
 *
 * Result: the copy; each string and then the array are released with ldapx_memfree. NULL when array
 * is NULL or memory ran out.
 */
QLDAPX_API char **str_array_dup(char **array);

/*
 * single_string_dup - makes an array of a copy of one string.
 *
 * out: receives the array, released as that of str_array_dup; left as it was after a failure.
 *
 * Result:
 *   LDAP_NO_SUCH_ATTRIBUTE  string is NULL.
 *   LDAP_NO_MEMORY          memory ran out.
 */
QLDAPX_API int single_string_dup(char ***out, const char *string);

/*
 * double_string_dup - copies an array of strings.
 *
 * out: receives the array, released as that of str_array_dup; NULL, with LDAP_SUCCESS, when memory
 *      ran out; left as it was after a failure.
 *
 * Result: LDAP_NO_SUCH_ATTRIBUTE when array is NULL.
 */
QLDAPX_API int double_string_dup(char ***out, char **array);

/*
 * modify_element - changes one field of an element.
 *
 * element:   one that no schema holds, such as dup_element made; in a schema use
 *            ldap_schema_modify, which keeps its lists in order.
 * keyword:   of the field; any other one is an extension's name. Not NULL.
 * values:    the new values, ended by NULL; NULL: none. They are copied.
 * operation: LDAP_MOD_ADD, LDAP_MOD_DELETE or LDAP_MOD_REPLACE, see ldap_schema_modify.
 *
 * Result:
 *   LDAP_PARAM_ERROR  there is no such usage, or no such operation on a list.
 *   LDAP_NO_MEMORY    memory ran out, or an extension to add has no values.
 * After a failure the field is as it was.
 */
QLDAPX_API int modify_element(LDAPSchemaElement *element, const char *keyword, char **values,
                              int operation);

/*
 * new_value - changes a field that is one string.
 *
 * field: the string, replaced by a copy of the first value; NULL afterwards when the operation is
 *        LDAP_MOD_DELETE or there is no value. It is liblber's memory, as in libldap's records.
 *
 * Result: LDAP_NO_MEMORY when memory ran out; the field is as it was.
 */
QLDAPX_API int new_value(char **field, char **values, int operation);

/*
 * new_values - changes a field that is a list of strings.
 *
 * field: the list; the values are copied, compared without regard to case.
 *          LDAP_MOD_REPLACE  they take the place of the list; none: NULL.
 *          LDAP_MOD_ADD      they follow what is left of it without them.
 *          LDAP_MOD_DELETE   what is left without them; an empty list when nothing is.
 *
 * Result:
 *   LDAP_PARAM_ERROR  there is no such operation.
 *   LDAP_NO_MEMORY    memory ran out.
 * After a failure the field is as it was.
 */
QLDAPX_API int new_values(char ***field, char **values, int operation);

/*
 * dup_element - copies an element by writing and reading its description.
 *
 * copy: receives the copy; NULL after a failure. Its record is released with libldap's function for
 *       the kind, then it with free. The record is NULL when the description was not understood.
 *
 * Result:
 *   LDAP_NO_MEMORY    memory ran out for the element.
 *   LDAP_LOCAL_ERROR  the description cannot be written.
 */
QLDAPX_API int dup_element(LDAPSchemaElement *element, LDAPSchemaElement **copy);

/*
 * remove_element - takes an element out of a schema and releases it; nothing is noted.
 *
 * key: its OID or rule id.
 *
 * Result:
 *   LDAP_PARAM_ERROR     schema or key is NULL, or there is no such kind.
 *   LDAP_LOCAL_ERROR     the handle is not valid.
 *   LDAP_NO_SUCH_OBJECT  there is none.
 */
QLDAPX_API int remove_element(LDAPSchema *schema, const char *key, unsigned int kind);

/*
 * add_change - notes a change for ldap_schema_save.
 *
 * change: its values (strings) are copied; the type is kept as the pointer that it is.
 *
 * Result: LDAP_NO_MEMORY when memory ran out; nothing is noted.
 */
QLDAPX_API int add_change(LDAPSchema *schema, LDAPMod *change);

/*
 * store_update - notes that an element's description is to be added or deleted.
 *
 * operation: LDAP_MOD_ADD or LDAP_MOD_DELETE.
 *
 * Result: as ldap_schema_element_to_string and add_change.
 */
QLDAPX_API int store_update(LDAPSchema *schema, LDAPSchemaElement *element, int operation);

/*
 * free_changes - drops and releases what was noted.
 */
QLDAPX_API void free_changes(LDAPSchema *schema);

QLDAPX_END

#endif
