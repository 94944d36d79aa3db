// Memory does not grow with the file.
#include "system/load_peer_file.h"
#include "system/simulator.h"

#include <fstream>
#include <gtest/gtest.h>

namespace test {
namespace {

long peakOf(int people) {
    const TemporaryFolder folder;
    const std::string path = folder.path("people.ldif");
    {
        PeoplePlan plan;
        plan.people = people;
        std::ofstream out(path);
        writePeople(plan, out, nullptr);
    }
    const Simulator simulator;
    const Result result = runTool(LoadTarget{simulator.uri(), adminDn, adminPassword}.load(path));
    EXPECT_EQ(result.status, 0) << result.err;
    return result.peakKiB;
}

TEST(LoadPeerMemory, StaysFlat) {
    const long small = peakOf(20000), large = peakOf(100000);
    EXPECT_LT(large, 64 * 1024);
    EXPECT_LT(large - small, 4 * 1024) << small << " and " << large << " KiB";
}

} // namespace
} // namespace test
