#include "result.h"
#include "topology.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace stratasim {
namespace {

ReplicaType requireType(std::int32_t number) {
    if (number < 1 || number > 3)
        throw OperationError(
            ResultCode::UnwillingToPerform,
            fmt::format("{} is no replica type: 1 primary, 2 writable, 3 read-only", number));
    return static_cast<ReplicaType>(number);
}

void requireDelay(std::int32_t delay) {
    if (delay < 0)
        throw OperationError(ResultCode::UnwillingToPerform,
                             fmt::format("the delay {} is negative", delay));
}

void demotePrimary(std::map<std::string, Replica> &replicas) {
    for (auto &[key, replica] : replicas)
        if (replica.type == ReplicaType::Primary)
            replica.type = ReplicaType::Writable;
}

} // namespace

Replica &Topology::requireReplica(Partition &partition, const Dn &server) {
    const auto found = partition.replicas.find(server.key);
    if (found == partition.replicas.end())
        throw OperationError(ResultCode::NoSuchObject,
                             fmt::format("\"{}\" holds no replica of the partition", server.text));
    return found->second;
}

void Topology::addReplica(const Dn &partitionDn, const Dn &server, std::int32_t type,
                          std::int32_t flags) {
    Partition &partition = requirePartition(partitionDn);
    const ReplicaType checked = requireType(type);
    requireServer(server);
    if (partition.replicas.contains(server.key))
        throw OperationError(ResultCode::EntryAlreadyExists,
                             fmt::format("\"{}\" holds a replica already", server.text));
    if (checked == ReplicaType::Primary)
        demotePrimary(partition.replicas);
    Replica replica;
    replica.serverDn = tree_.find(server.key)->dn;
    replica.number = partition.nextNumber++;
    replica.type = checked;
    replica.state = ReplicaState::New;
    replica.flags = flags;
    partition.replicas.emplace(server.key, std::move(replica));
}

void Topology::removeReplica(const Dn &partitionDn, const Dn &server) {
    Partition &partition = requirePartition(partitionDn);
    if (requireReplica(partition, server).type == ReplicaType::Primary)
        throw OperationError(ResultCode::UnwillingToPerform,
                             "it is the primary replica: make another one primary first");
    partition.replicas.erase(server.key);
}

void Topology::changeReplicaType(const Dn &partitionDn, const Dn &server, std::int32_t type) {
    Partition &partition = requirePartition(partitionDn);
    Replica &replica = requireReplica(partition, server);
    const ReplicaType checked = requireType(type);
    if (replica.type == ReplicaType::Primary && checked != ReplicaType::Primary)
        throw OperationError(ResultCode::UnwillingToPerform,
                             "it is the primary replica: make another one primary instead");
    if (checked == ReplicaType::Primary)
        demotePrimary(partition.replicas);
    replica.type = checked;
}

Replica Topology::replica(const Dn &partitionDn, const Dn &server) {
    Replica copy = requireReplica(requirePartition(partitionDn), server);
    copy.state = stateOf(partitionDn.key, copy);
    return copy;
}

ReplicaState Topology::stateOf(std::string_view partition, const Replica &replica) const {
    for (const auto &[key, what] : pending_)
        if (concerns(key, what, partition))
            return ReplicaState::Pending;
    return replica.state;
}

std::vector<std::string> Topology::replicaServers(const Dn &partitionDn) {
    std::map<std::int32_t, std::string> byNumber;
    for (const auto &[key, replica] : requirePartition(partitionDn).replicas)
        byNumber.emplace(replica.number, replica.serverDn);
    std::vector<std::string> servers;
    servers.reserve(byNumber.size());
    for (auto &[number, dn] : byNumber)
        servers.push_back(std::move(dn));
    return servers;
}

void Topology::synchronise(Replica &replica) const {
    replica.waiting = 0;
    replica.state = ReplicaState::On;
    replica.lastSync = clock_();
}

void Topology::receiveUpdates(const Dn &partitionDn, const Dn &server) {
    synchronise(requireReplica(requirePartition(partitionDn), server));
}

void Topology::sendUpdates(const Dn &partitionDn, const std::optional<Dn> &server) {
    Partition &partition = requirePartition(partitionDn);
    if (server)
        return synchronise(requireReplica(partition, *server));
    for (auto &[key, replica] : partition.replicas)
        synchronise(replica);
}

void Topology::requestSync(const Dn &server, const Dn &partitionDn, std::int32_t delay) {
    settle();
    // A split that is pending is synchronised through the partition that it still belongs to.
    const auto pending = pending_.find(partitionDn.key);
    Dn partition = partitionDn;
    if (pending != pending_.end() && pending->second == Pending::Split)
        partition.key = partitionOf(partitionDn.key);
    requireReplica(requirePartition(partition), server);
    requireDelay(delay);
    scheduled_.push_back({clock_() + delay, partition.key, server.key});
    settle();
}

void Topology::settle() {
    settleSchema();
    const std::int64_t now = clock_();
    std::vector<ScheduledSync> due;
    std::erase_if(scheduled_, [&](const ScheduledSync &sync) {
        if (sync.due > now)
            return false;
        due.push_back(sync);
        return true;
    });
    for (const ScheduledSync &sync : due) {
        const auto partition = partitions_.find(sync.partition);
        if (partition == partitions_.end())
            continue;
        const auto replica = partition->second.replicas.find(sync.server);
        if (replica == partition->second.replicas.end())
            continue;
        synchronise(replica->second);
        completeAllOf(sync.partition);
    }
}

void Topology::schemaChanged() {
    settle();
    ++schema_.epoch;
    schema_.changedAt = clock_();
    for (const auto &[root, partition] : partitions_)
        for (const auto &[server, replica] : partition.replicas)
            if (server != ownServer_)
                schema_.outOfDate[server] = replica.serverDn;
}

void Topology::requestSchemaSync(const Dn &server, std::int32_t delay) {
    requireServer(server);
    requireDelay(delay);
    schemaSyncs_.emplace_back(clock_() + delay, server.key);
    settle();
}

void Topology::synchroniseSchema() {
    schema_.outOfDate.clear();
    schema_.syncedAt = clock_();
}

const SchemaState &Topology::schemaState() {
    settle();
    return schema_;
}

void Topology::settleSchema() {
    std::erase_if(schemaSyncs_, [this](const auto &sync) {
        const auto &[due, server] = sync;
        if (due > clock_())
            return false;
        schema_.outOfDate.erase(server);
        schema_.syncedAt = std::max(schema_.syncedAt, due);
        return true;
    });
}

void Topology::setFilter(const Dn &server, std::vector<FilterClass> filter) {
    requireServer(server);
    filters_[server.key] = std::move(filter);
}

const std::vector<FilterClass> &Topology::filter(const Dn &server) const {
    static const std::vector<FilterClass> none;
    requireServer(server);
    const auto found = filters_.find(server.key);
    return found == filters_.end() ? none : found->second;
}

void Topology::countWaiting(const Change &change) {
    const std::string_view partition = partitionOf(change.node.key);
    raiseWaiting(partition);
    if (change.kind != Change::Kind::Rename)
        return;
    const std::string_view previous = partitionOf(change.previousKey);
    if (previous != partition)
        raiseWaiting(previous);
}

void Topology::raiseWaiting(std::string_view partition) {
    const auto found = partitions_.find(partition);
    if (found == partitions_.end())
        return;
    for (auto &[server, replica] : found->second.replicas)
        if (server != ownServer_ && replica.waiting < std::numeric_limits<std::int32_t>::max())
            ++replica.waiting;
}

} // namespace stratasim
