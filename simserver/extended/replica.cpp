#include "extended/registry.h"

#include <limits>

namespace stratasim {
namespace {

// Wire order: flags, type, server, partition.
ResponseValue addReplica(const ExtendedCall &call) {
    const Arguments &args = call.arguments;
    call.directory.topology.addReplica(args.dn(3), args.dn(2), args.integer(1), args.integer(0));
    return {};
}

// Wire order: flags, server, partition.
ResponseValue removeReplica(const ExtendedCall &call) {
    call.directory.topology.removeReplica(call.arguments.dn(2), call.arguments.dn(1));
    return {};
}

// Wire order: flags, type, server, partition.
ResponseValue changeReplicaType(const ExtendedCall &call) {
    const Arguments &args = call.arguments;
    call.directory.topology.changeReplicaType(args.dn(3), args.dn(2), args.integer(1));
    return {};
}

/** Seconds since the epoch as the 32 bits of the response hold them. */
std::int64_t asInt32(std::int64_t seconds) {
    return std::min<std::int64_t>(seconds, std::numeric_limits<std::int32_t>::max());
}

// Wire order: server, partition.
ResponseValue replicaInfo(const ExtendedCall &call) {
    const Dn partition = call.arguments.dn(1);
    Topology &topology = call.directory.topology;
    const Replica replica = topology.replica(partition, call.arguments.dn(0));
    std::string value;
    ber::Writer writer(value);
    writer.integer(replica.number);
    writer.integer(static_cast<std::int32_t>(replica.type));
    writer.integer(static_cast<std::int32_t>(replica.state));
    writer.integer(asInt32(replica.lastSync));
    writer.integer(topology.entryCount(partition));
    writer.octets(replica.serverDn);
    writer.integer(replica.flags);
    writer.integer(replica.waiting);
    return value;
}

ResponseValue listReplicas(const ExtendedCall &call) {
    std::string value;
    ber::Writer writer(value);
    const std::size_t list = writer.open(ber::kSequence);
    for (const std::string &server : call.directory.topology.replicaServers(call.arguments.dn(0)))
        writer.octets(server);
    writer.close(list);
    return value;
}

// Wire order: partition, server, a text that means nothing.
ResponseValue receiveUpdates(const ExtendedCall &call) {
    call.directory.topology.receiveUpdates(call.arguments.dn(0), call.arguments.dn(1));
    return {};
}

// Wire order: partition, server; an empty server is all of them.
ResponseValue sendUpdates(const ExtendedCall &call) {
    std::optional<Dn> server;
    if (!call.arguments.text(1).empty())
        server = call.arguments.dn(1);
    call.directory.topology.sendUpdates(call.arguments.dn(0), server);
    return {};
}

// Wire order: server, partition, delay in seconds.
ResponseValue partitionSync(const ExtendedCall &call) {
    const Arguments &args = call.arguments;
    call.directory.topology.requestSync(args.dn(0), args.dn(1), args.integer(2));
    return {};
}

// Wire order: server, delay in seconds.
ResponseValue schemaSync(const ExtendedCall &call) {
    call.directory.topology.requestSchemaSync(call.arguments.dn(0), call.arguments.integer(1));
    ++call.directory.monitor.triggers["schemaSyncRequests"];
    return {};
}

} // namespace

std::vector<ExtendedOperation> replicaOperations() {
    using enum ExtendedOperation::Access;
    return {
        strataOperation(7, "add-replica", Administrator, "iiss", addReplica),
        strataOperation(11, "remove-replica", Administrator, "iss", removeReplica),
        strataOperation(15, "change-replica-type", Administrator, "iiss", changeReplicaType),
        strataOperation(17, "get-replica-info", Open, "ss", replicaInfo),
        strataOperation(19, "list-replicas", Open, "s", listReplicas),
        strataOperation(21, "receive-all-updates", Administrator, "sss", receiveUpdates),
        strataOperation(23, "send-all-updates", Administrator, "ss", sendUpdates),
        strataOperation(25, "request-partition-sync", Administrator, "ssi", partitionSync),
        strataOperation(27, "request-schema-sync", Administrator, "si", schemaSync),
    };
}

} // namespace stratasim
