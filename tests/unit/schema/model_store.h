// model_store.h - a schema handle's contract kept with plain lists: what is there, in which order,
// under which keys it is found, and what is noted for the next save.
#pragma once

#include "model_wire.h"
#include "support/field_changes.h"

#include <list>
#include <set>

namespace qldapx_test::model {

inline Values namesOf(const Element &element) {
    return element.has("NAME") ? element.fields.at("NAME") : Values();
}

struct Node {
    Element element;
    Values foundAs; // its names when it was fetched or added: an element that is renamed keeps them
};

// Keys and descriptions; an element without a key has "".
using Contents = std::multiset<std::pair<std::string, std::string>>;

class Store {
  public:
    // As fetched.
    void insert(unsigned kind, const Element &element);

    void add(unsigned kind, const Element &element);
    // One of several of a key, told by its description.
    [[nodiscard]] Node *find(unsigned kind, const std::string &key, const std::string &description);
    void modify(unsigned kind, Node &node, const Element &changed);
    // A modification that failed: the element has been taken out and added as it was.
    static void restore(Node &node) { node.foundAs = namesOf(node.element); }
    void remove(unsigned kind, Node &node);
    // Notes a deletion, which takes the element out if it has a key.
    void erase(unsigned kind, Node &node);

    [[nodiscard]] std::vector<Change> takeChanges() { return std::exchange(changes_, {}); }
    [[nodiscard]] std::size_t count(unsigned kind) const { return nodes_[kind].size(); }
    [[nodiscard]] const std::set<std::string> &keysEverUsed(unsigned kind) const {
        return keys_[kind];
    }

    // The descriptions that a key finds.
    [[nodiscard]] std::set<std::string> found(unsigned kind, const std::string &key) const;
    // The keys in their order.
    [[nodiscard]] Values order(unsigned kind) const;
    [[nodiscard]] Contents contents(unsigned kind) const;

  private:
    void remember(unsigned kind, const Element &element);

    std::list<Node> nodes_[kindCount];
    std::set<std::string> keys_[kindCount];
    std::vector<Change> changes_;
};

// Whether it can be modified: its description is read first. A quote in DESC is written as it is.
bool canBeReadAgain(const Element &element);

// What the changes make of an element; nothing when the contract has them fail.
std::optional<Element> changed(unsigned kind, Element element,
                               const std::vector<FieldChange> &changes);

} // namespace qldapx_test::model
