#include "operations/write.h"

#include <fmt/format.h>

namespace stratasim {

// AddRequest ::= [APPLICATION 8] SEQUENCE { entry LDAPDN, attributes SEQUENCE OF Attribute }
Result add(Context &context, Bytes body) {
    ber::Reader fields(body);
    const std::string_view name = fields.text("entry to add");
    ber::Reader list = fields.sequence("attributes");
    std::vector<RequestedAttribute> attributes;
    while (!list.atEnd())
        attributes.push_back(readAttribute(list));

    const Dn dn = requireDn(name);
    requireUserEntry(dn);
    requireRight(context.directory, context.identity, dn.key, "*", right::kWrite);
    Entry entry;
    for (const RequestedAttribute &attribute : attributes) {
        requireWritable(attribute);
        if (attribute.values.empty())
            throw OperationError(ResultCode::ConstraintViolation,
                                 fmt::format("{} has no value", attribute.name));
        addValues(entry.ensure(attribute.name), attribute.values);
    }
    requireConsistent(entry);
    requireRdnValues(dn, entry);
    context.directory.stampCreated(entry, context.identity);
    context.directory.tree.add(dn, std::move(entry));
    return {};
}

} // namespace stratasim
