#include "extended/registry.h"

namespace stratasim {
namespace {

/** Counts a run; its name is that of the attribute of the triggers entry that shows it. */
ResponseValue countRun(const ExtendedCall &call, const char *name) {
    ++call.directory.monitor.triggers[name];
    return {};
}

ResponseValue limber(const ExtendedCall &call) {
    if (!call.arguments.empty())
        call.directory.monitor.limberDn = call.arguments.dn(0).text;
    return countRun(call, "limberRuns");
}

ResponseValue refresh(const ExtendedCall &call) {
    return countRun(call, "refreshRuns");
}
ResponseValue backlink(const ExtendedCall &call) {
    return countRun(call, "backlinkRuns");
}
ResponseValue janitor(const ExtendedCall &call) {
    return countRun(call, "janitorRuns");
}
ResponseValue skulker(const ExtendedCall &call) {
    return countRun(call, "skulkerRuns");
}
ResponseValue schemaSync(const ExtendedCall &call) {
    call.directory.topology.synchroniseSchema();
    return countRun(call, "schemaSyncRuns");
}
ResponseValue purge(const ExtendedCall &call) {
    return countRun(call, "partitionPurgeRuns");
}

} // namespace

std::vector<ExtendedOperation> triggerOperations() {
    using enum ExtendedOperation::Access;
    std::vector<ExtendedOperation> operations = {
        strataOperation(9, "refresh-server", Administrator, "", refresh),
        strataOperation(43, "trigger-backlink", Administrator, "", backlink),
        strataOperation(47, "trigger-janitor", Administrator, "", janitor),
        strataOperation(49, "trigger-limber", Administrator, "?s", limber),
        strataOperation(51, "trigger-skulker", Administrator, "", skulker),
        strataOperation(53, "trigger-schema-sync", Administrator, "", schemaSync),
        strataOperation(55, "trigger-partition-purge", Administrator, "", purge),
    };
    for (ExtendedOperation &operation : operations)
        operation.trigger = true;
    return operations;
}

} // namespace stratasim
