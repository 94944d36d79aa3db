#include "model_element.h"

#include <algorithm>
#include <cctype>
#include <strings.h>

namespace qldapx_test::model {

namespace {

constexpr FieldRow types[] = {{"OID", Shape::Key},         {"NAME", Shape::QuotedList},
                              {"DESC", Shape::Quoted},     {"OBSOLETE", Shape::Flag},
                              {"SUP", Shape::Word},        {"EQUALITY", Shape::Word},
                              {"ORDERING", Shape::Word},   {"SUBSTR", Shape::Word},
                              {"SYNTAX", Shape::Syntax},   {"SINGLE-VALUE", Shape::Flag},
                              {"COLLECTIVE", Shape::Flag}, {"NO-USER-MODIFICATION", Shape::Flag},
                              {"USAGE", Shape::Usage}};
constexpr FieldRow classes[] = {{"OID", Shape::Key},       {"NAME", Shape::QuotedList},
                                {"DESC", Shape::Quoted},   {"OBSOLETE", Shape::Flag},
                                {"SUP", Shape::WordList},  {"kind", Shape::OneOfWords, true},
                                {"MUST", Shape::WordList}, {"MAY", Shape::WordList}};
constexpr FieldRow syntaxes[] = {{"OID", Shape::Key}, {"DESC", Shape::Quoted}};
constexpr FieldRow rules[] = {{"OID", Shape::Key},
                              {"NAME", Shape::QuotedList},
                              {"DESC", Shape::Quoted},
                              {"OBSOLETE", Shape::Flag},
                              {"SYNTAX", Shape::Syntax, true}};
constexpr FieldRow ruleUses[] = {{"OID", Shape::Key},
                                 {"NAME", Shape::QuotedList},
                                 {"DESC", Shape::Quoted},
                                 {"OBSOLETE", Shape::Flag},
                                 {"APPLIES", Shape::WordList, true}};
constexpr FieldRow forms[] = {{"OID", Shape::Key},       {"NAME", Shape::QuotedList},
                              {"DESC", Shape::Quoted},   {"OBSOLETE", Shape::Flag},
                              {"OC", Shape::Word, true}, {"MUST", Shape::WordList, true},
                              {"MAY", Shape::WordList}};
constexpr FieldRow contentRules[] = {{"OID", Shape::Key},      {"NAME", Shape::QuotedList},
                                     {"DESC", Shape::Quoted},  {"OBSOLETE", Shape::Flag},
                                     {"AUX", Shape::WordList}, {"MUST", Shape::WordList},
                                     {"MAY", Shape::WordList}, {"NOT", Shape::WordList}};
constexpr FieldRow structureRules[] = {{"RULEID", Shape::Key},      {"NAME", Shape::QuotedList},
                                       {"DESC", Shape::Quoted},     {"OBSOLETE", Shape::Flag},
                                       {"FORM", Shape::Word, true}, {"SUP", Shape::QuotedList}};

struct Kind {
    const char *attribute;
    std::span<const FieldRow> rows;
};
constexpr Kind kinds[kindCount] = {
    {"attributeTypes", types},         {"objectClasses", classes},
    {"ldapSyntaxes", syntaxes},        {"matchingRules", rules},
    {"matchingRuleUse", ruleUses},     {"nameForms", forms},
    {"dITContentRules", contentRules}, {"dITStructureRules", structureRules}};

std::string quoted(const Values &values) {
    std::string list;
    for (const std::string &value : values)
        list += " '" + value + "'";
    return values.size() == 1 ? list : " (" + list + " )";
}

std::string words(const Values &values) {
    std::string list = values.front();
    for (std::size_t i = 1; i < values.size(); ++i)
        list += " $ " + values[i];
    return values.size() == 1 ? " " + list : " ( " + list + " )";
}

std::string bound(const Values &syntax) {
    return syntax.size() < 2 ? "" : "{" + syntax[1] + "}";
}

std::string printed(const FieldRow &row, const Values &values) {
    const std::string keyword = std::string(" ") + row.keyword;
    switch (row.shape) {
    case Shape::Key:
    case Shape::OneOfWords:
        return " " + values.front();
    case Shape::Flag:
        return keyword;
    case Shape::Quoted:
    case Shape::QuotedList:
        return keyword + quoted(values);
    case Shape::Word:
    case Shape::WordList:
        return keyword + words(values);
    case Shape::Syntax:
        return keyword + " " + values.front() + bound(values);
    case Shape::Usage:
        break;
    }
    return values.front() == "userApplications" ? "" : keyword + " " + values.front();
}

} // namespace

std::span<const FieldRow> rowsOf(unsigned kind) {
    return kinds[kind].rows;
}

const char *attributeOf(unsigned kind) {
    return kinds[kind].attribute;
}

const char *keyKeyword(unsigned kind) {
    return kinds[kind].rows[0].keyword;
}

std::string keyOf(unsigned kind, const Element &element) {
    auto key = element.fields.find(keyKeyword(kind));
    return key == element.fields.end() ? "" : key->second.front();
}

std::string describe(unsigned kind, const Element &element) {
    std::string description = "(";
    for (const FieldRow &row : rowsOf(kind))
        if (auto field = element.fields.find(row.keyword); field != element.fields.end())
            description += printed(row, field->second);
    for (const auto &[name, values] : element.extensions)
        description += " " + name + quoted(values);
    return description + " )";
}

std::string upperCase(const std::string &text) {
    std::string upper = text;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return std::toupper(c); });
    return upper;
}

bool equalNames(const std::string &a, const std::string &b) {
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

} // namespace qldapx_test::model
