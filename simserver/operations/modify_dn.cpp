#include "operations/write.h"

#include "schema.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

constexpr std::uint8_t kNewSuperior = 0x80;

Dn requireRdn(std::string_view text) {
    Dn rdn = requireDn(text);
    if (rdn.isRoot() || rdn.key.find(',') != std::string::npos)
        throw OperationError(ResultCode::InvalidDnSyntax,
                             fmt::format("\"{}\" is not one relative name", text));
    return rdn;
}

void dropValue(Entry &entry, const Ava &ava) {
    Attribute *attribute = entry.find(schema::keyOf(ava.type));
    if (attribute == nullptr)
        return;
    const std::size_t at = indexOfValue(*attribute, ava.value);
    if (at < attribute->values.size())
        attribute->values.erase(attribute->values.begin() + static_cast<std::ptrdiff_t>(at));
    if (attribute->values.empty())
        entry.remove(schema::keyOf(ava.type));
}

Entry renamedEntry(const Node &node, const Dn &newRdn, bool deleteOld) {
    Entry entry = node.entry;
    for (const Ava &ava : node.rdn)
        if (deleteOld)
            dropValue(entry, ava);
    for (const Ava &ava : newRdn.rdn) {
        if (schema::isReadOnly(schema::keyOf(ava.type)))
            throw OperationError(ResultCode::ConstraintViolation,
                                 fmt::format("{} is kept by the server", ava.type));
        Attribute &attribute = entry.ensure(ava.type);
        if (!hasValue(attribute, ava.value))
            attribute.values.push_back(ava.value);
    }
    requireConsistent(entry);
    return entry;
}

std::shared_ptr<Node> findParent(const Tree &tree, const Node &node, const Dn &superior) {
    auto parent = tree.require(superior);
    if (isWithin(parent->key, node.key))
        throw OperationError(ResultCode::UnwillingToPerform, "an entry cannot move below itself");
    return parent;
}

} // namespace

// ModifyDNRequest ::= [APPLICATION 12] SEQUENCE {
//     entry LDAPDN, newrdn RelativeLDAPDN, deleteoldrdn BOOLEAN, newSuperior [0] LDAPDN OPTIONAL }
Result modifyDn(Context &context, Bytes body) {
    ber::Reader fields(body);
    const std::string_view name = fields.text("entry to rename");
    const std::string_view newName = fields.text("new RDN");
    const bool deleteOld = fields.boolean(ber::kBoolean, "deleteoldrdn");
    const auto newSuperior = fields.takeIf(kNewSuperior, "new superior");

    Directory &directory = context.directory;
    const Dn dn = requireDn(name);
    const Dn newRdn = requireRdn(newName);
    requireUserEntry(dn);
    const Dn superior = requireDn(newSuperior ? asText(*newSuperior) : parentKey(dn.key));
    if (newSuperior)
        requireUserEntry(superior);
    requireRight(directory, context.identity, dn.key, "*", right::kWrite);
    requireRight(directory, context.identity, newRdn.key + "," + superior.key, "*", right::kWrite);
    const auto node = directory.tree.require(dn);
    if (node->parent == &directory.tree.top())
        throw OperationError(ResultCode::UnwillingToPerform,
                             "the root of a naming context keeps its name");
    const auto parent = findParent(directory.tree, *node, superior);
    directory.topology.requireUnused(*node);
    Entry entry = renamedEntry(*node, newRdn, deleteOld);
    directory.stampModified(entry, context.identity);
    directory.tree.rename(*node, newRdn, *parent, std::move(entry));
    return {};
}

} // namespace stratasim
