#include "schema/kind.h"

#include "qldapx/schema_description.h"

#include <iterator>
#include <strings.h>

namespace qldapx::schema {
namespace {

using enum FieldType;

template <class Record, auto parse>
void *parseAs(const char *text, int *code, const char **errorAt, unsigned flags) {
    return parse(text, code, errorAt, flags);
}

template <class Record, auto print>
char *printAs(void *record) {
    return print(static_cast<Record *>(record));
}

template <class Record, auto release>
void releaseAs(void *record) {
    release(static_cast<Record *>(record));
}

// The order of the rows is that of listing, which differs between the kinds.

constexpr Field attributeType[] = {
    {"OID", Text, offsetof(LDAPAttributeType, at_oid)},
    {"NAME", QuotedList, offsetof(LDAPAttributeType, at_names)},
    {"DESC", Text, offsetof(LDAPAttributeType, at_desc)},
    {"SUP", Text, offsetof(LDAPAttributeType, at_sup_oid)},
    {"EQUALITY", Text, offsetof(LDAPAttributeType, at_equality_oid)},
    {"ORDERING", Text, offsetof(LDAPAttributeType, at_ordering_oid)},
    {"SUBSTR", Text, offsetof(LDAPAttributeType, at_substr_oid)},
    {"SYNTAX", BoundedText, offsetof(LDAPAttributeType, at_syntax_oid)},
    {"OBSOLETE", Flag, offsetof(LDAPAttributeType, at_obsolete)},
    {"SINGLE-VALUE", Flag, offsetof(LDAPAttributeType, at_single_value)},
    {"COLLECTIVE", Flag, offsetof(LDAPAttributeType, at_collective)},
    {"NO-USER-MODIFICATION", Flag, offsetof(LDAPAttributeType, at_no_user_mod)},
    {usages[0], UsageKeyword, offsetof(LDAPAttributeType, at_usage), Listed | Read, 0},
    {usages[1], UsageKeyword, offsetof(LDAPAttributeType, at_usage), Listed | Read, 1},
    {usages[2], UsageKeyword, offsetof(LDAPAttributeType, at_usage), Listed | Read, 2},
    {usages[3], UsageKeyword, offsetof(LDAPAttributeType, at_usage), Listed | Read, 3},
    {"USAGE", Usage, offsetof(LDAPAttributeType, at_usage), Changed},
};
static_assert(std::size(attributeType) == mostFields);

constexpr Field objectClass[] = {
    {"OID", Text, offsetof(LDAPObjectClass, oc_oid)},
    {"NAME", QuotedList, offsetof(LDAPObjectClass, oc_names)},
    {"DESC", Text, offsetof(LDAPObjectClass, oc_desc)},
    {"SUP", List, offsetof(LDAPObjectClass, oc_sup_oids)},
    {"MUST", List, offsetof(LDAPObjectClass, oc_at_oids_must)},
    {"MAY", List, offsetof(LDAPObjectClass, oc_at_oids_may)},
    {"OBSOLETE", FlagOne, offsetof(LDAPObjectClass, oc_obsolete)},
    {"ABSTRACT", ClassKind, offsetof(LDAPObjectClass, oc_kind), Always, LDAP_SCHEMA_ABSTRACT},
    {"STRUCTURAL", ClassKind, offsetof(LDAPObjectClass, oc_kind), Always, LDAP_SCHEMA_STRUCTURAL},
    {"AUXILIARY", ClassKind, offsetof(LDAPObjectClass, oc_kind), Always, LDAP_SCHEMA_AUXILIARY},
};

constexpr Field syntax[] = {
    {"OID", Text, offsetof(LDAPSyntax, syn_oid)},
    {"NAME", QuotedList, offsetof(LDAPSyntax, syn_names)},
    {"DESC", Text, offsetof(LDAPSyntax, syn_desc)},
};

constexpr Field matchingRule[] = {
    {"OID", Text, offsetof(LDAPMatchingRule, mr_oid)},
    {"NAME", QuotedList, offsetof(LDAPMatchingRule, mr_names)},
    {"DESC", Text, offsetof(LDAPMatchingRule, mr_desc)},
    {"SYNTAX", Text, offsetof(LDAPMatchingRule, mr_syntax_oid)},
    {"OBSOLETE", Flag, offsetof(LDAPMatchingRule, mr_obsolete)},
};

constexpr Field matchingRuleUse[] = {
    {"OID", Text, offsetof(LDAPMatchingRuleUse, mru_oid)},
    {"DESC", Text, offsetof(LDAPMatchingRuleUse, mru_desc)},
    {"NAME", QuotedList, offsetof(LDAPMatchingRuleUse, mru_names)},
    {"APPLIES", List, offsetof(LDAPMatchingRuleUse, mru_applies_oids)},
    {"OBSOLETE", Flag, offsetof(LDAPMatchingRuleUse, mru_obsolete)},
};

constexpr Field nameForm[] = {
    {"OID", Text, offsetof(LDAPNameForm, nf_oid)},
    {"DESC", Text, offsetof(LDAPNameForm, nf_desc)},
    {"NAME", QuotedList, offsetof(LDAPNameForm, nf_names)},
    {"OBSOLETE", Flag, offsetof(LDAPNameForm, nf_obsolete)},
    {"OC", Text, offsetof(LDAPNameForm, nf_objectclass), Always, 0, true},
    {"MAY", List, offsetof(LDAPNameForm, nf_at_oids_may)},
    {"MUST", List, offsetof(LDAPNameForm, nf_at_oids_must), Always, 0, true},
};

constexpr Field contentRule[] = {
    {"OID", Text, offsetof(LDAPContentRule, cr_oid)},
    {"DESC", Text, offsetof(LDAPContentRule, cr_desc)},
    {"NAME", QuotedList, offsetof(LDAPContentRule, cr_names)},
    {"OBSOLETE", Flag, offsetof(LDAPContentRule, cr_obsolete)},
    {"AUX", List, offsetof(LDAPContentRule, cr_oc_oids_aux)},
    {"MUST", List, offsetof(LDAPContentRule, cr_at_oids_must)},
    {"MAY", List, offsetof(LDAPContentRule, cr_at_oids_may)},
    {"NOT", List, offsetof(LDAPContentRule, cr_at_oids_not)},
};

constexpr Field structureRule[] = {
    {"RULEID", Text, offsetof(LDAPDITStructureRule, sr_ruleid)},
    {"DESC", Text, offsetof(LDAPDITStructureRule, sr_desc)},
    {"NAME", QuotedList, offsetof(LDAPDITStructureRule, sr_names)},
    {"OBSOLETE", Flag, offsetof(LDAPDITStructureRule, sr_obsolete)},
    {"FORM", Text, offsetof(LDAPDITStructureRule, sr_nameform), Listed | Read},
    {"SUP", QuotedList, offsetof(LDAPDITStructureRule, sr_sup_ruleids)},
    // Callers set the name form under the keyword that a name form has for its class.
    {"OC", Text, offsetof(LDAPDITStructureRule, sr_nameform), Changed},
};

#define FUNCTIONS(Record, parse, print, release)                                                   \
    parseAs<Record, parse>, printAs<Record, print>, releaseAs<Record, release>, sizeof(Record)

} // namespace

const KindTraits kinds[kindCount] = {
    {"attributeTypes",
     FUNCTIONS(LDAPAttributeType, ldap_str2attributetype, ldap_attributetype2str,
               ldap_attributetype_free),
     offsetof(LDAPAttributeType, at_extensions), true, attributeType},
    {"objectClasses",
     FUNCTIONS(LDAPObjectClass, ldap_str2objectclass, ldap_objectclass2str, ldap_objectclass_free),
     offsetof(LDAPObjectClass, oc_extensions), true, objectClass},
    {"ldapSyntaxes", FUNCTIONS(LDAPSyntax, ldap_str2syntax, ldap_syntax2str, ldap_syntax_free),
     offsetof(LDAPSyntax, syn_extensions), true, syntax},
    {"matchingRules",
     FUNCTIONS(LDAPMatchingRule, ldap_str2matchingrule, ldap_matchingrule2str,
               ldap_matchingrule_free),
     offsetof(LDAPMatchingRule, mr_extensions), true, matchingRule},
    {"matchingRuleUse",
     FUNCTIONS(LDAPMatchingRuleUse, ldap_str2matchingruleuse, ldap_matchingruleuse2str,
               ldap_matchingruleuse_free),
     offsetof(LDAPMatchingRuleUse, mru_extensions), true, matchingRuleUse},
    // Extensions of name forms and content rules are listed and changed, but never given: callers
    // have never had them, and take their absence for granted.
    {"nameForms", FUNCTIONS(LDAPNameForm, ldap_str2nameform, ldap_nameform2str, ldap_nameform_free),
     offsetof(LDAPNameForm, nf_extensions), false, nameForm},
    {"dITContentRules",
     FUNCTIONS(LDAPContentRule, ldap_str2ditcontentrule, ldap_ditcontentrule2str,
               ldap_ditcontentrule_free),
     offsetof(LDAPContentRule, cr_extensions), false, contentRule},
    {"dITStructureRules",
     FUNCTIONS(LDAPDITStructureRule, ldap_str2ditstructurerule, ldap_ditstructurerule2str,
               ldap_ditstructurerule_free),
     offsetof(LDAPDITStructureRule, sr_extensions), true, structureRule},
};

#undef FUNCTIONS

const Field *findField(unsigned kind, const char *keyword, Use use) {
    for (const Field &field : kinds[kind].fields)
        if ((field.uses & use) != 0 && strcasecmp(field.keyword, keyword) == 0)
            return &field;
    return nullptr;
}

} // namespace qldapx::schema
