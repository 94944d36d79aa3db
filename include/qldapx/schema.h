/*
 * schema.h - the server's schema: fetched, searched, read, edited and saved.
 *
 * ldap_schema_fetch reads the subschema subentry (RFC 4512, 4.2) into a handle:
 *
 *   LDAPSchema *schema;
 *   LDAPSchemaElement *element;
 *   if (ldap_schema_fetch(ld, &schema, NULL) == LDAP_SUCCESS) {
 *       if (ldap_schema_get_by_name(schema, "cn", LDAP_SCHEMA_ATTRIBUTE_TYPE, &element) == 0)
 *           ...
 *       ldap_schema_free(schema);
 *   }
 *
 * Edits change the handle at once and are noted in it as changes of whole descriptions;
 * ldap_schema_save sends what was noted in one modify request.
 *
 * Threads: a handle has no lock. Functions that only read it (the lookups, the fields of an
 * element) may run in parallel; an edit, a save and ldap_schema_free need it for themselves.
 *
 * The handle's own lists are arrays that the lookups search by halves: elements by OID, byte by
 * byte; names without regard to case.
 */
#ifndef QLDAPX_SCHEMA_H
#define QLDAPX_SCHEMA_H

#include <qldapx/export.h>
#include <stdint.h>

QLDAPX_BEGIN

/* The kinds of schema elements, each with its attribute of the subschema subentry. */
#define LDAP_SCHEMA_ATTRIBUTE_TYPE 0     /* attributeTypes: LDAPAttributeType */
#define LDAP_SCHEMA_OBJECT_CLASS 1       /* objectClasses: LDAPObjectClass */
#define LDAP_SCHEMA_SYNTAX 2             /* ldapSyntaxes: LDAPSyntax */
#define LDAP_SCHEMA_MATCHING_RULE 3      /* matchingRules: LDAPMatchingRule */
#define LDAP_SCHEMA_MATCHING_RULE_USE 4  /* matchingRuleUse: LDAPMatchingRuleUse */
#define LDAP_SCHEMA_NAME_FORM 5          /* nameForms: LDAPNameForm */
#define LDAP_SCHEMA_DIT_CONTENT_RULE 6   /* dITContentRules: LDAPContentRule */
#define LDAP_SCHEMA_DIT_STRUCTURE_RULE 7 /* dITStructureRules: LDAPDITStructureRule */

/* A fetched schema. */
typedef struct LDAPSchema LDAPSchema;

/* One element of a schema. */
typedef struct LDAPSchemaElement {
    uint32_t kind; /* LDAP_SCHEMA_... */
    void *record;  /* what the description says: the record of its kind, see above */
} LDAPSchemaElement;

/*
 * ldap_schema_fetch - reads the server's schema.
 *
 * ld:     the session.
 * schema: receives the handle, released with ldap_schema_free. After a failure it must not be
 *         used: it is released or, when a description did not parse, lost with what was read.
 * dn:     the subschema subentry; NULL: the one that the root DSE names.
 *
 * Two searches at most: the root DSE for subschemaSubentry, the subentry for its eight attributes.
 * An attribute whose name comes back in other letters is not recognised. An attribute type or
 * object class that does not parse is left out; of the other kinds it fails the call. A class
 * without an OID, which libldap's parser lets pass, is kept behind the others and found by name.
 *
 * Result:
 *   LDAP_NO_RESULTS_RETURNED  the root DSE names no subschema subentry.
 *   LDAP_LOCAL_ERROR          a description of another kind than the first two does not parse.
 *   LDAP_NO_MEMORY            memory ran out.
 *   otherwise why a search failed.
 */
QLDAPX_API int ldap_schema_fetch(LDAP *ld, LDAPSchema **schema, const char *dn);

/*
 * ldap_schema_get_by_name - finds an element by name or OID.
 *
 * schema:  the handle, not NULL.
 * key:     one that begins with a decimal digit is an OID (a structure rule's id), compared byte by
 *          byte; any other one is a name, compared without regard to case.
 * kind:    LDAP_SCHEMA_...
 * element: receives the element, NULL after a failure. It stays the handle's: it is read with the
 *          functions below, not released, and not kept beyond an edit.
 *
 * Which of several elements of the same name is found is not defined.
 *
 * Result:
 *   LDAP_LOCAL_ERROR     the handle is not valid.
 *   LDAP_PARAM_ERROR     key is NULL, or there is no such kind.
 *   LDAP_NO_SUCH_OBJECT  there is none.
 */
QLDAPX_API int ldap_schema_get_by_name(LDAPSchema *schema, const char *key, unsigned int kind,
                                       LDAPSchemaElement **element);

/*
 * ldap_schema_get_by_index - gives an element by its place in the order of OIDs.
 *
 * index:   from 0 on, below ldap_schema_get_count.
 * element: as with ldap_schema_get_by_name.
 *
 * Result:
 *   LDAP_PARAM_ERROR  schema is NULL, there is no such kind or no such index.
 *   LDAP_LOCAL_ERROR  the handle is not valid.
 */
QLDAPX_API int ldap_schema_get_by_index(LDAPSchema *schema, int index, unsigned int kind,
                                        LDAPSchemaElement **element);

/*
 * ldap_schema_get_count - gives the number of elements of a kind; -1 when schema is NULL or not
 * valid, or there is no such kind.
 */
QLDAPX_API int ldap_schema_get_count(LDAPSchema *schema, unsigned int kind);

/*
 * ldap_schema_free - releases a schema with all its elements and the edits that were not saved.
 *
 * Result: LDAP_SUCCESS, also for NULL; LDAP_PARAM_ERROR when the handle is not valid.
 */
QLDAPX_API int ldap_schema_free(LDAPSchema *schema);

/*
 * get_schema_dn - asks the root DSE for the subschema subentry's DN.
 *
 * dn: receives it, released with free; NULL after a failure.
 *
 * Result:
 *   LDAP_NO_RESULTS_RETURNED  the root DSE names none.
 *   LDAP_NO_MEMORY            memory ran out.
 *   otherwise why the search failed.
 */
QLDAPX_API int get_schema_dn(LDAP *ld, char **dn);

/*
 * ldap_schema_get_field_names - lists the keywords of the fields that an element has.
 *
 * names: receives an array ended by NULL; each string and then the array are released with
 *        ldapx_memfree. Left as it was after a failure.
 *
 * The keywords are those of RFC 4512, 4.1, with "OID" (a structure rule: "RULEID") for the key,
 * the usage of an attribute type and the kind of an object class as keywords of their own
 * ("userApplications", "STRUCTURAL"), and the name of each extension. The order is fixed and
 * differs between the kinds.
 *
 * Result: LDAP_NO_MEMORY when memory ran out; what was copied until then is lost.
 */
QLDAPX_API int ldap_schema_get_field_names(LDAPSchemaElement *element, char ***names);

/*
 * ldap_schema_get_field_values - gives the values of one field.
 *
 * keyword: a field's keyword or an extension's name, compared without regard to case.
 * values:  receives an array ended by NULL, released as above; NULL after a failure.
 *
 * A flag, usage or class kind has one value, "". "SYNTAX" of an attribute type has two: the OID
 * and the bound in decimal, "0" when there is none. The name form of a structure rule is read as
 * "FORM". Extensions of name forms and content rules are listed but not given.
 *
 * Result:
 *   LDAP_SUCCESS            look at values all the same: NULL if memory ran out for a list.
 *   LDAP_NO_SUCH_ATTRIBUTE  the element does not have the field.
 *   LDAP_NO_MEMORY          memory ran out.
 */
QLDAPX_API int ldap_schema_get_field_values(LDAPSchemaElement *element, const char *keyword,
                                            char ***values);

/*
 * ldap_schema_element_to_string - writes an element's description as libldap prints it.
 *
 * description: receives it, released with free; NULL after a failure.
 * attribute:   receives the name of the subschema subentry's attribute, a constant; after a
 *              failure, too.
 *
 * Result: LDAP_LOCAL_ERROR when there is no record, memory ran out or the description cannot be
 * written: a name form without OC or MUST, a list of OIDs or an extension that was emptied.
 */
QLDAPX_API int ldap_schema_element_to_string(LDAPSchemaElement *element, char **description,
                                             const char **attribute);

/*
 * ldap_schema_add - adds an element to the handle and notes the addition.
 *
 * kind:   LDAP_SCHEMA_...
 * fields: its fields, ended by NULL: mod_type is a keyword as ldap_schema_get_field_names lists
 *         them, mod_values (strings) are its values; mod_op is not looked at. They are only read.
 *         The usage is set as "USAGE" with one of the four words as its value, the name form of a
 *         structure rule as "OC". Any other mod_type that is no keyword of the kind, the words of
 *         the usage and "FORM" among them, is taken for the name of an extension.
 *
 * Whether another element has the same OID or name is not looked at. A class that is given no kind
 * is ABSTRACT.
 *
 * Result:
 *   LDAP_PARAM_ERROR  schema or fields is NULL, there is no such kind, or no such usage.
 *   LDAP_NO_MEMORY    memory ran out, or an extension has no values.
 *   LDAP_LOCAL_ERROR  the description cannot be written.
 * After a failure the handle is as it was.
 */
QLDAPX_API int ldap_schema_add(LDAPSchema *schema, unsigned int kind, LDAPMod **fields);

/*
 * ldap_schema_modify - changes fields of an element and notes the change: its description as it
 * was goes, as it is comes.
 *
 * name:   name or OID, as with ldap_schema_get_by_name.
 * fields: the changes, as with ldap_schema_add; mod_op says how:
 *           LDAP_MOD_ADD      a text is set to the first value. In a list, values that are there
 *                             already move to the end. A flag is set.
 *           LDAP_MOD_DELETE   a text is emptied, a flag cleared. The values go out of a list, which
 *                             stays, empty, when none is left: use LDAP_MOD_REPLACE without values.
 *           LDAP_MOD_REPLACE  the values take the place of those that were there.
 *
 * An element that was renamed is found under its old names until the schema is fetched again, or a
 * change of it fails. A structure rule whose "RULEID" changed stays in its place until the next
 * edit of "NAME", addition or failed change among the structure rules, and until then rule ids may
 * not be found. The bound of an attribute type's syntax cannot be changed: "SYNTAX" sets the text
 * before it.
 *
 * Result:
 *   LDAP_PARAM_ERROR  schema, name or fields is NULL, there is no such kind, or no such usage.
 *   LDAP_NO_MEMORY    memory ran out, or an extension to add has no values.
 *   LDAP_LOCAL_ERROR  the description cannot be written, now or as it was, or as it was it would
 *                     not be understood when it is read again (a quote in "DESC").
 *   otherwise as ldap_schema_get_by_name.
 * After a failure the element is as it was, written and read again; its address may be another.
 * When fields changed its key before the failing one the process ends with an assertion, unless
 * the new key would have left the element where it stands: change the key by a call of its own.
 */
QLDAPX_API int ldap_schema_modify(LDAPSchema *schema, const char *name, unsigned int kind,
                                  LDAPMod **fields);

/*
 * ldap_schema_delete - takes an element out of the handle and notes the deletion.
 *
 * name: name or OID, as with ldap_schema_get_by_name.
 *
 * Result:
 *   LDAP_PARAM_ERROR  schema or name is NULL, or there is no such kind. The element has no OID: it
 *                     stays, although its deletion is noted.
 *   otherwise as ldap_schema_get_by_name and ldap_schema_element_to_string.
 */
QLDAPX_API int ldap_schema_delete(LDAPSchema *schema, unsigned int kind, const char *name);

/*
 * ldap_schema_save - sends the noted changes in one modify request (RFC 4511, 4.6).
 *
 * ld: the session.
 * dn: the subschema subentry; NULL: the one that the root DSE names.
 *
 * Nothing is sent when nothing was noted. The noted changes are gone afterwards whatever the
 * server answered: after a refusal, fetch again.
 *
 * Result:
 *   LDAP_PARAM_ERROR  ld or schema is NULL, or the handle is not valid.
 *   otherwise what the modify request gave, or get_schema_dn, which leaves the noted changes.
 */
QLDAPX_API int ldap_schema_save(LDAP *ld, LDAPSchema *schema, const char *dn);

QLDAPX_END

#endif
