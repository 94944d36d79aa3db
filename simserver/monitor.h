#pragma once

#include "topology.h"
#include "tree.h"

#include <cstdint>
#include <map>
#include <string>

namespace stratasim {

/** What the server counts, and the entries below cn=monitor that show it. */
struct Monitor {
    std::int64_t startedAt = 0;
    std::int64_t connections = 0; // open now
    std::int64_t totalConnections = 0;
    std::int64_t operations = 0;
    std::int64_t entriesSent = 0;
    std::int64_t openSearches = 0;
    std::map<std::string, std::int64_t> triggers; // runs of each background process, by name
    std::string limberDn;                         // the DN given to limber last

    /** Makes the entries, once. */
    static void addEntries(Tree &tree);
    /** Brings the entries' values up to date. */
    void refresh(Tree &tree, std::int64_t now, const SchemaState &schemaState) const;
};

inline constexpr const char *kMonitorDn = "cn=monitor";
inline constexpr const char *kTriggersDn = "cn=triggers,cn=monitor";

} // namespace stratasim
