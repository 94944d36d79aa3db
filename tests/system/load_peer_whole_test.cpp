// Whole loads into the simulator, which know nothing of how the tool does it: what is there at the
// end, and how many changes it took.
#include "system/load_peer_file.h"
#include "system/load_peer_tree.h"
#include "system/simulator.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;

constexpr const char *suffix = "dc=example,dc=com";

class LoadWhole : public testing::Test {
  protected:
    [[nodiscard]] LoadTarget target() const { return {simulator.uri(), adminDn, adminPassword}; }
    [[nodiscard]] Result load(const std::string &file, const Arguments &more = {}) const {
        return runTool(target().load(file, more));
    }
    /** How many changes the call makes. */
    template <typename Call>
    [[nodiscard]] long changesBy(const Call &call) const {
        const long before = session.changeNumber(suffix);
        call();
        return session.changeNumber(suffix) - before - 1;
    }
    void expectTree(const PeopleFile &file, const PeoplePlan &plan) const {
        EXPECT_EQ(differences(file.tree, session.subtree(plan.base)), "");
    }

    const Simulator simulator;
    const PeerSession session{simulator.uri(), adminDn, adminPassword};
};

// What the tests believe of the file is what another client makes of it.
TEST_F(LoadWhole, FileIsWhatLdapmodifyTakesItFor) {
    PeoplePlan plan;
    plan.renames = 10;
    const PeopleFile file(plan);
    const long changes = changesBy([&] {
        const Result result =
            runShell("ldapmodify -a -x -H \"$URI\" -D \"$DN\" -w \"$PASSWORD\" -f \"$FILE\"",
                     {{{"URI", simulator.uri()},
                       {"DN", adminDn},
                       {"PASSWORD", adminPassword},
                       {"FILE", file.path()}},
                      {},
                      {}});
        EXPECT_EQ(result.status, 0) << result.err;
    });
    EXPECT_EQ(changes, static_cast<long>(file.counts.all()));
    expectTree(file, plan);
}

TEST_F(LoadWhole, AHundredThousandPeople) {
    PeoplePlan plan;
    plan.people = isSanitized ? 3000 : 100000;
    plan.units = 50;
    plan.renames = 20;
    const PeopleFile file(plan);
    EXPECT_EQ(changesBy([&] { expectAllDone(load(file.path()), file.counts); }),
              static_cast<long>(file.counts.all()));
    expectTree(file, plan);
    EXPECT_FALSE(file.has("people.ldif.checkpoint"));
}

struct Way {
    const char *name;
    Arguments options;
};

void PrintTo(const Way &way, std::ostream *out) {
    *out << way.name;
}

class LoadWholeWay : public LoadWhole, public testing::WithParamInterface<Way> {
  protected:
    LoadWholeWay() : file(plan()) {}

    static PeoplePlan plan() {
        PeoplePlan plan;
        plan.people = isSanitized ? 300 : 3000;
        plan.renames = 10;
        return plan;
    }
    void expectWhole(const Result &result) const {
        expectAllDone(result, file.counts);
        expectTree(file, plan());
    }

    const PeopleFile file;
};

TEST_P(LoadWholeWay, File) {
    expectWhole(load(file.path(), GetParam().options));
}

TEST_P(LoadWholeWay, CompressedFile) {
    expectWhole(load(file.compressed(), GetParam().options));
}

TEST_P(LoadWholeWay, StandardInput) {
    expectWhole(target().loadFromInput(file.path(), GetParam().options).wait());
}

TEST_P(LoadWholeWay, CompressedStandardInput) {
    expectWhole(target().loadFromInput(file.compressed(), GetParam().options).wait());
}

const Way ways[] = {
    {"Plain", {}},
    {"OneByOne", {"--batch", "1", "--window", "1"}},
    {"SmallBatches", {"--batch", "7", "--window", "64"}},
    {"WideWindow", {"--window", "64"}},
    {"OneRequestAtATime", {"--window", "1"}},
};
INSTANTIATE_TEST_SUITE_P(Each, LoadWholeWay, testing::ValuesIn(ways),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_F(LoadWhole, DryRunCountsTheSame) {
    PeoplePlan plan;
    plan.renames = 5;
    const PeopleFile file(plan);
    const Result result = runTool({"load", file.path(), "--dry-run", "--json"});
    expectAllRead(result, file.counts);
    EXPECT_EQ(session.subtree(plan.base).size(), 0U);
    EXPECT_FALSE(file.has("people.ldif.checkpoint"));
}

TEST_F(LoadWhole, RejectsLoadWhenTheyAreMended) {
    PeoplePlan plan;
    const PeopleFile file(plan);
    std::string text = readFile(file.path());
    // Without their parents nothing of the first unit can be loaded.
    const std::size_t parent = text.find("dn: ou=Unit 00,"), next = text.find("dn: ", parent + 1);
    const std::string unit = text.substr(parent, next - parent);
    std::ofstream(file.path("cut.ldif")) << text.erase(parent, next - parent);
    const std::string rejects = file.path("rejects.ldif");
    const Result first = load(file.path("cut.ldif"), {"--continue", "--rejects", rejects});
    EXPECT_EQ(first.status, 1);
    const long failed = sumOf(first.json(), "failed");
    EXPECT_GT(failed, 100);
    EXPECT_THAT(readFile(rejects), HasSubstr("result 32"));
    std::ofstream(file.path("mended.ldif")) << unit << readFile(rejects);
    const Result second = load(file.path("mended.ldif"));
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(sumOf(second.json(), "done"), failed + 1);
    expectTree(file, plan);
}

} // namespace
} // namespace test
