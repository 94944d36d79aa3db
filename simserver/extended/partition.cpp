#include "extended/registry.h"

namespace stratasim {
namespace {

ResponseValue split(const ExtendedCall &call) {
    call.directory.topology.split(call.arguments.dn(1), call.arguments.integer(0));
    return {};
}

ResponseValue merge(const ExtendedCall &call) {
    call.directory.topology.merge(call.arguments.dn(1), call.arguments.integer(0));
    return {};
}

ResponseValue abortOperation(const ExtendedCall &call) {
    call.directory.topology.abort(call.arguments.dn(1));
    return {};
}

ResponseValue entryCount(const ExtendedCall &call) {
    std::string value;
    ber::Writer(value).integer(call.directory.topology.entryCount(call.arguments.dn(0)));
    return value;
}

ResponseValue splitOrphan(const ExtendedCall &call) {
    call.directory.topology.addOrphan(call.arguments.dn(0), call.arguments.dn(1));
    return {};
}

ResponseValue removeOrphan(const ExtendedCall &call) {
    call.directory.topology.removeOrphan(call.arguments.dn(0), call.arguments.dn(1));
    return {};
}

} // namespace

std::vector<ExtendedOperation> partitionOperations() {
    using enum ExtendedOperation::Access;
    return {
        strataOperation(3, "split-partition", Administrator, "is", split),
        strataOperation(5, "merge-partitions", Administrator, "is", merge),
        strataOperation(29, "abort-partition-operation", Administrator, "is", abortOperation),
        strataOperation(13, "partition-entry-count", Open, "s", entryCount),
        strataOperation(39, "split-orphan-partition", Administrator, "ss", splitOrphan),
        strataOperation(41, "remove-orphan-partition", Administrator, "ss", removeOrphan),
    };
}

} // namespace stratasim
