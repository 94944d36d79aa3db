#include "monitor.h"

#include "schema.h"
#include "text.h"

namespace stratasim {
namespace {

Entry bareEntry(const char *cn, const char *description) {
    Entry entry;
    entry.set("objectClass", {"top", "applicationProcess"});
    entry.add("cn", cn);
    entry.add("description", description);
    return entry;
}

void showTime(Entry &entry, const char *name, std::int64_t time) {
    if (time > 0)
        entry.set(name, {generalizedTime(time)});
}

void showSchemaState(Entry &entry, const SchemaState &state) {
    entry.set("schemaEpoch", {std::to_string(state.epoch)});
    showTime(entry, "schemaChangeTime", state.changedAt);
    showTime(entry, "schemaSyncTime", state.syncedAt);
    entry.remove(schema::keyOf("schemaOutOfDate"));
    for (const auto &[key, dn] : state.outOfDate)
        entry.add("schemaOutOfDate", dn);
}

} // namespace

void Monitor::addEntries(Tree &tree) {
    tree.addRoot(requireDn(kMonitorDn), bareEntry("monitor", "What the server is doing"));
    tree.add(requireDn(kTriggersDn), bareEntry("triggers", "Runs of the background processes"));
}

void Monitor::refresh(Tree &tree, std::int64_t now, const SchemaState &schemaState) const {
    Entry &monitor = tree.find(kMonitorDn)->entry;
    monitor.set("startTime", {generalizedTime(startedAt)});
    monitor.set("uptimeSeconds", {std::to_string(now - startedAt)});
    monitor.set("connections", {std::to_string(connections)});
    monitor.set("totalConnections", {std::to_string(totalConnections)});
    monitor.set("operations", {std::to_string(operations)});
    monitor.set("entriesSent", {std::to_string(entriesSent)});
    showSchemaState(monitor, schemaState);
    Entry &runs = tree.find(kTriggersDn)->entry;
    for (const auto &[name, count] : triggers)
        runs.set(name, {std::to_string(count)});
    if (!limberDn.empty())
        runs.set("limberDN", {limberDn});
}

} // namespace stratasim
