#include "schema/difference.h"

#include "text.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <set>
#include <unordered_set>

namespace qldapx {
namespace {

using Values = std::vector<std::string>;

/** Those of the first list that are not in the second, as `canonical` sees them. */
template <typename Canonical>
Values without(const Values &values, const Values &others, const Canonical &canonical) {
    std::set<std::string> known;
    for (const std::string &other : others)
        known.insert(canonical(other));
    Values result;
    for (const std::string &value : values)
        if (known.insert(canonical(value)).second)
            result.push_back(value);
    return result;
}

template <typename Canonical>
FieldChange changeOf(const Keyword &keyword, const Element &from, const Element &to,
                     const Canonical &canonical) {
    const Values &before = from.values(keyword.name), &after = to.values(keyword.name);
    return {keyword.name, keyword.form, without(before, after, canonical),
            without(after, before, canonical)};
}

bool isEmpty(const FieldChange &change) {
    return change.lost.empty() && change.gained.empty();
}

/** The first name is the one that the element goes by; the order of the others says nothing. */
void compareFirstName(const Element &from, const Element &to, std::vector<FieldChange> &changes) {
    const Values &before = from.names(), &after = to.names();
    const auto isIn = [](const Values &names, const std::string &name) {
        return std::any_of(names.begin(), names.end(),
                           [&](const std::string &each) { return sameText(each, name); });
    };
    if (before.empty() || after.empty() || sameText(before.front(), after.front()))
        return;
    if (isIn(before, after.front()) || isIn(after, before.front()))
        changes.push_back({"first NAME", Form::Quoted, {before.front()}, {after.front()}});
}

void compareFlag(const Element &from, const Element &to, const Keyword &keyword,
                 std::vector<FieldChange> &changes) {
    const bool before = from.has(keyword.name), after = to.has(keyword.name);
    if (before == after)
        return;
    const Values set = {keyword.name};
    changes.push_back({keyword.name, Form::Flag, before ? set : Values(), after ? set : Values()});
}

void compareExtensions(const Element &from, const Element &to, std::vector<FieldChange> &changes) {
    const auto exact = [](const std::string &value) { return value; };
    std::set<std::string> names;
    for (const Element *element : {&from, &to})
        for (const Field &field : element->fields)
            if (isExtension(field.keyword))
                names.insert(field.keyword);
    for (const std::string &name : names) {
        const Keyword keyword = {name.c_str(), Form::Names};
        const FieldChange change = changeOf(keyword, from, to, exact);
        if (!isEmpty(change))
            changes.push_back(change);
    }
}

bool hasOid(const Element &element) {
    return !element.key.empty() && std::isdigit(static_cast<unsigned char>(element.key[0])) != 0;
}

/**
 * The same element of another schema. One that has no OID, but perhaps a word in its place, goes
 * by its first name: servers keep such, and the library does not give the word.
 */
const Element *counterpart(const Model &model, const Element &element) {
    if (hasOid(element) || element.names().empty())
        return model.byKey(element.kind, element.key);
    for (const Element *other : model.find(element.kind, element.names().front()))
        if (!hasOid(*other))
            return other;
    return nullptr;
}

std::vector<ElementChange> sorted(std::vector<ElementChange> changes) {
    std::stable_sort(changes.begin(), changes.end(), [](const auto &left, const auto &right) {
        const Element &a = left.any(), &b = right.any();
        return std::pair(a.kind, lowerCase(a.title())) < std::pair(b.kind, lowerCase(b.title()));
    });
    return changes;
}

std::string quotedText(const Values &values) {
    return values.empty() ? "none" : fmt::format("'{}'", printable(values.front()));
}

std::string plainText(const Values &values) {
    return values.empty() ? "none" : printable(values.front());
}

std::string list(const Values &values) {
    return printable(fmt::format("{}", fmt::join(values, ", ")));
}

} // namespace

std::string Comparison::canonical(const Keyword &keyword, const std::string &value) const {
    if (!keyword.refersTo)
        return keyword.form == Form::Quoted ? value : lowerCase(value);
    const std::string_view name = withoutBound(value);
    const Element *element = left.resolve(*keyword.refersTo, name);
    if (element == nullptr)
        element = right.resolve(*keyword.refersTo, name);
    if (element == nullptr || element->key.empty())
        return lowerCase(value);
    return lowerCase(element->key) + value.substr(name.size());
}

void Comparison::compareField(const Element &from, const Element &to, const Keyword &keyword,
                              std::vector<FieldChange> &changes) const {
    if (keyword.form == Form::Key)
        return;
    if (keyword.form == Form::Flag)
        return compareFlag(from, to, keyword, changes);
    if (keyword.form == Form::Names)
        compareFirstName(from, to, changes);
    const FieldChange change = changeOf(
        keyword, from, to, [&](const std::string &value) { return canonical(keyword, value); });
    if (!isEmpty(change))
        changes.push_back(change);
}

std::vector<FieldChange> Comparison::fieldChanges(const Element &from, const Element &to) const {
    std::vector<FieldChange> changes;
    for (const Keyword &keyword : keywordsOf(from.kind))
        compareField(from, to, keyword, changes);
    if (extensions)
        compareExtensions(from, to, changes);
    return changes;
}

std::vector<ElementChange> Comparison::changes() const {
    std::vector<ElementChange> changes;
    left.each([&](const Element &from) {
        const Element *to = counterpart(right, from);
        std::vector<FieldChange> fields =
            to == nullptr ? std::vector<FieldChange>() : fieldChanges(from, *to);
        if (to == nullptr || !fields.empty())
            changes.push_back({&from, to, std::move(fields)});
    });
    right.each([&](const Element &to) {
        if (counterpart(left, to) == nullptr)
            changes.push_back({nullptr, &to, {}});
    });
    return sorted(std::move(changes));
}

std::string inWords(const FieldChange &change) {
    const bool isText =
        change.form == Form::Quoted || change.form == Form::Oid || change.form == Form::Usage;
    if (change.form == Form::Flag)
        return change.keyword + (change.lost.empty() ? " gained" : " lost");
    if (isText) {
        const auto text = change.form == Form::Quoted ? quotedText : plainText;
        return fmt::format("{} {} -> {}", change.keyword, text(change.lost), text(change.gained));
    }
    std::string words = printable(change.keyword);
    if (!change.lost.empty())
        words += " lost " + list(change.lost);
    if (!change.gained.empty())
        words += (change.lost.empty() ? " gained " : ", gained ") + list(change.gained);
    return words;
}

} // namespace qldapx
