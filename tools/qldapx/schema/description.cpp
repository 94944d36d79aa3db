#include "schema/description.h"

#include "text.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <ldap_schema.h>
#include <memory>

namespace qldapx {
namespace {

/** A record of libldap's and the place of its key. */
struct Record {
    std::shared_ptr<void> owner;
    char **key = nullptr;
};

struct Attempt {
    int code = 0; // libldap does not set it when all is well
    const char *stopped = nullptr;
    Record record;
};

using Parse = void (*)(const char *text, unsigned flags, Attempt &attempt);

template <auto parse, auto release, auto key>
void parseAs(const char *text, unsigned flags, Attempt &attempt) {
    auto *record = parse(text, &attempt.code, &attempt.stopped, flags);
    if (record == nullptr)
        return;
    attempt.record.owner = std::shared_ptr<void>(
        record, [](void *memory) { release(static_cast<decltype(record)>(memory)); });
    attempt.record.key = &(record->*key);
}

constexpr std::array<Parse, kindCount> parsers = {
    parseAs<ldap_str2attributetype, ldap_attributetype_free, &LDAPAttributeType::at_oid>,
    parseAs<ldap_str2objectclass, ldap_objectclass_free, &LDAPObjectClass::oc_oid>,
    parseAs<ldap_str2syntax, ldap_syntax_free, &LDAPSyntax::syn_oid>,
    parseAs<ldap_str2matchingrule, ldap_matchingrule_free, &LDAPMatchingRule::mr_oid>,
    parseAs<ldap_str2matchingruleuse, ldap_matchingruleuse_free, &LDAPMatchingRuleUse::mru_oid>,
    parseAs<ldap_str2nameform, ldap_nameform_free, &LDAPNameForm::nf_oid>,
    parseAs<ldap_str2ditcontentrule, ldap_ditcontentrule_free, &LDAPContentRule::cr_oid>,
    parseAs<ldap_str2ditstructurerule, ldap_ditstructurerule_free,
            &LDAPDITStructureRule::sr_ruleid>,
};

std::string faultOf(const std::string &text, const Attempt &attempt) {
    constexpr std::size_t longest = 40;
    std::string fault = attempt.code == 0 ? "it is no description" : ldap_scherr2str(attempt.code);
    const char *end = text.c_str() + text.size();
    if (attempt.stopped == nullptr || attempt.stopped < text.c_str() || attempt.stopped > end)
        return fault;
    const std::string rest = printable(std::string_view(attempt.stopped).substr(0, longest));
    fault += rest.empty() ? ", at its end" : fmt::format(", before \"{}\"", rest);
    return fault;
}

/** Where the first word behind the parenthesis is: the key. */
std::string_view firstWord(std::string_view text) {
    constexpr const char *blanks = " \t\r\n";
    text.remove_prefix(std::min(text.find('(') + 1, text.size()));
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_first_of(" \t\r\n()'"));
}

/** A word in the place of an OID, as stock files have it; empty when there is none. */
std::string_view wordForKey(std::string_view text, Kind kind) {
    const std::string_view word = firstWord(text);
    const bool isOid = word.find_first_not_of("0123456789.") == std::string_view::npos;
    return isOid || keywordOf(kind, word) != nullptr ? std::string_view() : word;
}

/** Whether values of the keyword are OIDs, which stock files put in quotes now and then. */
bool takesOids(Kind kind, std::string_view word) {
    const Keyword *keyword = keywordOf(kind, word);
    return keyword != nullptr && (keyword->form == Form::Oid || keyword->form == Form::Oids ||
                                  keyword->form == Form::RuleIds);
}

/** The description without quotes around OIDs; libldap takes them in some places only. */
std::string withBareOids(Kind kind, const std::string &text) {
    constexpr const char *separators = " \t\n()'";
    std::string result;
    bool bare = false; // behind a keyword of OIDs
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t quote = text[i] == '\'' ? text.find('\'', i + 1) : std::string::npos;
        const std::size_t gap = std::min(text.find_first_of(separators, i), text.size());
        const std::size_t end = quote != std::string::npos ? quote + 1 : std::max(gap, i + 1);
        const std::string word = text.substr(i, end - i);
        i = end;
        const bool isQuoted = quote != std::string::npos;
        const std::string inner = isQuoted ? word.substr(1, word.size() - 2) : word;
        const bool isOne = !inner.empty() && inner.find_first_of(separators) == std::string::npos;
        result += isQuoted && bare && isOne ? inner : word;
        if (!isQuoted && (keywordOf(kind, word) != nullptr || isExtension(word)))
            bare = takesOids(kind, word);
    }
    return result;
}

bool hasNul(const std::string &text) {
    return text.find('\0') != std::string::npos;
}

/** Reads it; with a key, that takes the place of its own. */
ParsedDescription parse(Kind kind, const std::string &text, unsigned flags,
                        const char *key = nullptr) {
    const auto number = static_cast<unsigned>(kind);
    Attempt attempt;
    parsers.at(number)(text.c_str(), flags, attempt);
    // A record that comes together with a code is one that was not read to its end.
    if (attempt.record.owner == nullptr || attempt.code != 0)
        return {{}, faultOf(text, attempt)};
    if (key != nullptr) {
        ber_memfree(*attempt.record.key);
        *attempt.record.key = ber_strdup(key);
    }
    LDAPSchemaElement element = {number, attempt.record.owner.get()};
    return {readElement(element), {}};
}

} // namespace

ParsedDescription parseDescription(Kind kind, const std::string &text, Reading reading) {
    if (hasNul(text))
        return {{}, "it has a NUL byte in it"};
    if (reading == Reading::Strict)
        // Names of forms are words, which libldap's readers of the other kinds take in any case.
        return parse(kind, text,
                     kind == Kind::dit_structure_rule ? LDAP_SCHEMA_ALLOW_DESCR
                                                      : LDAP_SCHEMA_ALLOW_NONE);
    const std::string bare = withBareOids(kind, text);
    const std::string_view word = wordForKey(bare, kind);
    if (word.empty())
        return parse(kind, bare, LDAP_SCHEMA_ALLOW_ALL);
    // libldap takes no word there.
    const std::string key(word);
    std::string numeric = bare;
    numeric.replace(static_cast<std::size_t>(word.data() - bare.data()), word.size(), "0.0");
    return parse(kind, numeric, LDAP_SCHEMA_ALLOW_ALL, key.c_str());
}

} // namespace qldapx
