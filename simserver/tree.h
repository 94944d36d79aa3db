#pragma once

#include "dn.h"
#include "entry.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace stratasim {

/** An entry at its place in the tree. */
struct Node {
    std::string key;
    std::string dn;
    std::string rdnText;
    std::vector<Ava> rdn;
    Entry entry;
    Node *parent = nullptr;
    std::uint64_t order = 0; // its place among its siblings
    // By order, so that a walk can go on after the last child it saw, whatever changed meanwhile.
    std::map<std::uint64_t, std::shared_ptr<Node>> children;
};

/** What happened to an entry. */
struct Change {
    enum class Kind { Add, Delete, Modify, Rename };
    Kind kind;
    const Node &node;                // after the change; before it for Delete
    std::string previousKey;         // Rename only: that of the entry itself
    std::string previousDn;          // Rename only
    const Entry *previous = nullptr; // Modify and Rename only: what the entry was
};

/**
 * All entries, found by the key of their DN. Operations throw OperationError as RFC 4511 names
 * the failures; listeners hear of each change after it is complete.
 */
class Tree {
  public:
    using Listener = std::function<void(const Change &)>;

    Tree();

    std::shared_ptr<Node> find(std::string_view key) const;
    /** Finds it or throws noSuchObject with the nearest entry above that there is. */
    std::shared_ptr<Node> require(const Dn &dn) const;

    /** Adds an entry below the entry that holds it; only addRoot() adds one that has none. */
    Node &add(const Dn &dn, Entry entry);
    Node &addRoot(const Dn &dn, Entry entry);
    void remove(Node &node);
    void replace(Node &node, Entry entry);
    /** Gives the entry another RDN and another place; what is below goes with it. */
    void rename(Node &node, const Dn &newRdn, Node &newParent, Entry entry);

    /** The nameless node above the roots; it is no entry. */
    Node &top() const { return *top_; }
    std::shared_ptr<Node> topNode() const { return top_; }
    std::size_t size() const { return nodes_.size(); }
    void subscribe(Listener listener) { listeners_.push_back(std::move(listener)); }

  private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view key) const {
            return std::hash<std::string_view>{}(key);
        }
    };

    Node &insert(const Dn &dn, Entry entry, Node &parent);
    void place(const std::shared_ptr<Node> &node, Node &parent);
    void forget(Node &node);
    void index(const std::shared_ptr<Node> &node);
    void announce(const Change &change) const;

    std::unordered_map<std::string, std::shared_ptr<Node>, Hash, std::equal_to<>> nodes_;
    std::shared_ptr<Node> top_;
    std::vector<Listener> listeners_;
    std::uint64_t nextOrder_ = 1;
};

/** The values of an attribute that the server works out from an entry's place. */
std::vector<std::string> computedValues(const Node &node, std::string_view key);
/** Names of all attributes that computedValues() answers. */
const std::vector<std::string> &computedAttributes();

inline constexpr std::string_view kSubschemaDn = "cn=schema";

} // namespace stratasim
