#include "result.h"
#include "topology.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace stratasim {
namespace {

[[noreturn]] void refuse(const std::string &why) {
    throw OperationError(ResultCode::UnwillingToPerform, why);
}

} // namespace

Topology::Topology(Tree &tree, Clock clock) : tree_(tree), clock_(std::move(clock)) {
    tree_.subscribe([this](const Change &change) { countWaiting(change); });
}

void Topology::establish(const Dn &root, const std::vector<std::string> &serverDns) {
    Partition &partition = partitions_[root.key];
    for (const std::string &dn : serverDns) {
        const std::int32_t number = partition.nextNumber++;
        Replica replica;
        replica.serverDn = dn;
        replica.number = number;
        replica.type = static_cast<ReplicaType>(std::min(number, 3));
        replica.lastSync = clock_();
        const std::string key = requireDn(dn).key;
        if (ownServer_.empty())
            ownServer_ = key;
        partition.replicas.emplace(key, std::move(replica));
    }
}

Topology::Partition &Topology::requirePartition(const Dn &dn) {
    settle();
    const auto found = partitions_.find(dn.key);
    if (found == partitions_.end())
        throw OperationError(ResultCode::NoSuchObject,
                             fmt::format("\"{}\" is not the root of a partition", dn.text));
    return found->second;
}

std::string_view Topology::partitionOf(std::string_view key) const {
    while (!key.empty() && !partitions_.contains(key))
        key = parentKey(key);
    return key;
}

void Topology::split(const Dn &dn, std::int32_t flags) {
    settle();
    const auto node = tree_.require(dn);
    if (partitions_.contains(node->key))
        throw OperationError(ResultCode::EntryAlreadyExists,
                             fmt::format("\"{}\" is the root of a partition already", node->dn));
    if (partitionOf(node->key).empty())
        refuse(fmt::format("\"{}\" lies in no partition", node->dn));
    begin(node->key, Pending::Split, flags);
}

void Topology::merge(const Dn &dn, std::int32_t flags) {
    requirePartition(dn);
    if (partitionOf(parentKey(dn.key)).empty())
        refuse(fmt::format("\"{}\" is a topmost partition: there is none to join", dn.text));
    begin(dn.key, Pending::Merge, flags);
}

void Topology::begin(const std::string &key, Pending what, std::int32_t flags) {
    if (!pending_.emplace(key, what).second)
        refuse("a split or merge of it is pending: abort it or synchronise the partition");
    if ((flags & kPendingFlag) == 0)
        complete(key);
}

void Topology::complete(const std::string &key) {
    const auto pending = pending_.extract(key);
    if (pending.mapped() == Pending::Merge)
        partitions_.erase(key);
    else
        partitions_.emplace(key, Partition(partitions_.find(partitionOf(key))->second));
}

bool Topology::concerns(const std::string &key, Pending what, std::string_view partition) const {
    return key == partition || (what == Pending::Split && partitionOf(key) == partition);
}

void Topology::completeAllOf(const std::string &partition) {
    std::vector<std::string> keys;
    for (const auto &[key, what] : pending_)
        if (concerns(key, what, partition))
            keys.push_back(key);
    for (const std::string &key : keys)
        complete(key);
}

void Topology::abort(const Dn &dn) {
    settle();
    if (pending_.erase(dn.key) == 0)
        refuse(fmt::format("nothing is pending for \"{}\"", dn.text));
}

std::int32_t Topology::entryCount(const Dn &root) {
    requirePartition(root);
    std::int64_t count = 0;
    std::vector<const Node *> open = {tree_.require(root).get()};
    while (!open.empty()) {
        const Node *node = open.back();
        open.pop_back();
        ++count;
        for (const auto &[order, child] : node->children)
            if (!partitions_.contains(child->key))
                open.push_back(child.get());
    }
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min(count, most));
}

void Topology::requireServer(const Dn &server) const {
    if (!tree_.find(server.key))
        throw OperationError(ResultCode::NoSuchObject,
                             fmt::format("there is no server \"{}\"", server.text));
}

void Topology::addOrphan(const Dn &server, const Dn &partition) {
    requireServer(server);
    if (!orphans_.emplace(server.key, partition.key).second)
        throw OperationError(ResultCode::EntryAlreadyExists,
                             fmt::format("\"{}\" holds that orphan already", server.text));
}

void Topology::removeOrphan(const Dn &server, const Dn &partition) {
    if (orphans_.erase({server.key, partition.key}) == 0)
        throw OperationError(ResultCode::NoSuchObject, fmt::format("\"{}\" holds no orphan \"{}\"",
                                                                   server.text, partition.text));
}

void Topology::requireUnused(const Node &top) const {
    const auto inside = [&top](std::string_view key) { return isWithin(key, top.key); };
    for (const auto &[root, partition] : partitions_) {
        if (inside(root))
            refuse(fmt::format("the partition \"{}\" begins there: merge it first", root));
        for (const auto &[server, replica] : partition.replicas)
            if (inside(server))
                refuse(fmt::format("the server \"{}\" holds replicas: remove them first",
                                   replica.serverDn));
    }
    for (const auto &[key, what] : pending_)
        if (inside(key))
            refuse(fmt::format("an operation on \"{}\" is pending: abort it first", key));
}

} // namespace stratasim
