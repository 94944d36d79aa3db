// Loads that end early, wherever that may be: resumed, everything is there at the end and nothing
// was carried out twice.
#include "system/load_peer_file.h"
#include "system/load_peer_relay.h"
#include "system/load_peer_tree.h"
#include "system/simulator.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

namespace test {
namespace {

constexpr const char *suffix = "dc=example,dc=com";

class LoadPeerResume : public testing::Test {
  protected:
    static PeoplePlan plan() {
        PeoplePlan plan;
        plan.people = 1200; // for more requests than those that are cut off
        plan.renames = 6;
        return plan;
    }

    void SetUp() override { changesBefore = session.changeNumber(suffix); }

    void connectThrough(std::vector<Cut> cuts) { relay.emplace(simulator.uri(), std::move(cuts)); }
    [[nodiscard]] Process start(Arguments more = {}) const {
        if (readsInput)
            more.insert(more.end(), {"--checkpoint", file.path("checkpoint")});
        more.insert(more.end(), {"--batch", "25"});
        const LoadTarget target{relay->uri(), adminDn, adminPassword};
        return readsInput ? target.loadFromInput(path, more)
                          : Process(QLDAPX_PATH, target.load(path, more));
    }
    Result run(const Arguments &more = {}) {
        const Result result = start(more).wait();
        relay->awaitIdle();
        return result;
    }
    [[nodiscard]] bool hasCheckpoint() const {
        return file.has("checkpoint") || file.has("people.ldif.checkpoint") ||
               file.has("people.ldif.gz.checkpoint");
    }

    /** Resumes to the end, and looks at what it came to. */
    void expectWholeAfterResume() {
        const Result result = run({"--resume"});
        EXPECT_EQ(result.status, 0) << result.err;
        expectWhole();
    }
    void expectWhole() const {
        EXPECT_FALSE(hasCheckpoint());
        // An entry that comes and goes again may be left out, and nothing may be done twice.
        const long all = static_cast<long>(file.counts.all());
        const long changes = session.changeNumber(suffix) - changesBefore - 1;
        EXPECT_LE(changes, all);
        EXPECT_GT(changes, all - 100);
        EXPECT_EQ(differences(file.tree, session.subtree(plan().base)), "");
    }

    /** Starts the tool, and sends it the signal once so many answers came. */
    Result interrupt(int signal, std::size_t answers, const Arguments &more) {
        Process process = start(more);
        const std::size_t before = connectionsSeen;
        EXPECT_TRUE(
            soon([&] { return relay->connections() > before && relay->answers() >= answers; }));
        process.signal(signal);
        const Result result = process.wait();
        relay->awaitIdle();
        connectionsSeen = relay->connections();
        return result;
    }

    const Simulator simulator;
    const PeerSession session{simulator.uri(), adminDn, adminPassword};
    const PeopleFile file{plan()};
    std::string path = file.path();
    bool readsInput = false;
    std::optional<Relay> relay;
    std::size_t connectionsSeen = 0;
    long changesBefore = 0;
};

using Way = Cut::Way;
using Where = Cut::Where;

// The first messages one by one, when a load begins; then some in the middle and at the end.
class LoadPeerCut : public LoadPeerResume,
                    public testing::WithParamInterface<std::tuple<Way, Where, std::size_t>> {};

TEST_P(LoadPeerCut, ResumesWhereTheConnectionWasLost) {
    const auto &[way, where, message] = GetParam();
    connectThrough({{way, message, where}});
    const Result first = run();
    EXPECT_EQ(first.status, 1) << first.out;
    EXPECT_NE(first.err, "");
    // Before the first request there is nothing that could be resumed.
    if (hasCheckpoint())
        expectWholeAfterResume();
    else {
        EXPECT_EQ(run().status, 0);
        expectWhole();
    }
}

std::string cutName(const testing::TestParamInfo<LoadPeerCut::ParamType> &test) {
    const auto &[way, where, message] = test.param;
    return std::string(way == Way::Requests ? "Request" : "Answer") + std::to_string(message) +
           (where == Where::Before   ? "Before"
            : where == Where::Within ? "Within"
                                     : "After");
}

INSTANTIATE_TEST_SUITE_P(Each, LoadPeerCut,
                         testing::Combine(testing::Values(Way::Requests, Way::Answers),
                                          testing::Values(Where::Before, Where::Within,
                                                          Where::After),
                                          testing::Values(2, 3, 4, 5, 6, 9, 20, 40)),
                         cutName);

struct Source {
    const char *name;
    bool isCompressed, isInput;
};

void PrintTo(const Source &source, std::ostream *out) {
    *out << source.name;
}

class LoadPeerKill : public LoadPeerResume, public testing::WithParamInterface<Source> {
  protected:
    void SetUp() override {
        LoadPeerResume::SetUp();
        readsInput = GetParam().isInput;
        if (GetParam().isCompressed)
            path = file.compressed();
        connectThrough({});
    }
};

// Some kills come before anything is sent, and some find the load done.
TEST_P(LoadPeerKill, ManyTimesInARow) {
    std::mt19937 random(7);
    Result result;
    for (int kill = 0; kill < 8 && result.status != 0; ++kill) {
        SCOPED_TRACE(kill);
        const Arguments more = hasCheckpoint() ? Arguments{"--resume"} : Arguments{};
        result = interrupt(SIGKILL, 1 + random() % 12, more);
        ASSERT_TRUE(result.status == 0 || result.status == 128 + SIGKILL) << result.err;
    }
    if (result.status == 0)
        expectWhole();
    else
        expectWholeAfterResume();
}

const Source sources[] = {
    {"File", false, false},
    {"CompressedFile", true, false},
    {"StandardInput", false, true},
    {"CompressedStandardInput", true, true},
};
INSTANTIATE_TEST_SUITE_P(Each, LoadPeerKill, testing::ValuesIn(sources),
                         [](const auto &test) { return std::string(test.param.name); });

// Two of a kind that nobody has taken yet are one.
bool hasTakenSignals(pid_t pid) {
    const std::string status = readFile("/proc/" + std::to_string(pid) + "/status");
    return status.find("ShdPnd:\t0000000000000000") != std::string::npos;
}

class LoadPeerSignal : public LoadPeerResume, public testing::WithParamInterface<int> {};

// What is under way is awaited: nothing is in doubt.
TEST_P(LoadPeerSignal, EndsInOrderAndResumes) {
    connectThrough({});
    const Result result = interrupt(GetParam(), 12, {"--rate", "2000"});
    EXPECT_EQ(result.status, 128 + GetParam()) << result.err;
    EXPECT_EQ(sumOf(result.json(), "inDoubt"), 0);
    EXPECT_LT(sumOf(result.json(), "done"), static_cast<long>(file.counts.all()));
    EXPECT_TRUE(hasCheckpoint());
    expectWholeAfterResume();
}

TEST_P(LoadPeerSignal, TwiceEndsAtOnce) {
    connectThrough({});
    Process process = start({"--rate", "2000"});
    EXPECT_TRUE(soon([&] { return relay->answers() >= 12; }));
    relay->hold();
    const std::size_t before = relay->requests();
    EXPECT_TRUE(soon([&] { return relay->requests() > before; })); // something is under way
    process.signal(GetParam());
    EXPECT_TRUE(soon([&] { return hasTakenSignals(process.pid()); }));
    process.signal(GetParam());
    const Result result = process.wait();
    EXPECT_EQ(result.status, 128 + GetParam()) << result.err;
    relay->release();
    relay->awaitIdle();
    EXPECT_TRUE(hasCheckpoint());
    expectWholeAfterResume();
}

INSTANTIATE_TEST_SUITE_P(Each, LoadPeerSignal, testing::Values(SIGINT, SIGTERM),
                         [](const auto &test) { return test.param == SIGINT ? "Int" : "Term"; });

} // namespace
} // namespace test
