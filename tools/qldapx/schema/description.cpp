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

/** The first word behind the parenthesis. */
std::string firstWord(std::string_view text) {
    constexpr const char *blanks = " \t\r\n";
    text.remove_prefix(std::min(text.find('(') + 1, text.size()));
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return std::string(text.substr(0, text.find_first_of(" \t\r\n()'")));
}

// libldap reads a word in the place of an OID, as stock files have it, and forgets it.
void restoreKey(const std::string &text, Kind kind, const Record &record) {
    const std::string word = firstWord(text);
    if (*record.key == nullptr && !word.empty() && keywordOf(kind, word) == nullptr)
        *record.key = ber_strdup(word.c_str());
}

bool hasNul(const std::string &text) {
    return text.find('\0') != std::string::npos;
}

} // namespace

ParsedDescription parseDescription(Kind kind, const std::string &text, Reading reading) {
    if (hasNul(text))
        return {{}, "it has a NUL byte in it"};
    const auto number = static_cast<unsigned>(kind);
    Attempt attempt;
    parsers.at(number)(text.c_str(), reading == Reading::Strict ? LDAP_SCHEMA_ALLOW_NONE
                                                                : LDAP_SCHEMA_ALLOW_ALL,
                       attempt);
    // A record that comes together with a code is one that was not read to its end.
    if (attempt.record.owner == nullptr || attempt.code != 0)
        return {{}, faultOf(text, attempt)};
    if (reading == Reading::Lenient)
        restoreKey(text, kind, attempt.record);
    LDAPSchemaElement element = {number, attempt.record.owner.get()};
    return {readElement(element), {}};
}

} // namespace qldapx
