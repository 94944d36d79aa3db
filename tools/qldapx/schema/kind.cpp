#include "schema/kind.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>
#include <strings.h>

namespace qldapx {
namespace {

constexpr std::array<KindNames, kindCount> kindNames = {{
    {"attribute", "attributes", "attributeTypes", "attribute type", "attribute types"},
    {"class", "classes", "objectClasses", "object class", "object classes"},
    {"syntax", "syntaxes", "ldapSyntaxes", "syntax", "syntaxes"},
    {"rule", "rules", "matchingRules", "matching rule", "matching rules"},
    {"rule-use", "rule-uses", "matchingRuleUse", "matching rule use", "matching rule uses"},
    {"name-form", "name-forms", "nameForms", "name form", "name forms"},
    {"content-rule", "content-rules", "dITContentRules", "content rule", "content rules"},
    {"structure-rule", "structure-rules", "dITStructureRules", "structure rule", "structure rules"},
}};

constexpr std::array attributeFields = {
    Keyword{"OID", Form::Key},
    Keyword{"NAME", Form::Names},
    Keyword{"DESC", Form::Quoted},
    Keyword{"OBSOLETE", Form::Flag},
    Keyword{"SUP", Form::Oid, Kind::attribute_type},
    Keyword{"EQUALITY", Form::Oid, Kind::matching_rule},
    Keyword{"ORDERING", Form::Oid, Kind::matching_rule},
    Keyword{"SUBSTR", Form::Oid, Kind::matching_rule},
    Keyword{"SYNTAX", Form::Oid, Kind::syntax},
    Keyword{"SINGLE-VALUE", Form::Flag},
    Keyword{"COLLECTIVE", Form::Flag},
    Keyword{"NO-USER-MODIFICATION", Form::Flag},
    Keyword{"USAGE", Form::Usage},
};
constexpr std::array classFields = {
    Keyword{"OID", Form::Key},
    Keyword{"NAME", Form::Names},
    Keyword{"DESC", Form::Quoted},
    Keyword{"OBSOLETE", Form::Flag},
    Keyword{"SUP", Form::Oids, Kind::object_class},
    Keyword{"ABSTRACT", Form::Flag},
    Keyword{"STRUCTURAL", Form::Flag},
    Keyword{"AUXILIARY", Form::Flag},
    Keyword{"MUST", Form::Oids, Kind::attribute_type},
    Keyword{"MAY", Form::Oids, Kind::attribute_type},
};
constexpr std::array syntaxFields = {
    Keyword{"OID", Form::Key},
    Keyword{"DESC", Form::Quoted},
};
constexpr std::array ruleFields = {
    Keyword{"OID", Form::Key},
    Keyword{"NAME", Form::Names},
    Keyword{"DESC", Form::Quoted},
    Keyword{"OBSOLETE", Form::Flag},
    Keyword{"SYNTAX", Form::Oid, Kind::syntax},
};
// A use has the OID of its rule, a content rule that of its class.
constexpr std::array ruleUseFields = {
    Keyword{"OID", Form::Key, Kind::matching_rule},
    Keyword{"NAME", Form::Names},
    Keyword{"DESC", Form::Quoted},
    Keyword{"OBSOLETE", Form::Flag},
    Keyword{"APPLIES", Form::Oids, Kind::attribute_type},
};
constexpr std::array nameFormFields = {
    Keyword{"OID", Form::Key},
    Keyword{"NAME", Form::Names},
    Keyword{"DESC", Form::Quoted},
    Keyword{"OBSOLETE", Form::Flag},
    Keyword{"OC", Form::Oid, Kind::object_class},
    Keyword{"MUST", Form::Oids, Kind::attribute_type},
    Keyword{"MAY", Form::Oids, Kind::attribute_type},
};
constexpr std::array contentRuleFields = {
    Keyword{"OID", Form::Key, Kind::object_class},
    Keyword{"NAME", Form::Names},
    Keyword{"DESC", Form::Quoted},
    Keyword{"OBSOLETE", Form::Flag},
    Keyword{"AUX", Form::Oids, Kind::object_class},
    Keyword{"MUST", Form::Oids, Kind::attribute_type},
    Keyword{"MAY", Form::Oids, Kind::attribute_type},
    Keyword{"NOT", Form::Oids, Kind::attribute_type},
};
constexpr std::array structureRuleFields = {
    Keyword{"RULEID", Form::Key},
    Keyword{"NAME", Form::Names},
    Keyword{"DESC", Form::Quoted},
    Keyword{"OBSOLETE", Form::Flag},
    Keyword{"FORM", Form::Oid, Kind::name_form},
    Keyword{"SUP", Form::RuleIds, Kind::dit_structure_rule},
};

const std::array<std::span<const Keyword>, kindCount> fieldsOfKinds = {
    attributeFields, classFields,    syntaxFields,      ruleFields,
    ruleUseFields,   nameFormFields, contentRuleFields, structureRuleFields,
};

std::string allWords() {
    std::string words;
    for (const KindNames &names : kindNames)
        words += (words.empty() ? "" : ", ") + std::string(names.word);
    return words;
}

} // namespace

const KindNames &namesOf(Kind kind) {
    return kindNames.at(static_cast<std::size_t>(kind));
}

std::optional<Kind> kindNamed(std::string_view name) {
    for (const Kind kind : allKinds) {
        const KindNames &names = namesOf(kind);
        for (const char *each : {names.word, names.plural, names.attribute})
            if (sameText(each, name))
                return kind;
    }
    return std::nullopt;
}

Kind requireKind(const std::string &name) {
    const std::optional<Kind> kind = kindNamed(name);
    if (!kind)
        throw UsageError(fmt::format("\"{}\" is no kind of schema element", printable(name)),
                         fmt::format("one of {}", allWords()));
    return *kind;
}

std::span<const Keyword> keywordsOf(Kind kind) {
    return fieldsOfKinds.at(static_cast<std::size_t>(kind));
}

const Keyword *keywordOf(Kind kind, std::string_view name) {
    const auto all = keywordsOf(kind);
    const auto found = std::find_if(all.begin(), all.end(), [&](const Keyword &keyword) {
        return sameText(keyword.name, name);
    });
    return found == all.end() ? nullptr : &*found;
}

bool isExtension(std::string_view keyword) {
    return keyword.size() > 2 && sameText(keyword.substr(0, 2), "X-");
}

std::string lowerCase(std::string_view text) {
    std::string result(text);
    for (char &c : result)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return result;
}

bool sameText(std::string_view left, std::string_view right) {
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

} // namespace qldapx
