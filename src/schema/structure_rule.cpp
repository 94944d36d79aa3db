// structure_rule.cpp - DIT structure rules (RFC 4512, 4.1.7.1) read, written and released.
//
//   DITStructureRuleDescription = LPAREN WSP
//       ruleid                     ; rule identifier
//       [ SP "NAME" SP qdescrs ]   ; short names (descriptors)
//       [ SP "DESC" SP qdstring ]  ; description
//       [ SP "OBSOLETE" ]          ; not active
//       SP "FORM" SP oid           ; NameForm
//       [ SP "SUP" ruleids ]       ; superior rules
//       extensions WSP RPAREN      ; extensions
#include "qldapx/schema_description.h"
#include "schema/description_reader.h"
#include "schema/description_writer.h"

#include <strings.h>

namespace qldapx::schema {
namespace {

using RulePtr = std::unique_ptr<LDAPDITStructureRule, Releaser<ldap_ditstructurerule_free>>;

// Words that begin a field where the rule id should be. SYNTAX is no field of a structure rule;
// the list is the one of all kinds.
bool beginsField(const char *word) {
    for (const char *keyword : {"NAME", "DESC", "OBSOLETE", "SYNTAX"})
        if (strcasecmp(word, keyword) == 0)
            return true;
    return strncasecmp(word, "X-", 2) == 0;
}

// The id may be missing, or a word, which says nothing to a client and is dropped.
int readMissingId(DescriptionReader &reader) {
    const char *start = reader.position();
    Token token;
    const int code = reader.take(token);
    if (code != 0)
        return code;
    if (token.type != TokenType::Word || beginsField(token.text.get()))
        reader.goBack(start);
    return 0;
}

int readId(DescriptionReader &reader, unsigned flags, LDAPDITStructureRule &rule) {
    reader.skipBlanks();
    const char *start = reader.position();
    const int code = reader.takeOid((flags & LDAP_SCHEMA_ALLOW_QUOTED) != 0, rule.sr_ruleid);
    const bool isMissing = code == LDAP_SCHERR_NODIGIT && reader.position() == start;
    if (isMissing && (flags & LDAP_SCHEMA_ALLOW_NO_OID) != 0)
        return readMissingId(reader);
    return code;
}

int readNames(DescriptionReader &reader, unsigned, LDAPDITStructureRule &rule) {
    StringListBuilder names;
    const int code = reader.takeQuotedList(names);
    if (code != 0)
        return code == LDAP_SCHERR_OUTOFMEM ? code : LDAP_SCHERR_BADNAME;
    rule.sr_names = names.release();
    return 0;
}

int readDescription(DescriptionReader &reader, unsigned, LDAPDITStructureRule &rule) {
    Token token;
    const int code = reader.take(token);
    if (code != 0)
        return code;
    if (token.type != TokenType::Quoted)
        return LDAP_SCHERR_UNEXPTOKEN;
    rule.sr_desc = token.text.release();
    return 0;
}

int readObsolete(DescriptionReader &, unsigned, LDAPDITStructureRule &rule) {
    rule.sr_obsolete = LDAP_SCHEMA_YES;
    return 0;
}

// A list of which the first one counts.
int readForm(DescriptionReader &reader, unsigned flags, LDAPDITStructureRule &rule) {
    StringListBuilder forms;
    const int code = reader.takeOids((flags & LDAP_SCHEMA_ALLOW_QUOTED) != 0, forms);
    if (code != 0)
        return code;
    rule.sr_nameform = forms.takeFirst().release();
    return 0;
}

int readSuperiors(DescriptionReader &reader, unsigned flags, LDAPDITStructureRule &rule) {
    StringListBuilder superiors;
    const int code = reader.takeOids((flags & LDAP_SCHEMA_ALLOW_QUOTED) != 0, superiors);
    if (code == 0)
        rule.sr_sup_ruleids = superiors.release();
    return code;
}

struct RuleField {
    const char *keyword;
    int (*read)(DescriptionReader &reader, unsigned flags, LDAPDITStructureRule &rule);
};

constexpr RuleField ruleFields[] = {
    {"NAME", readNames}, {"DESC", readDescription}, {"OBSOLETE", readObsolete},
    {"FORM", readForm},  {"SUP", readSuperiors},
};

class RuleReader {
  public:
    RuleReader(DescriptionReader &reader, unsigned flags, LDAPDITStructureRule &rule)
        : reader_(reader), flags_(flags), rule_(rule) {}

    int read() {
        Token token;
        int code = reader_.take(token);
        if (code != 0 || token.type != TokenType::Left)
            return code == LDAP_SCHERR_OUTOFMEM ? code : LDAP_SCHERR_NOLEFTPAREN;
        code = readId(reader_, flags_, rule_);
        while (code == 0) {
            code = reader_.take(token);
            if (code == 0 && token.type == TokenType::Right) {
                rule_.sr_extensions = extensions_.release();
                return 0;
            }
            if (code == 0)
                code = readField(token);
        }
        return code;
    }

  private:
    int readField(Token &token) {
        if (token.type == TokenType::End)
            return LDAP_SCHERR_NORIGHTPAREN;
        if (token.type != TokenType::Word)
            return LDAP_SCHERR_UNEXPTOKEN;
        for (unsigned i = 0; i < std::size(ruleFields); ++i)
            if (strcasecmp(token.text.get(), ruleFields[i].keyword) == 0) {
                const unsigned bit = 1U << i;
                if ((seen_ & bit) != 0)
                    return LDAP_SCHERR_DUPOPT;
                seen_ |= bit;
                return ruleFields[i].read(reader_, flags_, rule_);
            }
        if (std::strncmp(token.text.get(), "X-", 2) != 0)
            return LDAP_SCHERR_UNEXPTOKEN;
        return readExtension(std::move(token.text));
    }

    int readExtension(StringPtr name) {
        StringListBuilder values;
        const int code = reader_.takeQuotedList(values);
        if (code != 0)
            return code;
        ItemPtr item(static_cast<LDAPSchemaExtensionItem *>(
            ber_memcalloc(1, sizeof(LDAPSchemaExtensionItem))));
        if (item == nullptr)
            return LDAP_SCHERR_OUTOFMEM;
        *item = {name.release(), values.release()};
        return extensions_.add(std::move(item));
    }

    DescriptionReader &reader_;
    unsigned flags_;
    LDAPDITStructureRule &rule_;
    unsigned seen_ = 0; // a bit a field
    ItemListBuilder extensions_;
};

void write(DescriptionWriter &writer, const LDAPDITStructureRule &rule) {
    writer.put("(");
    if (rule.sr_ruleid != nullptr)
        writer.put(rule.sr_ruleid);
    writer.putQuotedList("NAME", rule.sr_names);
    writer.putQuoted("DESC", rule.sr_desc);
    if (rule.sr_obsolete != 0)
        writer.put("OBSOLETE");
    if (rule.sr_nameform != nullptr) {
        writer.put("FORM");
        writer.put(rule.sr_nameform);
    }
    // Written like names: the other side is used to quotes here. No superior rule is no SUP.
    if (rule.sr_sup_ruleids != nullptr && *rule.sr_sup_ruleids != nullptr)
        writer.putQuotedList("SUP", rule.sr_sup_ruleids);
    LDAPSchemaExtensionItem **item = rule.sr_extensions;
    for (; item != nullptr && *item != nullptr; ++item)
        writer.putQuotedList((*item)->lsei_name, (*item)->lsei_values);
    writer.put(")");
}

void releaseExtensions(LDAPSchemaExtensionItem **items) {
    for (LDAPSchemaExtensionItem **item = items; item != nullptr && *item != nullptr; ++item)
        releaseItem(*item);
    ber_memfree(items);
}

} // namespace
} // namespace qldapx::schema

using namespace qldapx::schema;

QLDAPX_API LDAPDITStructureRule *ldap_str2ditstructurerule(const char *text, int *code,
                                                           const char **errorAt, unsigned flags) {
    if (text == nullptr) {
        *code = LDAP_SCHERR_EMPTY;
        *errorAt = "";
        return nullptr;
    }
    *errorAt = text;
    RulePtr rule(
        static_cast<LDAPDITStructureRule *>(ber_memcalloc(1, sizeof(LDAPDITStructureRule))));
    if (rule == nullptr) {
        *code = LDAP_SCHERR_OUTOFMEM;
        return nullptr;
    }
    DescriptionReader reader(text);
    *code = RuleReader(reader, flags, *rule).read();
    if (*code == 0)
        return rule.release();
    *errorAt = reader.position();
    return nullptr;
}

QLDAPX_API char *ldap_ditstructurerule2str(LDAPDITStructureRule *rule) {
    if (rule == nullptr)
        return nullptr;
    DescriptionWriter measuring(nullptr);
    write(measuring, *rule);
    auto *text = static_cast<char *>(ber_memalloc(measuring.length() + 1));
    if (text == nullptr)
        return nullptr;
    DescriptionWriter writing(text);
    write(writing, *rule);
    text[writing.length()] = '\0';
    return text;
}

QLDAPX_API void ldap_ditstructurerule_free(LDAPDITStructureRule *rule) {
    if (rule == nullptr)
        return;
    ber_memfree(rule->sr_ruleid);
    ber_memvfree(reinterpret_cast<void **>(rule->sr_names));
    ber_memfree(rule->sr_desc);
    ber_memfree(rule->sr_nameform);
    ber_memvfree(reinterpret_cast<void **>(rule->sr_sup_ruleids));
    releaseExtensions(rule->sr_extensions);
    ber_memfree(rule);
}
