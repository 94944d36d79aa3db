/*
 * schema_description.h - descriptions of DIT content rules and DIT structure rules (RFC 4512,
 * 4.1.6 and 4.1.7.1) read and written, beside libldap's functions for the other kinds.
 */
#ifndef QLDAPX_SCHEMA_DESCRIPTION_H
#define QLDAPX_SCHEMA_DESCRIPTION_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/* A DIT structure rule. libldap's LDAPStructureRule has its rule ids as integers instead. */
typedef struct LDAPDITStructureRule {
    char *sr_ruleid;                         /* digits, or digits with dots */
    char **sr_names;                         /* ended by NULL; NULL: none; as all lists here */
    char *sr_desc;                           /* NULL: none */
    int sr_obsolete;                         /* 1: OBSOLETE */
    char *sr_nameform;                       /* FORM */
    char **sr_sup_ruleids;                   /* SUP */
    LDAPSchemaExtensionItem **sr_extensions; /* X-... */
} LDAPDITStructureRule;

/*
 * ldap_str2ditcontentrule - reads a DIT content rule: libldap's ldap_str2contentrule.
 */
QLDAPX_API LDAPContentRule *ldap_str2ditcontentrule(const char *text, int *code,
                                                    const char **errorAt, unsigned flags);

/*
 * ldap_ditcontentrule2str - writes a DIT content rule: libldap's ldap_contentrule2str.
 */
QLDAPX_API char *ldap_ditcontentrule2str(LDAPContentRule *rule);

/*
 * ldap_ditcontentrule_free - releases a DIT content rule: libldap's ldap_contentrule_free.
 */
QLDAPX_API void ldap_ditcontentrule_free(LDAPContentRule *rule);

/*
 * ldap_str2ditstructurerule - reads a DIT structure rule.
 *
 * text:    the description; NULL: LDAP_SCHERR_EMPTY.
 * code:    receives 0 or an LDAP_SCHERR_... code; ldap_scherr2str has a text for it.
 * errorAt: receives where in text the reading stopped, after a failure; text after a success.
 * flags:   LDAP_SCHEMA_ALLOW_...: with ALLOW_NO_OID the rule id may be missing in front of "NAME",
 *          "DESC", "OBSOLETE" or an extension; any other word there is taken for one and skipped;
 *          sr_ruleid is NULL then. With ALLOW_QUOTED it may stand in quotes, as may those of SUP,
 *          which the printer writes so.
 *
 * A list of rule ids may have "$" between them, as a list of OIDs has, or blanks alone, as RFC 4512
 * has it.
 *
 * Result: the rule, released with ldap_ditstructurerule_free; NULL after a failure.
 */
QLDAPX_API LDAPDITStructureRule *ldap_str2ditstructurerule(const char *text, int *code,
                                                           const char **errorAt, unsigned flags);

/*
 * ldap_ditstructurerule2str - writes a DIT structure rule.
 *
 * Result: its description, released with ldap_memfree; NULL when rule is NULL or memory ran out.
 * The superior rules' ids are written in quotes, like names.
 */
QLDAPX_API char *ldap_ditstructurerule2str(LDAPDITStructureRule *rule);

/*
 * ldap_ditstructurerule_free - releases a DIT structure rule; NULL is ignored.
 */
QLDAPX_API void ldap_ditstructurerule_free(LDAPDITStructureRule *rule);

QLDAPX_END

#endif
