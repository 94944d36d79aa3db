#include "system/sasl.h"
#include "system/terminal.h"
#include "system/watching.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>

namespace test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/** A server that goes and comes back at the same address, and reports one event. */
class Server {
  public:
    void start(const std::string &text, const std::vector<std::string> &realms) {
        Arguments options = realmOptions(realms);
        options.insert(options.end(),
                       {"--replay", folder_.write("events", R"({"kind":114,"type":1000,)"
                                                            R"("payload":{"string1":")" +
                                                                text + "\"}}\n")});
        if (!address_.empty())
            options.insert(options.end(), {"--listen", address_});
        simulator_.emplace(options);
        address_ = simulator_->uri().substr(std::string("ldap://").size());
    }
    void stop() { simulator_.reset(); }
    [[nodiscard]] std::string uri() const { return "ldap://" + address_; }

  private:
    TemporaryFolder folder_;
    std::string address_;
    std::optional<Simulator> simulator_;
};

Arguments watching(const Server &server, const Arguments &more) {
    Arguments all =
        digestBind("admin", adminPassword,
                   {"-H", server.uri(), "--type", "1000", "--reconnect", "--count", "2"});
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

TEST(SaslReconnect, TheSessionIsBoundAgainAsTheSame) {
    Server server;
    server.start("first", {"only"});
    Watching watch(watching(server, {"--json"}));
    ASSERT_TRUE(watch.prints("first"));
    server.stop();
    ASSERT_TRUE(watch.says("trying again"));
    server.start("second", {"only"});
    EXPECT_EQ(watch.wait().status, 0) << watch.said();
    EXPECT_THAT(watch.printed(), HasSubstr("second"));
}

TEST(SaslReconnect, AWrongPasswordEndsItAtOnce) {
    Server server;
    server.start("first", {"only"});
    const Arguments wrong = digestBind(
        "admin", "wrong",
        {"events", "watch", "-H", server.uri(), "--type", "1000", "--reconnect", "--json"});
    const Result result = runTool(wrong);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], 49);
}

constexpr const char *question = "Realm (number or name): ";

std::size_t questions(const std::string &screen) {
    std::size_t count = 0;
    for (std::size_t at = screen.find(question); at != std::string::npos;
         at = screen.find(question, at + 1))
        ++count;
    return count;
}

/** Watches on a terminal, chooses the second realm, and loses the server after an event. */
class ChosenRealm : public testing::Test {
  protected:
    void SetUp() override {
        server.start("first", {"one", "two"});
        Arguments arguments = watching(server, {});
        arguments.insert(arguments.begin(), {"events", "watch"});
        terminal.emplace(arguments, losingBind(server.uri()));
        ASSERT_TRUE(terminal->waitFor(question));
        terminal->type("2\n");
        ASSERT_TRUE(terminal->waitFor("first"));
        server.stop();
        ASSERT_TRUE(terminal->waitFor("trying again"));
    }
    Server server;
    std::optional<Terminal> terminal;
};

TEST_F(ChosenRealm, IsKept) {
    server.start("second", {"three", "two", "one"});
    const Result result = terminal->finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("second"));
    EXPECT_EQ(questions(result.out), 1U);
}

TEST_F(ChosenRealm, IsAskedForAgainWhenItIsGone) {
    server.start("second", {"one", "three"});
    ASSERT_TRUE(terminal->waitUntil([](const auto &screen) { return questions(screen) == 2; }));
    terminal->type("three\n");
    const Result result = terminal->finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("second"));
}

TEST(SaslReconnect, NothingIsAskedUnderAPicture) {
    Server server;
    server.start("first", {"one", "two"});
    const Arguments top =
        digestBind("admin", adminPassword, {"events", "top", "--type", "1000", "--reconnect"});
    Surroundings surroundings = losingBind(server.uri());
    surroundings.environment["TERM"] = "xterm";
    Terminal terminal(top, surroundings);
    const Result result = terminal.finish();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, AllOf(HasSubstr("name the realm with -R"), Not(HasSubstr(question))));
}

TEST(SaslReconnect, TopAsksBeforeItDraws) {
    Server server;
    server.start("first", {"one", "two"});
    Surroundings surroundings = losingBind(server.uri());
    surroundings.environment["TERM"] = "xterm";
    Terminal terminal(digestBind("admin", adminPassword, {"events", "top", "--type", "1000"}),
                      surroundings);
    ASSERT_TRUE(terminal.waitFor(question));
    terminal.type("one\n");
    ASSERT_TRUE(terminal.waitFor("1000"));
    terminal.type("q");
    EXPECT_EQ(terminal.finish().status, 0);
}

TEST(SaslReconnect, EachServerOfAComparisonHasItsOwnRealm) {
    const Simulator first(realmOptions({"one"})), second(realmOptions({"two"}));
    const Result result =
        first.run(digestBind("admin", adminPassword, {"schema", "diff", second.uri()}));
    EXPECT_EQ(result.status, 0) << result.err;
}

TEST(SaslReconnect, ALoadGoesOnAsTheSameUser) {
    const Simulator simulator({"--fault", "lburp-operation@1=drop"});
    const TemporaryFolder folder;
    const std::string file = folder.write("new.ldif", "dn: ou=new,dc=example,dc=com\n"
                                                      "objectClass: organizationalUnit\nou: new\n");
    EXPECT_EQ(simulator.run(digestBind("admin", adminPassword, {"load", file})).status, 1);
    const Result other =
        simulator.run(digestBind(adaName, adaPassword, {"load", file, "--resume"}));
    EXPECT_EQ(other.status, 2);
    EXPECT_THAT(other.err, AllOf(HasSubstr("as \"admin\""), HasSubstr("as \"ada.brandt\"")));
    EXPECT_EQ(simulator.run(digestBind("admin", adminPassword, {"load", file, "--resume"})).status,
              0);
}

} // namespace
} // namespace test
