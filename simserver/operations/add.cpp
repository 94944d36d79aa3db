#include "operations/write.h"

#include <fmt/format.h>

namespace stratasim {

AddRequest readAdd(ber::Reader &fields) {
    AddRequest request;
    request.name = fields.text("entry to add");
    ber::Reader list = fields.sequence("attributes");
    while (!list.atEnd())
        request.attributes.push_back(readAttribute(list));
    return request;
}

Result add(Context &context, Bytes body) {
    ber::Reader fields(body);
    const AddRequest request = readAdd(fields);
    const Dn dn = requireDn(request.name);
    requireUserEntry(dn);
    requireRight(context.directory, context.identity, dn.key, "*", right::kWrite);
    Entry entry;
    for (const RequestedAttribute &attribute : request.attributes) {
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
