#include "tree.h"

#include "result.h"
#include "schema.h"

#include <fmt/format.h>

#include <utility>

namespace stratasim {

Tree::Tree() : top_(std::make_shared<Node>()) {}

std::shared_ptr<Node> Tree::find(std::string_view key) const {
    const auto found = nodes_.find(key);
    return found == nodes_.end() ? nullptr : found->second;
}

namespace {

/** DN of the nearest entry above `key`, or nothing. */
std::string nearestAncestor(const Tree &tree, std::string_view key) {
    while (!key.empty()) {
        key = parentKey(key);
        if (const auto node = tree.find(key))
            return node->dn;
    }
    return {};
}

} // namespace

std::shared_ptr<Node> Tree::require(const Dn &dn) const {
    if (auto node = find(dn.key))
        return node;
    throw OperationError(ResultCode::NoSuchObject, fmt::format("there is no entry \"{}\"", dn.text),
                         nearestAncestor(*this, dn.key));
}

Node &Tree::add(const Dn &dn, Entry entry) {
    if (find(dn.key))
        throw OperationError(ResultCode::EntryAlreadyExists,
                             fmt::format("\"{}\" exists already", dn.text));
    const auto parent = find(parentKey(dn.key));
    if (!parent)
        throw OperationError(ResultCode::NoSuchObject,
                             fmt::format("the entry above \"{}\" does not exist", dn.text),
                             nearestAncestor(*this, dn.key));
    return insert(dn, std::move(entry), *parent);
}

Node &Tree::addRoot(const Dn &dn, Entry entry) {
    if (find(dn.key))
        throw OperationError(ResultCode::EntryAlreadyExists,
                             fmt::format("\"{}\" exists already", dn.text));
    return insert(dn, std::move(entry), *top_);
}

Node &Tree::insert(const Dn &dn, Entry entry, Node &parent) {
    const auto node = std::make_shared<Node>();
    node->key = dn.key;
    node->rdnText = dn.rdnText;
    node->rdn = dn.rdn;
    // A root keeps the whole text: there is no entry above whose text could complete it.
    node->dn = &parent == top_.get() ? dn.text : dn.rdnText + "," + parent.dn;
    node->entry = std::move(entry);
    place(node, parent);
    nodes_.emplace(node->key, node);
    announce({Change::Kind::Add, *node, {}, {}});
    return *node;
}

void Tree::place(const std::shared_ptr<Node> &node, Node &parent) {
    node->parent = &parent;
    node->order = nextOrder_++;
    parent.children.emplace(node->order, node);
}

void Tree::remove(Node &node) {
    if (!node.children.empty())
        throw OperationError(ResultCode::NotAllowedOnNonLeaf,
                             fmt::format("\"{}\" has entries below it", node.dn));
    const auto held = find(node.key);
    node.parent->children.erase(node.order);
    nodes_.erase(node.key);
    announce({Change::Kind::Delete, node, {}, {}});
    node.parent = nullptr;
}

void Tree::replace(Node &node, Entry entry) {
    const Entry previous = std::exchange(node.entry, std::move(entry));
    announce({Change::Kind::Modify, node, {}, {}, &previous});
}

void Tree::forget(Node &node) {
    nodes_.erase(node.key);
    for (const auto &[order, child] : node.children)
        forget(*child);
}

void Tree::index(const std::shared_ptr<Node> &node) {
    const bool root = node->parent == top_.get();
    node->dn = root ? node->rdnText : node->rdnText + "," + node->parent->dn;
    nodes_.emplace(node->key, node);
    for (const auto &[order, child] : node->children) {
        const std::size_t ownLength = child->key.find(',');
        child->key = child->key.substr(0, ownLength) + "," + node->key;
        index(child);
    }
}

void Tree::rename(Node &node, const Dn &newRdn, Node &newParent, Entry entry) {
    const std::string newKey =
        newParent.key.empty() ? newRdn.key : newRdn.key + "," + newParent.key;
    const auto there = find(newKey);
    if (there && there.get() != &node)
        throw OperationError(ResultCode::EntryAlreadyExists,
                             fmt::format("\"{}\" exists already", there->dn));
    const auto held = find(node.key);
    std::string previousKey = node.key;
    std::string previousDn = node.dn;
    forget(node);
    if (node.parent != &newParent) {
        node.parent->children.erase(node.order);
        place(held, newParent);
    }
    node.key = newKey;
    node.rdnText = newRdn.rdnText;
    node.rdn = newRdn.rdn;
    const Entry previous = std::exchange(node.entry, std::move(entry));
    index(held);
    announce(
        {Change::Kind::Rename, node, std::move(previousKey), std::move(previousDn), &previous});
}

void Tree::announce(const Change &change) const {
    for (const Listener &listener : listeners_)
        listener(change);
}

const std::vector<std::string> &computedAttributes() {
    static const std::vector<std::string> names = {"entryDN", "hasSubordinates", "numSubordinates",
                                                   "subschemaSubentry"};
    return names;
}

std::vector<std::string> computedValues(const Node &node, std::string_view key) {
    if (key == "entrydn")
        return {node.dn};
    if (key == "hassubordinates")
        return {node.children.empty() ? "FALSE" : "TRUE"};
    if (key == "numsubordinates")
        return {std::to_string(node.children.size())};
    if (key == "subschemasubentry")
        return {std::string(kSubschemaDn)};
    return {};
}

} // namespace stratasim
