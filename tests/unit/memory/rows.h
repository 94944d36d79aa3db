// rows.h - every exported function at work, by family.
#pragma once

#include "memory/trial.h"

#include <functional>
#include <string>
#include <vector>

namespace qldapx_test::memory {

// A run begins a process of its own: what it keeps in static objects lives as long as its trials.
struct Row {
    std::string name;
    std::function<void(Trial &)> run;
    // Of allocations behind the first hundred, one of so many is tried; all are on demand.
    long stride = 1;
    // Not 0: each trial is the first run in its process, and there are no more than so many.
    long firstUses = 0;
};
using Rows = std::vector<Row>;

void addOperations(Rows &rows);
void addControls(Rows &rows);
void addSearches(Rows &rows);
void addEvents(Rows &rows);
void addBulkUpdate(Rows &rows);
void addDescriptions(Rows &rows);
void addSchema(Rows &rows);
void addSchemaSteps(Rows &rows);
void addDigestMd5(Rows &rows);
void addCrypto(Rows &rows);
void addTlsSettings(Rows &rows);
void addTlsConnections(Rows &rows);
// libldap's and OpenSSL's own functions, without this library.
void addNeighbours(Rows &rows);

} // namespace qldapx_test::memory
