// What a resumed load makes of updates whose answers were lost, and of its rejects.
#include "system/load_peer_file.h"
#include "system/load_peer_relay.h"
#include "system/load_peer_tree.h"
#include "system/simulator.h"

#include <csignal>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <sstream>

namespace test {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char *base = "ou=people,dc=example,dc=com"; // which the simulator has

std::string dnOf(const std::string &name) {
    return "cn=" + name + "," + base;
}

std::string person(const std::string &name) {
    return "dn: " + dnOf(name) + "\nobjectClass: person\ncn: " + name + "\nsn: of the file\n\n";
}

std::string removal(const std::string &name) {
    return "dn: " + dnOf(name) + "\nchangetype: delete\n\n";
}

class LoadPeerDoubt : public testing::Test {
  protected:
    [[nodiscard]] Process start(const Arguments &more = {}) const {
        return {QLDAPX_PATH, LoadTarget{relay->uri(), adminDn, adminPassword}.load(file, more)};
    }
    Result run(const Arguments &more = {}) {
        const Result result = start(more).wait();
        relay->awaitIdle();
        return result;
    }
    /** Loads the records in one request, of which the answer or the request itself is lost. */
    void lose(Cut::Way way, const std::string &records, const Arguments &more = {}) {
        file = folder.write("records.ldif", records);
        // Before it come the bind, the root DSE and the start, whose answers are one more.
        const std::size_t message = way == Cut::Way::Requests ? 4 : 5;
        relay.emplace(simulator.uri(), std::vector<Cut>{{way, message, Cut::Where::Before}});
        const Result result = run(more);
        ASSERT_EQ(result.status, 1) << result.out;
        ASSERT_GT(sumOf(result.json(), "inDoubt"), 0) << result.out;
    }
    [[nodiscard]] bool isThere(const std::string &name) const {
        return !session.subtree(dnOf(name)).empty();
    }
    void expectResumed(const std::vector<std::string> &there,
                       const std::vector<std::string> &gone) {
        const Result result = run({"--resume"});
        EXPECT_EQ(result.status, 0) << result.err;
        for (const std::string &name : there)
            EXPECT_TRUE(isThere(name)) << name;
        for (const std::string &name : gone)
            EXPECT_FALSE(isThere(name)) << name;
    }

    const Simulator simulator;
    const PeerSession session{simulator.uri(), adminDn, adminPassword};
    const TemporaryFolder folder;
    std::string file;
    std::optional<Relay> relay;
};

TEST_F(LoadPeerDoubt, LostRequestIsSentAgain) {
    lose(Cut::Way::Requests, person("A") + person("B"));
    EXPECT_FALSE(isThere("A"));
    expectResumed({"A", "B"}, {});
}

TEST_F(LoadPeerDoubt, LostAnswerIsNotSentAgain) {
    lose(Cut::Way::Answers, person("A") + person("B"));
    EXPECT_TRUE(isThere("A"));
    expectResumed({"A", "B"}, {});
}

// That an entry is not there does not tell whether it was deleted or never added.
TEST_F(LoadPeerDoubt, AbsenceProvesNothing) {
    lose(Cut::Way::Requests, person("A") + person("B") + removal("A") + person("C"));
    expectResumed({"B", "C"}, {"A"});
}

TEST_F(LoadPeerDoubt, AbsenceAtTheEndProvesNothing) {
    lose(Cut::Way::Requests, person("A") + person("B") + removal("Nobody"));
    const Result result = run({"--resume"});
    EXPECT_TRUE(isThere("A"));
    EXPECT_TRUE(isThere("B"));
}

TEST_F(LoadPeerDoubt, AbsenceProvesNoBulkRename) {
    const Arguments bulk = {"--rename", "bulk"};
    const std::string rename =
        "dn: " + dnOf("A") + "\nchangetype: modrdn\nnewrdn: cn=Z\ndeleteoldrdn: 1\n\n";
    lose(Cut::Way::Requests, person("B") + person("A") + rename, bulk);
    const Result result = run({"--resume", "--rename", "bulk"});
    EXPECT_TRUE(isThere("B"));
    // The simulator takes the new superior at its word, and there is none: all three were sent.
    EXPECT_TRUE(isThere("A"));
    EXPECT_THAT(result.err, HasSubstr("No such object"));
}

TEST_F(LoadPeerDoubt, DeletedIsNotAddedAnew) {
    lose(Cut::Way::Answers, person("A") + person("B") + removal("A") + person("C"));
    expectResumed({"B", "C"}, {"A"});
}

// It is gone, as it is to be, whether both were carried out or neither.
TEST_F(LoadPeerDoubt, AddedAndDeletedIsNoConflict) {
    for (const Cut::Way way : {Cut::Way::Requests, Cut::Way::Answers}) {
        lose(way, person("A") + removal("A"));
        expectResumed({}, {"A"});
    }
}

TEST_F(LoadPeerDoubt, ChangedBySomebodyElseIsAConflict) {
    lose(Cut::Way::Answers, person("A") + person("B"));
    simulator.change("dn: " + dnOf("B") + "\nchangetype: modify\nreplace: sn\nsn: another\n");
    const Result stopped = run({"--resume"});
    EXPECT_EQ(stopped.status, 1);
    for (const char *words : {"cn=B", "records.ldif:6", "--doubtful skip", "--doubtful send"})
        EXPECT_THAT(stopped.err, HasSubstr(words));
    const std::string rejects = folder.path("rejects.ldif");
    run({"--resume", "--doubtful", "skip", "--rejects", rejects});
    EXPECT_THAT(readFile(rejects), HasSubstr("dn: " + dnOf("B")));
    EXPECT_THAT(readFile(rejects), Not(HasSubstr("dn: " + dnOf("A"))));
}

TEST_F(LoadPeerDoubt, AConflictCanBeSentAgain) {
    lose(Cut::Way::Answers, person("A") + person("B"));
    simulator.change("dn: " + dnOf("B") + "\nchangetype: modify\nreplace: sn\nsn: another\n");
    const Result result = run({"--resume", "--doubtful", "send"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("cn=B"));
    EXPECT_THAT(result.err, Not(HasSubstr("cn=A,")));
}

// Without an object class it is refused.
std::string refused(int number) {
    return fmt::format("dn: cn=Bad {0:04},{1}\ncn: Bad {0:04}\n\n", number, base);
}

std::size_t countOf(const std::string &text, const std::string &words) {
    std::size_t count = 0;
    for (auto at = text.find(words); at != std::string::npos; at = text.find(words, at + 1))
        ++count;
    return count;
}

TEST_F(LoadPeerDoubt, RejectsAreWholeAfterKills) {
    constexpr int people = isSanitized ? 300 : 1000, gap = 7;
    std::string records;
    for (int i = 0; i < people; ++i)
        records += (i % gap == 0 ? refused(i) : "") + person(fmt::format("Good {:04}", i));
    file = folder.write("records.ldif", records);
    relay.emplace(simulator.uri());
    const std::string rejects = folder.path("rejects.ldif");
    const Arguments options = {"--continue", "--rejects", rejects, "--batch",
                               "20",         "--rate",    "500"};
    std::mt19937 random(3);
    Result result;
    for (int kill = 0; kill < 6; ++kill) {
        Arguments more = options;
        if (kill > 0)
            more.emplace_back("--resume");
        const std::size_t before = relay->connections();
        Process process = start(more);
        ASSERT_TRUE(soon(
            [&] { return relay->connections() > before && relay->answers() > 3 + random() % 6; }));
        process.signal(SIGKILL);
        ASSERT_EQ(process.wait().status, 128 + SIGKILL);
        relay->awaitIdle();
    }
    Arguments more = options;
    more.emplace_back("--resume");
    result = run(more);
    EXPECT_EQ(result.status, 1);
    const std::string text = readFile(rejects);
    for (int i = 0; i < people; ++i) {
        const std::string bad = fmt::format("dn: cn=Bad {:04},", i);
        EXPECT_EQ(countOf(text, bad) > 0, i % gap == 0) << bad;
        EXPECT_TRUE(isThere(fmt::format("Good {:04}", i))) << i;
    }
    EXPECT_THAT(text, Not(HasSubstr("dn: cn=Good")));
    const Json summary = result.json();
    EXPECT_EQ(sumOf(summary, "inDoubt"), 0);
    EXPECT_EQ(sumOf(summary, "done") + sumOf(summary, "unknown"), people);
    EXPECT_EQ(sumOf(summary, "failed"), (people + gap - 1) / gap);
}

TEST_F(LoadPeerDoubt, FailuresBeforeAKillCountAtTheEnd) {
    std::string records = refused(0);
    for (int i = 0; i < 100; ++i)
        records += person(std::to_string(i));
    file = folder.write("records.ldif", records);
    relay.emplace(simulator.uri());
    const Arguments options = {
        "--continue", "--rejects", folder.path("rejects.ldif"), "--batch", "5", "--rate", "500"};
    Process process = start(options);
    ASSERT_TRUE(soon([&] { return relay->answers() >= 8; }));
    process.signal(SIGKILL);
    process.wait();
    relay->awaitIdle();
    Arguments more = options;
    more.emplace_back("--resume");
    const Result result = run(more);
    EXPECT_EQ(sumOf(result.json(), "failed"), 1);
    EXPECT_EQ(sumOf(result.json(), "done"), 100);
    EXPECT_EQ(result.json()["result"], "failures");
    EXPECT_EQ(result.status, 1);
}

} // namespace
} // namespace test
