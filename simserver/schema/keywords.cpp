#include "schema/keywords.h"

#include "text.h"

#include <algorithm>
#include <iterator>

namespace stratasim::schema {

const std::array<KindRow, kKinds> kKindRows = {{
    {Kind::AttributeType, "attributeTypes", "attribute type"},
    {Kind::ObjectClass, "objectClasses", "object class"},
    {Kind::Syntax, "ldapSyntaxes", "syntax"},
    {Kind::MatchingRule, "matchingRules", "matching rule"},
    {Kind::MatchingRuleUse, "matchingRuleUse", "matching rule use"},
    {Kind::NameForm, "nameForms", "name form"},
    {Kind::ContentRule, "dITContentRules", "content rule"},
    {Kind::StructureRule, "dITStructureRules", "structure rule"},
}};

std::optional<Kind> kindOfAttribute(std::string_view name) {
    for (const KindRow &row : kKindRows)
        if (equalIgnoringCase(row.attribute, name))
            return row.kind;
    return std::nullopt;
}

const Keyword *findKeyword(Kind kind, std::string_view word) {
    const auto found =
        std::find_if(std::begin(kKeywords), std::end(kKeywords), [&](const Keyword &keyword) {
            return keyword.belongsTo(kind) && equalIgnoringCase(keyword.word, word);
        });
    return found == std::end(kKeywords) ? nullptr : found;
}

bool isExtension(std::string_view word) {
    return word.size() > 2 && (word[0] == 'X' || word[0] == 'x') && word[1] == '-' &&
           std::all_of(word.begin() + 2, word.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '_';
           });
}

std::optional<Kind> ownerOf(Kind kind) {
    if (kind == Kind::MatchingRuleUse)
        return Kind::MatchingRule;
    if (kind == Kind::ContentRule)
        return Kind::ObjectClass;
    return std::nullopt;
}

} // namespace stratasim::schema
