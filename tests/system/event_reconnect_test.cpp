#include "system/simulator.h"
#include "system/watching.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>

namespace test {
namespace {

using testing::HasSubstr;

std::string replayed(const char *text) {
    return std::string(R"({"kind":114,"type":1000,"payload":{"string1":")") + text + "\"}}\n";
}

/** A server that goes and comes back at the same address. */
class Server {
  public:
    void start(const char *text) {
        Arguments options = {"--replay", folder_.write("events", replayed(text))};
        if (!address_.empty())
            options.insert(options.end(), {"--listen", address_});
        simulator_.emplace(options);
        address_ = simulator_->uri().substr(std::string("ldap://").size());
    }
    void stop() { simulator_.reset(); }

    [[nodiscard]] Arguments watching(const Arguments &more) const {
        Arguments all = {"-H",     "ldap://" + address_, "-D",     adminDn,
                         "-w",     adminPassword,        "--type", "1000",
                         "--json", "--reconnect"};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }

  private:
    TemporaryFolder folder_;
    std::string address_;
    std::optional<Simulator> simulator_;
};

TEST(EventReconnect, AServerThatComesBackIsFoundAgain) {
    Server server;
    server.start("first");
    Watching watching(server.watching({"--count", "2"}));
    ASSERT_TRUE(watching.prints("first"));
    server.stop();
    ASSERT_TRUE(watching.says("may be missing; trying again"));
    server.start("second");
    EXPECT_EQ(watching.wait().status, 0);
    const auto lines = watching.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1]["gap"]["since"], lines[0]["time"]);
    EXPECT_EQ(lines[2]["payload"]["string1"], "second");
}

TEST(EventReconnect, AServerThatIsNotThereYetIsWaitedFor) {
    Server server;
    server.start("unseen");
    server.stop();
    Watching watching(server.watching({"--count", "1"}));
    ASSERT_TRUE(watching.says("no connection to ldap://"));
    server.start("seen");
    EXPECT_EQ(watching.wait().status, 0);
    const auto lines = watching.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].contains("gap"));
    EXPECT_EQ(lines[1]["payload"]["string1"], "seen");
}

TEST(EventReconnect, AServerThatNeverComesIsAFailureInTheEnd) {
    const Result result = runTool({"events", "watch", "-H", "ldap://127.0.0.1:1", "--type", "1",
                                   "--reconnect", "--for", "0.8"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("Can't contact LDAP server (-1)"));
    EXPECT_EQ(result.out, "");
}

TEST(EventReconnect, WhatStaysWrongIsAFailureAtOnce) {
    const Simulator simulator;
    const Result password = simulator.run(
        {"events", "watch", "--type", "1", "--reconnect", "-D", adminDn, "-w", "wrong", "--json"});
    EXPECT_EQ(password.status, 1);
    EXPECT_EQ(password.error()["code"], 49);
    const Result events =
        simulator.administer({"events", "watch", "--type", "4711", "--reconnect", "--json"});
    EXPECT_EQ(events.status, 1);
    EXPECT_EQ(events.error()["code"], 53);
}

TEST(EventReconnect, ASignalEndsTheWaiting) {
    Server server;
    server.start("first");
    Watching watching(server.watching({}));
    ASSERT_TRUE(watching.prints("first"));
    server.stop();
    ASSERT_TRUE(watching.says("trying again"));
    watching.process().signal(SIGINT);
    EXPECT_EQ(watching.wait().status, 128 + SIGINT);
    EXPECT_TRUE(watching.lines().back().contains("gap"));
    EXPECT_THAT(watching.said(), HasSubstr("summary"));
}

} // namespace
} // namespace test
