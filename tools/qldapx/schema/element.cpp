#include "schema/element.h"

#include "text.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <new>
#include <qldapx.hpp>

namespace qldapx {
namespace {

std::vector<std::string> textsOf(text_list_ref list) {
    return {list.begin(), list.end()};
}

constexpr std::array usages = {"userApplications", "directoryOperation", "distributedOperation",
                               "dSAOperation"};

bool isUsage(std::string_view keyword) {
    return std::any_of(usages.begin(), usages.end(),
                       [&](const char *usage) { return sameText(usage, keyword); });
}

// The library lists the extensions of these kinds without giving their values.
LDAPSchemaExtensionItem **extensionsOf(const LDAPSchemaElement &element) {
    if (element.kind == LDAP_SCHEMA_NAME_FORM)
        return static_cast<LDAPNameForm *>(element.record)->nf_extensions;
    if (element.kind == LDAP_SCHEMA_DIT_CONTENT_RULE)
        return static_cast<LDAPContentRule *>(element.record)->cr_extensions;
    return nullptr;
}

std::vector<std::string> extensionValues(const LDAPSchemaElement &element,
                                         const std::string &name) {
    std::vector<std::string> values;
    for (auto **item = extensionsOf(element); item != nullptr && *item != nullptr; ++item)
        if (sameText((*item)->lsei_name, name))
            for (char **each = (*item)->lsei_values; each != nullptr && *each != nullptr; ++each)
                values.emplace_back(*each);
    return values;
}

std::vector<std::string> libraryValues(LDAPSchemaElement &element, const std::string &keyword) {
    const auto values = schema::element(borrow, &element).field_values(keyword);
    if (!values && values.error().code() == LDAP_NO_MEMORY)
        throw std::bad_alloc();
    return values ? textsOf(*values) : extensionValues(element, keyword);
}

/** A syntax and its bound, which the library gives apart. */
std::vector<std::string> withBound(const std::vector<std::string> &values) {
    if (values.size() < 2 || values[1] == "0")
        return {values.empty() ? std::string() : values[0]};
    return {fmt::format("{}{{{}}}", values[0], values[1])};
}

Field readField(LDAPSchemaElement &element, const std::string &name) {
    const Kind kind{element.kind};
    if (kind == Kind::attribute_type && isUsage(name))
        return {"USAGE", {name}};
    const Keyword *keyword = keywordOf(kind, name);
    if (keyword != nullptr && keyword->form == Form::Flag)
        return {keyword->name, {}};
    Field field = {keyword == nullptr ? name : keyword->name, libraryValues(element, name)};
    if (kind == Kind::attribute_type && field.keyword == "SYNTAX")
        field.values = withBound(field.values);
    if (keyword == nullptr || keyword->form == Form::Quoted)
        for (std::string &value : field.values)
            value = unescapedText(value);
    return field;
}

std::string printed(LDAPSchemaElement &element) {
    const auto description = schema::element(borrow, &element).description();
    return description ? std::string(description->value) : std::string();
}

std::size_t rank(Kind kind, const std::string &keyword) {
    const auto all = keywordsOf(kind);
    const Keyword *found = keywordOf(kind, keyword);
    return found == nullptr ? all.size() : static_cast<std::size_t>(found - all.data());
}

std::string joined(const std::vector<std::string> &values, const char *separator) {
    return fmt::format("{}", fmt::join(values, separator));
}

/** A list in parentheses unless it is one value. */
std::string listText(const std::vector<std::string> &values, const char *separator) {
    return values.size() == 1 ? values.front() : "( " + joined(values, separator) + " )";
}

std::string quotedList(const std::vector<std::string> &values) {
    std::vector<std::string> quoted;
    quoted.reserve(values.size());
    for (const std::string &value : values)
        quoted.push_back("'" + escapedText(value) + "'");
    return listText(quoted, " ");
}

std::string fieldText(const Field &field, Form form) {
    if (form == Form::Flag)
        return field.keyword;
    const std::string start = field.keyword + " ";
    switch (form) {
    case Form::Names:
    case Form::Quoted:
        return start + quotedList(field.values);
    case Form::RuleIds:
        return start + listText(field.values, " ");
    default:
        return start + listText(field.values, " $ ");
    }
}

} // namespace

const Field *Element::field(std::string_view keyword) const {
    const auto found = std::find_if(fields.begin(), fields.end(), [&](const Field &each) {
        return sameText(each.keyword, keyword);
    });
    return found == fields.end() ? nullptr : &*found;
}

const std::vector<std::string> &Element::values(std::string_view keyword) const {
    static const std::vector<std::string> none;
    const Field *found = field(keyword);
    return found == nullptr ? none : found->values;
}

std::string Element::value(std::string_view keyword) const {
    const auto &all = values(keyword);
    return all.empty() ? std::string() : all.front();
}

std::string Element::title() const {
    return names().empty() ? key : names().front();
}

std::string Element::label() const {
    const std::string start = std::string(namesOf(kind).title) + " ";
    if (names().empty())
        return start + printable(key);
    return key.empty() ? start + printable(title())
                       : fmt::format("{}{} ({})", start, printable(title()), printable(key));
}

Element readElement(LDAPSchemaElement &element) {
    Element result;
    result.kind = Kind{element.kind};
    const auto names = schema::element(borrow, &element).field_names();
    if (!names)
        throw std::bad_alloc();
    for (const std::string &name : textsOf(*names))
        if (!result.has(name))
            result.fields.push_back(readField(element, name));
    result.key = result.value(keywordsOf(result.kind).front().name);
    sortFields(result);
    // The library writes the superior rules' ids in quotes, which RFC 4512 does not have.
    const bool isQuoted = result.kind == Kind::dit_structure_rule && result.has("SUP");
    result.description = isQuoted ? writeDescription(result) : printed(element);
    return result;
}

void sortFields(Element &element) {
    std::stable_sort(
        element.fields.begin(), element.fields.end(), [&](const Field &left, const Field &right) {
            return rank(element.kind, left.keyword) < rank(element.kind, right.keyword);
        });
}

std::string writeDescription(const Element &element) {
    std::string text = "( " + element.key;
    for (const Field &field : element.fields) {
        const Keyword *keyword = keywordOf(element.kind, field.keyword);
        const Form form = keyword == nullptr ? Form::Quoted : keyword->form;
        const bool isDefault = form == Form::Usage && field.values.front() == usages.front();
        if (form != Form::Key && !isDefault)
            text += " " + fieldText(field, form);
    }
    return text + " )";
}

std::string escapedText(std::string_view text) {
    std::string result;
    for (const char c : text)
        result += c == '\'' ? "\\27" : c == '\\' ? "\\5c" : std::string(1, c);
    return result;
}

std::string unescapedText(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::string_view start = text.substr(0, 3);
        const bool isQuote = start == "\\27", isBackslash = sameText(start, "\\5c");
        result += isQuote ? '\'' : isBackslash ? '\\' : text.front();
        text.remove_prefix(isQuote || isBackslash ? 3 : 1);
    }
    return result;
}

std::string_view withoutBound(std::string_view syntax) {
    return syntax.substr(0, syntax.find('{'));
}

} // namespace qldapx
