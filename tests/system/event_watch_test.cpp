#include "system/simulator.h"
#include "system/watching.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;

constexpr int anyNumber = 1000; // an event that happens only in a replay

std::string replayed(const std::string &text, int type = anyNumber) {
    return R"({"kind":114,"type":)" + std::to_string(type) + R"(,"payload":{"string1":")" + text +
           "\"}}\n";
}

std::string addition(const std::string &name) {
    return "dn: cn=" + name + ",ou=people,dc=example,dc=com\nchangetype: add\n" +
           "objectClass: person\ncn: " + name + "\nsn: x\n";
}

/** A simulator that has an event to report as soon as somebody monitors it: so that is known. */
struct Server {
    explicit Server(const std::string &lines = replayed("begin"), const Arguments &more = {})
        : simulator(options(lines, more)) {}

    [[nodiscard]] Arguments watching(const Arguments &more) const {
        Arguments all = simulator.asAdministrator({"--type", std::to_string(anyNumber)});
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

    TemporaryFolder folder;
    Simulator simulator;

  private:
    [[nodiscard]] Arguments options(const std::string &lines, const Arguments &more) const {
        Arguments all = {"--replay", folder.write("events", lines)};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
};

// 1: an entry was added; 10: a bind.
TEST(EventWatch, PrintsEventsAsTheyHappen) {
    const Server server;
    Watching watching(server.watching({"--type", "1,10:2", "--json"}));
    ASSERT_TRUE(watching.prints("begin"));
    server.simulator.change(addition("new"));
    EXPECT_TRUE(watching.prints("cn=new,ou=people"));
    EXPECT_EQ(server.simulator.run({"whoami", "-D", adminDn, "-w", "wrong"}).status, 1);
    EXPECT_TRUE(watching.prints("AuthEventData"));
    const auto lines = watching.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1]["type"], 1);
    EXPECT_EQ(lines[1]["record"], "EntryEventData");
    EXPECT_EQ(lines[1]["payload"]["string1"], "cn=new,ou=people,dc=example,dc=com");
    EXPECT_EQ(lines[2]["result"], 49);
    EXPECT_EQ(watching.said(), "");
}

TEST(EventWatch, TheFilterIsForAllEvents) {
    const Server server(replayed("begin") + replayed("other") + replayed("beginning"));
    Watching watching(server.watching({"--filter", "(string1=begin*)", "--json", "--count", "2"}));
    EXPECT_EQ(watching.wait().status, 0);
    const auto lines = watching.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0]["payload"]["string1"], "begin");
    EXPECT_EQ(lines[1]["payload"]["string1"], "beginning");
}

TEST(EventWatch, CountAndTimeEndIt) {
    const Server server(replayed("a") + replayed("b") + replayed("c"));
    Watching counted(server.watching({"--count", "2", "--json"}));
    EXPECT_EQ(counted.wait().status, 0);
    EXPECT_EQ(counted.lines().size(), 2U);
    EXPECT_EQ(counted.said(), "");
    const Result timed =
        server.simulator.administer({"events", "watch", "--type", "1", "--for", ".2"});
    EXPECT_EQ(timed.status, 0);
    EXPECT_EQ(timed.out + timed.err, "");
}

// The end comes in time also while there is always something to print.
TEST(EventWatch, TimeEndsABusyStreamToo) {
    const Server server(replayed("a"), {"--replay-repeat", "0"});
    Watching watching(server.watching({"--for", "0.5"}));
    EXPECT_EQ(watching.wait().status, 0);
    EXPECT_GT(watching.printed().size(), 10000U);
}

TEST(EventWatch, ASignalEndsItWithASummary) {
    const std::pair<Arguments, const char *> cases[] = {
        {{}, "1 event in "}, {{"--json"}, R"({"summary":{"events":1,"seconds":)"}};
    for (const int signal : {SIGINT, SIGTERM})
        for (const auto &[more, summary] : cases) {
            const Server server;
            Watching watching(server.watching(more));
            ASSERT_TRUE(watching.prints("begin"));
            watching.process().signal(signal);
            EXPECT_EQ(watching.wait().status, 128 + signal);
            EXPECT_THAT(watching.said(), testing::StartsWith(summary));
        }
}

TEST(EventWatch, AReaderThatGoesEndsItWithoutAWord) {
    const Server server;
    // The reader ends after a line; nothing more happens on the server.
    const Result result = runShell(
        R"("$TOOL" events watch -H "$URI" -D "$DN" -w secret --type 1000 --json | head -n 1
           echo "${PIPESTATUS[0]}")",
        {{{"URI", server.simulator.uri()}, {"DN", adminDn}, {"TOOL", QLDAPX_PATH}}, {}, {}});
    EXPECT_THAT(result.out, HasSubstr("begin"));
    EXPECT_THAT(result.out, HasSubstr("\n141\n"));
    EXPECT_EQ(result.err, "");
}

TEST(EventWatch, EventsThatAreNotAcceptedAreNamed) {
    const Server server;
    Watching some(server.watching({"--type", "4711,4712:2", "--count", "1"}));
    EXPECT_EQ(some.wait().status, 0);
    EXPECT_EQ(some.said(),
              "qldapx: warning: the server does not report these events: 4711, 4712:2\n");
    const Result none =
        server.simulator.administer({"events", "watch", "--type", "4711", "--json"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.error()["code"], 53);
    EXPECT_NE(none.error()["diagnostic"], "");
}

TEST(EventWatch, ActsAsSomebodyElse) {
    const Server server;
    const Result allowed = server.simulator.administer(
        {"events", "watch", "--type", "1000", "--count", "1", "--as", adminDn});
    EXPECT_EQ(allowed.status, 0) << allowed.err;
    const Result refused =
        server.simulator.administer({"events", "watch", "--type", "1000", "--json", "--as",
                                     "cn=Ada Brandt,ou=people,dc=example,dc=com"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.error()["code"], 50);
}

TEST(EventWatch, NothingIsLostWhenPrintingIsSlow) {
    constexpr std::size_t many = 30000;
    const Server server(replayed("a"), {"--replay-repeat", std::to_string(many)});
    Process tool(QLDAPX_PATH,
                 server.simulator.asAdministrator({"events", "watch", "--type", "1000", "--json",
                                                   "--count", std::to_string(many)}));
    usleep(300000); // nobody reads: all buffers fill
    const Result result = tool.wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(Watching::jsonLines(result.out).size(), many);
}

// What a sanitizer keeps of released memory would be counted, too.
#if !defined(__SANITIZE_ADDRESS__)
TEST(EventWatch, MemoryStaysAsItIs) {
    const std::string referrals =
        R"({"type":1000,"kind":102,"payload":{"referrals":[{"type":1,"value":")" +
        std::string(1000, 'x') + "\"}]}}\n";
    const Server server(replayed("a") + referrals, {"--replay-repeat", "0"});
    const auto peak = [&](const char *count) {
        Watching watching(server.watching({"--json", "--count", count}));
        return watching.wait().peakKiB;
    };
    constexpr long twoMiB = 2048; // of 30000 times a KiB, if they were kept
    const long few = peak("100"), many = peak("60000");
    EXPECT_LT(many - few, twoMiB);
}
#endif

// A reader that is stopped until the server has had enough of it.
TEST(EventWatch, AServerThatDropsASlowReaderIsAFailure) {
    std::string lines = replayed("begin");
    for (int i = 0; i < 100; ++i)
        lines += replayed(std::string(200000, 'x'));
    const Server server(lines + replayed("round", 1001), {"--replay-repeat", "0", "--replay-rate",
                                                          "400", "--event-queue", "100000"});
    Watching watching(server.watching({"--json"}));
    ASSERT_TRUE(watching.prints("begin"));
    watching.process().signal(SIGSTOP);
    const Result rounds =
        server.simulator.administer({"events", "watch", "--type", "1001", "--count", "3"});
    EXPECT_EQ(rounds.status, 0) << rounds.err;
    watching.process().signal(SIGCONT);
    EXPECT_EQ(watching.wait().status, 1);
    EXPECT_THAT(watching.said(), HasSubstr("the server ended the registration"));
}

} // namespace
} // namespace test
