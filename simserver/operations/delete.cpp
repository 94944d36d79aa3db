#include "operations/write.h"

namespace stratasim {

// DelRequest ::= [APPLICATION 10] LDAPDN
Result remove(Context &context, Bytes body) {
    const Dn dn = requireDn(asText(body));
    requireUserEntry(dn);
    requireRight(context.directory, context.identity, dn.key, "*", right::kDelete);
    const auto node = context.directory.tree.require(dn);
    if (node->children.empty())
        context.directory.topology.requireUnused(*node);
    context.directory.tree.remove(*node);
    return {};
}

} // namespace stratasim
