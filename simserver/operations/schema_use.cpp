#include "operations/schema_use.h"

#include "result.h"
#include "text.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

using schema::Kind;
using schema::Model;
using schema::TextSet;

/** Calls `visit` with each node of the tree. */
template <typename Visit>
void eachNode(const Tree &tree, const Visit &visit) {
    std::vector<const Node *> open = {&tree.top()};
    while (!open.empty()) {
        const Node *node = open.back();
        open.pop_back();
        visit(*node);
        for (const auto &[order, child] : node->children)
            open.push_back(child.get());
    }
}

std::string typeName(const Attribute &attribute) {
    return lowerCase(std::string_view(attribute.name).substr(0, attribute.name.find(';')));
}

/** OIDs and names that mean an element before, and none or another one after. */
TextSet lostNames(Kind kind, const Model &before, const Model &after) {
    TextSet lost;
    const auto examine = [&](const schema::Description &element, const std::string &name) {
        const schema::Element found = after.find(kind, name);
        if (!found || found->id != element.id)
            lost.insert(lowerCase(name));
    };
    for (const schema::Element &element : before.elements(kind)) {
        // Most elements are the same ones as before.
        if (after.find(kind, element->id) == element)
            continue;
        examine(*element, element->id);
        for (const std::string &name : element->names)
            examine(*element, name);
    }
    return lost;
}

[[noreturn]] void failUsed(Kind kind, const std::string &name, const Node &node) {
    throw OperationError(
        ResultCode::UnwillingToPerform,
        fmt::format("the {} {} is in use: \"{}\" has it", schema::rowOf(kind).word, name, node.dn));
}

void requireClassesKept(const Node &node, const TextSet &lost) {
    const Attribute *classes = node.entry.find("objectclass");
    if (classes == nullptr || lost.empty())
        return;
    for (const std::string &name : classes->values)
        if (lost.contains(foldText(name)))
            failUsed(Kind::ObjectClass, name, node);
}

} // namespace

TextSet undescribedNames(const Tree &tree, const Model &model) {
    TextSet names;
    eachNode(tree, [&](const Node &node) {
        for (const Attribute &attribute : node.entry.attributes()) {
            std::string name = typeName(attribute);
            if (model.type(name) == nullptr)
                names.insert(std::move(name));
        }
    });
    return names;
}

void requireNamesKept(const Tree &tree, const Model &before, const Model &after) {
    const TextSet types = lostNames(Kind::AttributeType, before, after);
    const TextSet classes = lostNames(Kind::ObjectClass, before, after);
    if (types.empty() && classes.empty())
        return;
    eachNode(tree, [&](const Node &node) {
        requireClassesKept(node, classes);
        for (const Attribute &attribute : node.entry.attributes())
            if (types.contains(typeName(attribute)))
                failUsed(Kind::AttributeType, attribute.name, node);
    });
}

} // namespace stratasim
