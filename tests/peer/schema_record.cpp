#include "schema_record.h"

#include <ldap.h>
#include <ldap_schema.h>
#include <memory>

namespace test {
namespace {

constexpr unsigned lenient = LDAP_SCHEMA_ALLOW_NO_OID | LDAP_SCHEMA_ALLOW_QUOTED |
                             LDAP_SCHEMA_ALLOW_DESCR | LDAP_SCHEMA_ALLOW_DESCR_PREFIX;

// What a record has, put down field by field; what is not there leaves no field.
class Collector {
  public:
    Collector &text(const char *keyword, const char *value) {
        if (value != nullptr)
            fields_[keyword] = {value};
        return *this;
    }
    Collector &list(const std::string &keyword, char **values) {
        for (; values != nullptr && *values != nullptr; ++values)
            fields_[keyword].emplace_back(*values);
        return *this;
    }
    Collector &flag(const char *keyword, bool isSet) { return isSet ? text(keyword, "") : *this; }
    Collector &extensions(LDAPSchemaExtensionItem **items) {
        for (; items != nullptr && *items != nullptr; ++items)
            list((*items)->lsei_name, (*items)->lsei_values);
        return *this;
    }
    Collector &syntax(const char *oid, int bound) {
        if (oid != nullptr)
            fields_["SYNTAX"] = {oid, std::to_string(bound)};
        return *this;
    }
    [[nodiscard]] Fields fields() const { return fields_; }

  private:
    Fields fields_;
};

Fields fieldsOf(const LDAPAttributeType &type) {
    static const char *const usages[] = {"userApplications", "directoryOperation",
                                         "distributedOperation", "dSAOperation"};
    return Collector()
        .text("OID", type.at_oid)
        .list("NAME", type.at_names)
        .text("DESC", type.at_desc)
        .flag("OBSOLETE", type.at_obsolete != 0)
        .text("SUP", type.at_sup_oid)
        .text("EQUALITY", type.at_equality_oid)
        .text("ORDERING", type.at_ordering_oid)
        .text("SUBSTR", type.at_substr_oid)
        .syntax(type.at_syntax_oid, type.at_syntax_len)
        .flag("SINGLE-VALUE", type.at_single_value != 0)
        .flag("COLLECTIVE", type.at_collective != 0)
        .flag("NO-USER-MODIFICATION", type.at_no_user_mod != 0)
        .flag(usages[type.at_usage], true)
        .extensions(type.at_extensions)
        .fields();
}

Fields fieldsOf(const LDAPObjectClass &entryClass) {
    static const char *const classKinds[] = {"ABSTRACT", "STRUCTURAL", "AUXILIARY"};
    return Collector()
        .text("OID", entryClass.oc_oid)
        .list("NAME", entryClass.oc_names)
        .text("DESC", entryClass.oc_desc)
        .flag("OBSOLETE", entryClass.oc_obsolete != 0)
        .list("SUP", entryClass.oc_sup_oids)
        .flag(classKinds[entryClass.oc_kind], true)
        .list("MUST", entryClass.oc_at_oids_must)
        .list("MAY", entryClass.oc_at_oids_may)
        .extensions(entryClass.oc_extensions)
        .fields();
}

Fields fieldsOf(const LDAPSyntax &syntax) {
    return Collector()
        .text("OID", syntax.syn_oid)
        .list("NAME", syntax.syn_names)
        .text("DESC", syntax.syn_desc)
        .extensions(syntax.syn_extensions)
        .fields();
}

Fields fieldsOf(const LDAPMatchingRule &rule) {
    return Collector()
        .text("OID", rule.mr_oid)
        .list("NAME", rule.mr_names)
        .text("DESC", rule.mr_desc)
        .flag("OBSOLETE", rule.mr_obsolete != 0)
        .text("SYNTAX", rule.mr_syntax_oid)
        .extensions(rule.mr_extensions)
        .fields();
}

Fields fieldsOf(const LDAPMatchingRuleUse &use) {
    return Collector()
        .text("OID", use.mru_oid)
        .list("NAME", use.mru_names)
        .text("DESC", use.mru_desc)
        .flag("OBSOLETE", use.mru_obsolete != 0)
        .list("APPLIES", use.mru_applies_oids)
        .extensions(use.mru_extensions)
        .fields();
}

// The interface does not give the extensions of name forms and content rules; no server of these
// tests has some.
Fields fieldsOf(const LDAPNameForm &form) {
    return Collector()
        .text("OID", form.nf_oid)
        .list("NAME", form.nf_names)
        .text("DESC", form.nf_desc)
        .flag("OBSOLETE", form.nf_obsolete != 0)
        .text("OC", form.nf_objectclass)
        .list("MUST", form.nf_at_oids_must)
        .list("MAY", form.nf_at_oids_may)
        .fields();
}

Fields fieldsOf(const LDAPContentRule &rule) {
    return Collector()
        .text("OID", rule.cr_oid)
        .list("NAME", rule.cr_names)
        .text("DESC", rule.cr_desc)
        .flag("OBSOLETE", rule.cr_obsolete != 0)
        .list("AUX", rule.cr_oc_oids_aux)
        .list("MUST", rule.cr_at_oids_must)
        .list("MAY", rule.cr_at_oids_may)
        .list("NOT", rule.cr_at_oids_not)
        .fields();
}

Fields fieldsOf(const LDAPStructureRule &rule) {
    Fields fields = Collector()
                        .text("RULEID", std::to_string(rule.sr_ruleid).c_str())
                        .list("NAME", rule.sr_names)
                        .text("DESC", rule.sr_desc)
                        .flag("OBSOLETE", rule.sr_obsolete != 0)
                        .text("FORM", rule.sr_nameform)
                        .extensions(rule.sr_extensions)
                        .fields();
    for (int i = 0; i < rule.sr_nsup_ruleids; ++i)
        fields["SUP"].push_back(std::to_string(rule.sr_sup_ruleids[i]));
    return fields;
}

template <class Record>
struct Functions {
    Record *(*parse)(const char *, int *, const char **, unsigned);
    char *(*print)(Record *);
    void (*release)(Record *);
};

std::string valueOf(const Fields &fields, const char *keyword) {
    auto found = fields.find(keyword);
    return found == fields.end() ? "" : found->second.front();
}

template <class Record>
std::optional<SchemaRecord> read(const std::string &description, const Functions<Record> &by) {
    int code = 0;
    const char *where = nullptr;
    std::unique_ptr<Record, void (*)(Record *)> record(
        by.parse(description.c_str(), &code, &where, lenient), by.release);
    if (record == nullptr || code != 0) // a record may come with an error, too
        return std::nullopt;
    std::unique_ptr<char, void (*)(void *)> printed(by.print(record.get()), ldap_memfree);
    Fields fields = fieldsOf(*record);
    std::vector<std::string> names =
        fields.contains("NAME") ? fields["NAME"] : std::vector<std::string>();
    return SchemaRecord{valueOf(fields, "OID") + valueOf(fields, "RULEID"), std::move(names),
                        printed != nullptr ? printed.get() : "", std::move(fields)};
}

constexpr Functions<LDAPAttributeType> types{ldap_str2attributetype, ldap_attributetype2str,
                                             ldap_attributetype_free};
constexpr Functions<LDAPObjectClass> classes{ldap_str2objectclass, ldap_objectclass2str,
                                             ldap_objectclass_free};
constexpr Functions<LDAPSyntax> syntaxes{ldap_str2syntax, ldap_syntax2str, ldap_syntax_free};
constexpr Functions<LDAPMatchingRule> rules{ldap_str2matchingrule, ldap_matchingrule2str,
                                            ldap_matchingrule_free};
constexpr Functions<LDAPMatchingRuleUse> ruleUses{
    ldap_str2matchingruleuse, ldap_matchingruleuse2str, ldap_matchingruleuse_free};
constexpr Functions<LDAPNameForm> forms{ldap_str2nameform, ldap_nameform2str, ldap_nameform_free};
constexpr Functions<LDAPContentRule> contentRules{ldap_str2contentrule, ldap_contentrule2str,
                                                  ldap_contentrule_free};
constexpr Functions<LDAPStructureRule> structureRules{
    ldap_str2structurerule, ldap_structurerule2str, ldap_structurerule_free};

} // namespace

const char *const schemaAttributes[schemaKinds] = {
    "attributeTypes",  "objectClasses", "ldapSyntaxes",    "matchingRules",
    "matchingRuleUse", "nameForms",     "dITContentRules", "dITStructureRules"};

std::optional<SchemaRecord> readDescription(unsigned kind, const std::string &description) {
    switch (kind) {
    case 0:
        return read(description, types);
    case 1:
        return read(description, classes);
    case 2:
        return read(description, syntaxes);
    case 3:
        return read(description, rules);
    case 4:
        return read(description, ruleUses);
    case 5:
        return read(description, forms);
    case 6:
        return read(description, contentRules);
    default:
        return read(description, structureRules);
    }
}

} // namespace test
