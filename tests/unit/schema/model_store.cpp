#include "model_store.h"

#include <algorithm>

namespace qldapx_test::model {

namespace {

bool isKey(const std::string &text) {
    return !text.empty() && text[0] >= '0' && text[0] <= '9';
}

bool isFoundAs(unsigned kind, const Node &node, const std::string &key) {
    if (isKey(key))
        return keyOf(kind, node.element) == key;
    return std::any_of(node.foundAs.begin(), node.foundAs.end(),
                       [&](const std::string &name) { return equalNames(name, key); });
}

Values without(const Values &values, const Values &removed) {
    Values left;
    for (const std::string &value : values)
        if (std::none_of(removed.begin(), removed.end(),
                         [&](const std::string &other) { return equalNames(value, other); }))
            left.push_back(value);
    return left;
}

// Of a list; empty: the list is gone, or would be empty, which cannot be written.
Values changedList(const Values &before, const FieldChange &change) {
    if (change.operation == LDAP_MOD_REPLACE)
        return change.values;
    Values after = without(before, change.values);
    if (change.operation == LDAP_MOD_ADD)
        after.insert(after.end(), change.values.begin(), change.values.end());
    return after;
}

const FieldRow *rowOf(unsigned kind, const std::string &keyword) {
    for (const FieldRow &row : rowsOf(kind))
        if (keyword == row.keyword)
            return &row;
    return nullptr;
}

bool isUsage(const std::string &word) {
    for (const char *usage :
         {"userApplications", "directoryOperation", "distributedOperation", "dSAOperation"})
        if (word == usage)
            return true;
    return false;
}

bool isList(const FieldRow &row) {
    return row.shape == Shape::WordList || row.shape == Shape::QuotedList;
}

bool changeExtension(Element &element, const FieldChange &change) {
    auto found = std::find_if(element.extensions.begin(), element.extensions.end(),
                              [&](const auto &item) { return item.first == change.keyword; });
    if (found == element.extensions.end())
        found = element.extensions.insert(found, {change.keyword, {}});
    found->second = changedList(found->second, change);
    return !found->second.empty();
}

// What is left of a field; empty: it is gone.
Values changedField(const Values &before, const FieldRow &row, const FieldChange &change) {
    if (isList(row))
        return changedList(before, change);
    if (change.operation == LDAP_MOD_DELETE || change.values.empty())
        return {};
    Values after = {change.values.front()};
    if (row.shape == Shape::Syntax && before.size() > 1)
        after.push_back(before[1]);
    return after;
}

bool canBeWritten(const FieldRow &row, const Values &after, const FieldChange &change) {
    if (after.empty())
        return !isList(row) || change.operation != LDAP_MOD_DELETE;
    return row.shape != Shape::Usage || isUsage(after.front());
}

bool changeField(Element &element, const FieldRow &row, const FieldChange &change) {
    Values after = changedField(element.fields[row.keyword], row, change);
    element.fields[row.keyword] = after;
    if (after.empty())
        element.fields.erase(row.keyword);
    return canBeWritten(row, after, change);
}

// A class's kind is set by a keyword of its own.
bool change(unsigned kind, Element &element, const FieldChange &change) {
    const FieldRow *row = rowOf(kind, change.keyword);
    if (row != nullptr)
        return changeField(element, *row, change);
    if (change.keyword.starts_with("X-"))
        return changeExtension(element, change);
    element.fields["kind"] = {change.keyword};
    return true;
}

} // namespace

std::optional<Element> changed(unsigned kind, Element element,
                               const std::vector<FieldChange> &changes) {
    for (const FieldChange &one : changes)
        if (!change(kind, element, one))
            return std::nullopt;
    return element;
}

bool canBeReadAgain(const Element &element) {
    auto text = element.fields.find("DESC");
    return text == element.fields.end() || text->second.front().find('\'') == std::string::npos;
}

void Store::remember(unsigned kind, const Element &element) {
    if (std::string key = keyOf(kind, element); !key.empty())
        keys_[kind].insert(key);
    for (const std::string &name : namesOf(element))
        keys_[kind].insert(name);
}

void Store::insert(unsigned kind, const Element &element) {
    nodes_[kind].push_back({element, namesOf(element)});
    remember(kind, element);
}

void Store::add(unsigned kind, const Element &element) {
    insert(kind, element);
    changes_.push_back({LDAP_MOD_ADD, kind, describe(kind, element)});
}

Node *Store::find(unsigned kind, const std::string &key, const std::string &description) {
    for (Node &node : nodes_[kind])
        if (isFoundAs(kind, node, key) && describe(kind, node.element) == description)
            return &node;
    return nullptr;
}

void Store::modify(unsigned kind, Node &node, const Element &changed) {
    changes_.push_back({LDAP_MOD_DELETE, kind, describe(kind, node.element)});
    node.element = changed;
    changes_.push_back({LDAP_MOD_ADD, kind, describe(kind, node.element)});
    remember(kind, changed);
}

void Store::remove(unsigned kind, Node &node) {
    nodes_[kind].remove_if([&](const Node &other) { return &other == &node; });
}

void Store::erase(unsigned kind, Node &node) {
    changes_.push_back({LDAP_MOD_DELETE, kind, describe(kind, node.element)});
    if (!keyOf(kind, node.element).empty())
        remove(kind, node);
}

std::set<std::string> Store::found(unsigned kind, const std::string &key) const {
    std::set<std::string> descriptions;
    for (const Node &node : nodes_[kind])
        if (isFoundAs(kind, node, key))
            descriptions.insert(describe(kind, node.element));
    return descriptions;
}

Values Store::order(unsigned kind) const {
    Values keys;
    for (const Node &node : nodes_[kind])
        keys.push_back(keyOf(kind, node.element));
    std::sort(keys.begin(), keys.end(), [](const std::string &a, const std::string &b) {
        return std::pair(a.empty(), a) < std::pair(b.empty(), b);
    });
    return keys;
}

Contents Store::contents(unsigned kind) const {
    Contents contents;
    for (const Node &node : nodes_[kind])
        contents.emplace(keyOf(kind, node.element), describe(kind, node.element));
    return contents;
}

} // namespace qldapx_test::model
