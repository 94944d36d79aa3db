#include "schema/draft.h"

#include "errors.h"
#include "schema/description.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>

namespace qldapx {
namespace {

using Change = FieldArgument::Change;

constexpr std::array classKinds = {"ABSTRACT", "STRUCTURAL", "AUXILIARY"};
constexpr std::array usages = {"userApplications", "directoryOperation", "distributedOperation",
                               "dSAOperation"};

template <typename List>
bool contains(const List &list, const std::string &text) {
    return std::any_of(list.begin(), list.end(),
                       [&](const auto &each) { return sameText(each, text); });
}

void erase(Element &element, const std::string &keyword) {
    std::erase_if(element.fields,
                  [&](const Field &field) { return sameText(field.keyword, keyword); });
}

Field &fieldOf(Element &element, const std::string &keyword) {
    const auto found =
        std::find_if(element.fields.begin(), element.fields.end(),
                     [&](const Field &field) { return sameText(field.keyword, keyword); });
    return found == element.fields.end() ? element.fields.emplace_back(Field{keyword, {}}) : *found;
}

bool takesList(Kind kind, const std::string &keyword) {
    const Keyword *known = keywordOf(kind, keyword);
    return known == nullptr || isList(known->form);
}

bool isFlag(Kind kind, const std::string &keyword) {
    const Keyword *known = keywordOf(kind, keyword);
    return known != nullptr && known->form == Form::Flag;
}

/** Whether two values of a field are one: names in other letters, a name and its OID. */
bool sameValue(const Model &model, Kind kind, const std::string &keyword, const std::string &left,
               const std::string &right) {
    const Keyword *known = keywordOf(kind, keyword);
    if (known == nullptr)
        return left == right;
    if (sameText(left, right))
        return true;
    const Element *element = known->refersTo ? model.resolve(*known->refersTo, left) : nullptr;
    return element != nullptr && element == model.resolve(*known->refersTo, right);
}

/** Changes of one element's fields, in turn. */
class Editor {
  public:
    Editor(const Model &model, Element &element) : model_(model), element_(element) {}

    void apply(const FieldArgument &argument) {
        switch (argument.change) {
        case Change::Set:
            return set(argument);
        case Change::Insert:
            return insert(argument);
        case Change::TakeOut:
            return takeOut(argument);
        case Change::Clear:
            return clear(argument);
        }
    }

  private:
    void set(const FieldArgument &argument) {
        const std::string &keyword = argument.keyword;
        if (contains(classKinds, keyword))
            for (const char *kind : classKinds)
                erase(element_, kind);
        if (!contains(assigned_, keyword))
            erase(element_, keyword);
        else if (!isFlag(element_.kind, keyword) && !takesList(element_.kind, keyword))
            throw UsageError(fmt::format("{} is given twice, but takes one value", keyword));
        assigned_.push_back(keyword);
        Field &field = fieldOf(element_, keyword);
        if (argument.hasValue)
            field.values.push_back(argument.value);
    }

    void insert(const FieldArgument &argument) {
        requireList(argument);
        Field &field = fieldOf(element_, argument.keyword);
        if (find(field, argument.value) == field.values.end())
            field.values.push_back(argument.value);
    }

    void takeOut(const FieldArgument &argument) {
        requireList(argument);
        Field &field = fieldOf(element_, argument.keyword);
        const auto value = find(field, argument.value);
        if (value == field.values.end())
            throw UsageError(fmt::format("{} is not in {} of {}", printable(argument.value),
                                         printable(argument.keyword), element_.label()),
                             "qldapx schema show NAME says what is");
        field.values.erase(value);
        if (field.values.empty())
            erase(element_, argument.keyword);
    }

    void clear(const FieldArgument &argument) {
        if (contains(classKinds, argument.keyword))
            throw UsageError("a class is always of one kind", "ABSTRACT, STRUCTURAL or AUXILIARY");
        if (!element_.has(argument.keyword))
            throw UsageError(
                fmt::format("{} has no {}", element_.label(), printable(argument.keyword)),
                "qldapx schema show NAME says what it has");
        erase(element_, argument.keyword);
    }

    void requireList(const FieldArgument &argument) const {
        if (!takesList(element_.kind, argument.keyword))
            throw UsageError(fmt::format("{} is no list", argument.keyword),
                             fmt::format("{}=VALUE replaces it", argument.keyword));
    }

    std::vector<std::string>::iterator find(Field &field, const std::string &value) const {
        return std::find_if(field.values.begin(), field.values.end(), [&](const auto &each) {
            return sameValue(model_, element_.kind, field.keyword, each, value);
        });
    }

    const Model &model_;
    Element &element_;
    std::vector<std::string> assigned_;
};

bool isNumericOid(std::string_view text) {
    if (text.empty() || text.find_first_not_of("0123456789.") != std::string_view::npos)
        return false;
    const auto arcs = split(text, '.');
    return arcs.size() > 1 && std::all_of(arcs.begin(), arcs.end(), [](const std::string &arc) {
               return arc == "0" || (!arc.empty() && arc.front() != '0');
           });
}

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/** A name as RFC 4512, 1.4 has it. */
bool isName(std::string_view text) {
    return !text.empty() && isLetter(text.front()) &&
           std::all_of(text.begin(), text.end(),
                       [](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '-'; });
}

void requireKey(const Element &element) {
    const bool isRule = element.kind == Kind::dit_structure_rule;
    if (element.key.empty())
        throw UsageError(fmt::format("{} has no {}", element.label(), isRule ? "RULEID" : "OID"),
                         isRule ? "RULEID=NUMBER" : "OID=1.2.3, of an arc of your own");
    if (isRule ? !isNumber(element.key) : !isNumericOid(element.key))
        throw UsageError(
            fmt::format("\"{}\" is no {}", printable(element.key), isRule ? "rule id" : "OID"),
            isRule ? "a number, such as 3" : "numbers with dots between them, such as 1.2.3");
}

void requireNames(const Element &element) {
    for (const std::string &name : element.names())
        if (!isName(name))
            throw UsageError(fmt::format("\"{}\" is no name for a schema element", printable(name)),
                             "a letter, and then letters, digits and hyphens");
}

void requireUsage(const Element &element) {
    const std::string usage = element.value("USAGE");
    if (!usage.empty() && !contains(usages, usage))
        throw UsageError(fmt::format("\"{}\" is no USAGE", printable(usage)),
                         fmt::format("{}", fmt::join(usages, ", ")));
}

} // namespace

Element newElement(Kind kind, const std::vector<std::string> &arguments) {
    Element element;
    element.kind = kind;
    const Model none;
    Editor editor(none, element);
    for (const std::string &text : arguments) {
        const FieldArgument argument = parseFieldArgument(kind, text);
        if (argument.change != Change::Set)
            throw UsageError(
                fmt::format("\"{}\" changes a field of an element that is there", printable(text)),
                "FIELD=VALUE, once for each value of a list");
        editor.apply(argument);
    }
    element.key = element.value(keywordsOf(kind).front().name);
    return element;
}

Element changedElement(const Model &model, const Element &element,
                       const std::vector<std::string> &arguments) {
    Element changed = element;
    Editor editor(model, changed);
    for (const std::string &text : arguments)
        editor.apply(parseFieldArgument(element.kind, text));
    changed.key = changed.value(keywordsOf(element.kind).front().name);
    return changed;
}

void complete(Element &element, bool force) {
    if (!force || element.key.empty())
        requireKey(element);
    if (!force)
        requireNames(element);
    requireUsage(element);
    sortFields(element);
    const ParsedDescription parsed = parseDescription(element.kind, writeDescription(element),
                                                      force ? Reading::Lenient : Reading::Strict);
    if (!parsed.element)
        throw UsageError(fmt::format("{} cannot be written: {}", element.label(), parsed.fault),
                         "check the fields; qldapx schema get NAME shows what a description is");
    element.description = parsed.element->description;
}

} // namespace qldapx
