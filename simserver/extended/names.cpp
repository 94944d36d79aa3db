#include "extended/registry.h"

#include "schema.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>

namespace stratasim {
namespace {

[[noreturn]] void failUnknown(std::string_view name) {
    throw OperationError(ResultCode::NoSuchObject,
                         fmt::format("\"{}\" names no entry of this directory", name));
}

/** The pieces of a kora name; a backslash takes the character after it for itself. */
std::vector<std::string> koraPieces(std::string_view name) {
    std::vector<std::string> pieces(1);
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '/') {
            pieces.emplace_back();
            continue;
        }
        if (name[i] == '\\' && i + 1 < name.size())
            ++i;
        pieces.back() += name[i];
    }
    return pieces;
}

/** The piece of a kora name for an entry: the values of its RDN. */
std::string koraPiece(const std::vector<Ava> &rdn) {
    std::string piece;
    for (const Ava &ava : rdn)
        piece += (piece.empty() ? "" : "+") + ava.value;
    return piece;
}

/** The first piece of a kora name: all values of a naming context's DN, as in a DNS name. */
std::string contextPiece(const Node &context) {
    std::string piece;
    for (std::string_view key = context.key; !key.empty(); key = parentKey(key))
        piece += (piece.empty() ? "" : ".") + koraPiece(requireDn(key).rdn);
    return piece;
}

template <typename Matches>
const Node *findChild(const Node &parent, const Matches &matches) {
    for (const auto &[order, child] : parent.children)
        if (!isServerEntry(child->key) && matches(*child))
            return child.get();
    return nullptr;
}

const Node *findKora(const Tree &tree, const std::vector<std::string> &pieces) {
    const Node *node = &tree.top();
    for (const std::string &piece : pieces) {
        const std::string wanted = foldText(piece);
        const bool atTop = node == &tree.top();
        node = findChild(*node, [&](const Node &child) {
            return foldText(atTop ? contextPiece(child) : koraPiece(child.rdn)) == wanted;
        });
        if (node == nullptr)
            return nullptr;
    }
    return node;
}

ResponseValue koraToLdap(const ExtendedCall &call) {
    std::string_view units = call.arguments.text(0);
    if (units.size() % 2 != 0)
        throw ber::Error("kora name: an odd number of bytes");
    if (units.size() < 2 || !units.ends_with(std::string_view("\0\0", 2)))
        throw ber::Error("kora name: no zero unit at the end");
    units.remove_suffix(2);
    const auto name = utf8FromUtf16Be(units);
    if (!name)
        throw ber::Error("kora name: not UTF-16");
    const Node *node = findKora(call.directory.tree, koraPieces(*name));
    if (node == nullptr)
        failUnknown(*name);
    return octetString(node->dn);
}

std::string dcKey(const std::vector<std::string_view> &labels) {
    std::string key;
    for (const std::string_view label : labels)
        key += (key.empty() ? "dc=" : ",dc=") + lowerCase(label);
    return key;
}

/** The entry below `parent` that a label names: a domain component first, then a unit. */
std::shared_ptr<Node> findLabel(const Tree &tree, const Node &parent, std::string_view label) {
    const std::string name = escapeRdnValue(lowerCase(label));
    for (const char *type : {"dc=", "ou="})
        if (const auto dn = Dn::parse(type + name + "," + parent.key))
            if (auto node = tree.find(dn->key))
                return node;
    return nullptr;
}

std::shared_ptr<Node> findDns(const Tree &tree, std::vector<std::string_view> labels) {
    std::vector<std::string_view> left;
    std::shared_ptr<Node> node;
    while (!labels.empty() && !node) {
        node = tree.find(dcKey(labels));
        if (!node) {
            left.push_back(labels.front());
            labels.erase(labels.begin());
        }
    }
    for (auto label = left.rbegin(); node && label != left.rend(); ++label)
        node = findLabel(tree, *node, *label);
    return node;
}

ResponseValue dnsToDn(const ExtendedCall &call) {
    // RFC 1035: a longer one is no DNS name, and the search below takes a step for each label.
    constexpr std::size_t maxName = 255;
    const std::string_view given = call.arguments.text(0);
    std::string_view name = given.substr(0, maxName + 1);
    if (name.ends_with('.'))
        name.remove_suffix(1);
    if (name.empty() || name.size() > maxName)
        failUnknown(name);
    const auto node = findDns(call.directory.tree, splitAt(name, '.'));
    if (!node)
        failUnknown(name);
    return octetString(node->dn);
}

} // namespace

std::vector<ExtendedOperation> nameOperations() {
    using enum ExtendedOperation::Access;
    return {
        strataOperation(1, "kora-to-ldap", Open, "s", koraToLdap),
        strataOperation(101, "dns-to-x500-dn", Open, "s", dnsToDn),
    };
}

} // namespace stratasim
