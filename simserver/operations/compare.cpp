#include "operations/operations.h"

#include "schema.h"

#include <fmt/format.h>

namespace stratasim {

// CompareRequest ::= [APPLICATION 14] SEQUENCE { entry LDAPDN, ava SEQUENCE { type, value } }
Result compare(Context &context, Bytes body) {
    ber::Reader fields(body);
    const std::string_view name = fields.text("entry to compare");
    ber::Reader assertion = fields.sequence("assertion");
    const std::string_view description = assertion.text("attribute description");
    const std::string_view value = assertion.text("assertion value");

    const Dn dn = requireDn(name);
    const std::string key = schema::keyOf(description);
    const auto node = dn.isRoot() ? makeRootDse(context.directory, context.connection)
                                  : context.directory.tree.require(dn);
    requireRight(context.directory, context.identity, dn.key, key, right::kCompare);
    Attribute attribute{std::string(description), key, computedValues(*node, key)};
    if (const Attribute *stored = node->entry.find(key))
        attribute.values = stored->values;
    if (attribute.values.empty())
        throw OperationError(ResultCode::NoSuchAttribute,
                             fmt::format("the entry has no {}", description));
    return {
        hasValue(attribute, value) ? ResultCode::CompareTrue : ResultCode::CompareFalse, {}, {}};
}

} // namespace stratasim
