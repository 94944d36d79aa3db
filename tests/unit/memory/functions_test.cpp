// Every exported function with each of its allocations failing, once and from there on.
//
// unit_memory_test          tries some of the allocations behind a row's first hundred
//   --all                   tries all of them, which takes minutes
//   --write                 puts what came of it into docs/failing-memory.md
//   --row=NAME              tries one row and prints what came of it
#include "memory/document.h"
#include "memory/exported.h"
#include "memory/verdict.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iostream>

namespace qldapx_test::memory {
namespace {

Depth depth = Depth::some;

Rows allRows() {
    Rows rows;
    for (const auto add : {addOperations, addControls, addSearches, addEvents, addBulkUpdate,
                           addDescriptions, addSchema, addSchemaSteps, addDigestMd5, addCrypto,
                           addTlsSettings, addTlsConnections, addNeighbours})
        add(rows);
    return rows;
}

const Records &allRecords() {
    static const Records records = runAll(allRows(), depth);
    return records;
}

TEST(FailingMemory, TakesEveryExportedFunction) {
    for (const std::string &function : exportedFunctions())
        EXPECT_EQ(allRecords().count(function), 1U) << function;
    for (const auto &[function, record] : allRecords())
        EXPECT_TRUE(function.find(':') != function.npos || exportedFunctions().count(function) == 1)
            << function << " is not exported";
}

TEST(FailingMemory, NoFunctionDoesMoreThanIsSaid) {
    for (const auto &[function, record] : allRecords())
        if (!isNeighbour(function)) {
            EXPECT_EQ(excessOf(function, allRecords()), "") << function;
        }
}

TEST(FailingMemory, IsDocumented) {
    const auto rows = documented();
    for (const auto &[function, record] : allRecords()) {
        const auto found = rows.find(function);
        ASSERT_NE(found, rows.end()) << function << " is not in docs/failing-memory.md";
        if (!isNeighbour(function)) {
            EXPECT_EQ(found->second, verdictOn(function, record)) << function;
        }
    }
    for (const auto &[function, verdict] : rows)
        EXPECT_EQ(allRecords().count(function), 1U) << function << " has no row here";
}

void print(const Records &records) {
    for (const auto &[function, record] : records)
        std::cout << function << ": " << record.tried << " allocations, " << deedsOf(record)
                  << ", by contract " << record.lostByContract << " blocks\n";
}

int tryRow(const std::string &name) {
    Rows rows = allRows();
    rows.erase(
        std::remove_if(rows.begin(), rows.end(), [&](const Row &row) { return row.name != name; }),
        rows.end());
    print(runAll(rows, depth));
    return rows.empty() ? 1 : 0;
}

int run(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    const std::set<std::string> arguments(argv + 1, argv + argc);
    depth = arguments.count("--all") > 0 ? Depth::all : Depth::some;
    for (const std::string &argument : arguments)
        if (argument.starts_with("--row="))
            return tryRow(argument.substr(6));
    if (arguments.count("--write") > 0)
        document(allRecords());
    return RUN_ALL_TESTS();
}

} // namespace
} // namespace qldapx_test::memory

int main(int argc, char **argv) {
    return qldapx_test::memory::run(argc, argv);
}
