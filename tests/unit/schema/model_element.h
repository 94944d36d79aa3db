// model_element.h - schema elements as plain lists of fields, and their descriptions as libldap
// writes them, made without libldap.
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace qldapx_test::model {

constexpr unsigned kindCount = 8;

enum class Shape {
    Key,        // 1.2.3
    Quoted,     // DESC 'a text'
    QuotedList, // NAME 'a', NAME ( 'a' 'b' )
    Flag,       // OBSOLETE
    Word,       // SUP a
    Syntax,     // SYNTAX 1.2{64}: the OID, and the bound, which an edit leaves alone
    WordList,   // SUP a, SUP ( a $ b )
    OneOfWords, // the value is the keyword: STRUCTURAL
    Usage,      // USAGE dSAOperation, unless it is userApplications
};

struct FieldRow {
    const char *keyword;
    Shape shape;
    bool isRequired = false;
};

// In the order of a description.
std::span<const FieldRow> rowsOf(unsigned kind);
const char *attributeOf(unsigned kind);
const char *keyKeyword(unsigned kind);

using Values = std::vector<std::string>;

struct Element {
    std::map<std::string, Values> fields; // by keyword; a flag has the value ""
    std::vector<std::pair<std::string, Values>> extensions;

    [[nodiscard]] bool has(const std::string &keyword) const { return fields.contains(keyword); }
};

std::string keyOf(unsigned kind, const Element &element); // empty: none
std::string describe(unsigned kind, const Element &element);

bool equalNames(const std::string &a, const std::string &b);
std::string upperCase(const std::string &text);

} // namespace qldapx_test::model
