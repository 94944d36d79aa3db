#include "extended/registry.h"

namespace stratasim {
namespace {

ResponseValue setFilter(const ExtendedCall &call) {
    call.directory.topology.setFilter(call.arguments.dn(0), call.arguments.filter(1));
    return {};
}

// SEQUENCE OF SEQUENCE { className OCTET STRING, attributes SEQUENCE OF OCTET STRING }
ResponseValue getFilter(const ExtendedCall &call) {
    std::string value;
    ber::Writer writer(value);
    const std::size_t groups = writer.open(ber::kSequence);
    for (const FilterClass &group : call.directory.topology.filter(call.arguments.dn(0))) {
        const std::size_t mark = writer.open(ber::kSequence);
        writer.octets(group.name);
        const std::size_t names = writer.open(ber::kSequence);
        for (const std::string &name : group.attributes)
            writer.octets(name);
        writer.close(names);
        writer.close(mark);
    }
    writer.close(groups);
    return value;
}

} // namespace

std::vector<ExtendedOperation> replicationFilterOperations() {
    using enum ExtendedOperation::Access;
    return {
        strataOperation(35, "set-replication-filter", Administrator, "sf", setFilter),
        strataOperation(37, "get-replication-filter", Administrator, "s", getFilter),
    };
}

} // namespace stratasim
