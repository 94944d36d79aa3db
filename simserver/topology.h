#pragma once

#include "dn.h"
#include "tree.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace stratasim {

/** Seconds since the epoch; tests put their own time here. */
using Clock = std::function<std::int64_t()>;

enum class ReplicaType : std::int32_t { Primary = 1, Writable = 2, ReadOnly = 3 };

/** `New` until the first synchronisation, `Pending` while a split or merge is under way. */
enum class ReplicaState : std::int32_t { On = 0, New = 1, Pending = 2 };

/** A server's copy of a partition. */
struct Replica {
    std::string serverDn;
    std::int32_t number = 0; // unique in its partition, never given twice
    ReplicaType type = ReplicaType::Writable;
    ReplicaState state = ReplicaState::On;
    std::int64_t lastSync = 0;
    std::int32_t flags = 0;   // those that it was added with
    std::int32_t waiting = 0; // changes made elsewhere that it has not received
};

/** How far the servers have followed the changes of the schema. */
struct SchemaState {
    std::int64_t epoch = 0; // grows by one with each change
    std::int64_t changedAt = 0;
    std::int64_t syncedAt = 0;
    std::map<std::string, std::string> outOfDate; // servers' DNs by their keys
};

/** One class of a replication filter and the attributes of it that are replicated. */
struct FilterClass {
    std::string name;
    std::vector<std::string> attributes;
};

/**
 * Partitions of the tree, the replicas that servers hold of them, and what is under way. All
 * operations throw OperationError as the administrator shall see it.
 */
class Topology {
  public:
    Topology(Tree &tree, Clock clock);

    /** Makes an entry the root of a partition with replicas on these servers, first one primary. */
    void establish(const Dn &root, const std::vector<std::string> &serverDns);

    /** A split or merge with this flag stays pending until a synchronisation or an abort. */
    static constexpr std::int32_t kPendingFlag = 1;
    void split(const Dn &dn, std::int32_t flags);
    void merge(const Dn &dn, std::int32_t flags);
    void abort(const Dn &dn);
    std::int32_t entryCount(const Dn &root);

    void addOrphan(const Dn &server, const Dn &partition);
    void removeOrphan(const Dn &server, const Dn &partition);

    void addReplica(const Dn &partition, const Dn &server, std::int32_t type, std::int32_t flags);
    void removeReplica(const Dn &partition, const Dn &server);
    void changeReplicaType(const Dn &partition, const Dn &server, std::int32_t type);
    Replica replica(const Dn &partition, const Dn &server);
    std::vector<std::string> replicaServers(const Dn &partition);

    /** The server takes all changes that wait for it. */
    void receiveUpdates(const Dn &partition, const Dn &server);
    /** All replicas take their changes, or only that of `server`. */
    void sendUpdates(const Dn &partition, const std::optional<Dn> &server);
    /** After `delay` seconds the replica takes its changes and what is pending there completes. */
    void requestSync(const Dn &server, const Dn &partition, std::int32_t delay);
    /** All servers that hold replicas are behind this one's schema now. */
    void schemaChanged();
    /** After `delay` seconds the server has the schema; all of them have it at once. */
    void requestSchemaSync(const Dn &server, std::int32_t delay);
    void synchroniseSchema();
    const SchemaState &schemaState();

    void setFilter(const Dn &server, std::vector<FilterClass> filter);
    const std::vector<FilterClass> &filter(const Dn &server) const;

    /** The key of the root of the partition that an entry lies in; empty when it lies in none. */
    std::string_view partitionOf(std::string_view key) const;
    /** Throws when a partition or replica depends on an entry of that subtree. */
    void requireUnused(const Node &top) const;

  private:
    struct Partition {
        std::map<std::string, Replica> replicas; // by the server's key
        std::int32_t nextNumber = 1;
    };
    enum class Pending { Split, Merge };

    struct ScheduledSync {
        std::int64_t due;
        std::string partition; // keys, all of them
        std::string server;
    };

    /** Runs the synchronisations that are due; each operation sees their outcome. */
    void settle();
    void settleSchema();
    Partition &requirePartition(const Dn &dn);
    static Replica &requireReplica(Partition &partition, const Dn &server);
    void requireServer(const Dn &server) const;
    void begin(const std::string &key, Pending what, std::int32_t flags);
    void complete(const std::string &key);
    void completeAllOf(const std::string &partition);
    bool concerns(const std::string &key, Pending what, std::string_view partition) const;
    void synchronise(Replica &replica) const;
    ReplicaState stateOf(std::string_view partition, const Replica &replica) const;
    void countWaiting(const Change &change);
    void raiseWaiting(std::string_view partition);

    Tree &tree_;
    Clock clock_;
    std::map<std::string, Partition, std::less<>> partitions_; // by the root's key
    std::map<std::string, Pending, std::less<>> pending_;
    std::vector<ScheduledSync> scheduled_;
    std::vector<std::pair<std::int64_t, std::string>> schemaSyncs_; // when due, of which server
    SchemaState schema_;
    std::set<std::pair<std::string, std::string>> orphans_;
    std::map<std::string, std::vector<FilterClass>, std::less<>> filters_;
    std::string ownServer_; // whose replicas receive this server's writes
};

} // namespace stratasim
