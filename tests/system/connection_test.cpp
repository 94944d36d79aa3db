#include "system/simulator.h"

#include <arpa/inet.h>
#include <csignal>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace test {
namespace {

using testing::HasSubstr;

/** A port that takes connections and never answers, or one that takes none. */
class SilentPort {
  public:
    explicit SilentPort(bool listening) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto *generic = reinterpret_cast<sockaddr *>(&address);
        EXPECT_EQ(bind(socket_, generic, size), 0);
        EXPECT_EQ(getsockname(socket_, generic, &size), 0);
        EXPECT_TRUE(!listening || listen(socket_, 5) == 0);
        uri_ = fmt::format("ldap://127.0.0.1:{}", ntohs(address.sin_port));
    }
    ~SilentPort() { close(socket_); }
    SilentPort(const SilentPort &) = delete;
    SilentPort &operator=(const SilentPort &) = delete;
    [[nodiscard]] const std::string &uri() const { return uri_; }

  private:
    int socket_;
    std::string uri_;
};

TEST(Connection, ServerIsDown) {
    const SilentPort port(false);
    const Result text = runTool({"whoami", "-H", port.uri()});
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(text.out, "");
    EXPECT_THAT(text.err, HasSubstr("Can't contact LDAP server (-1)"));
    EXPECT_THAT(text.err, HasSubstr(port.uri()));
    const Json error = runTool({"whoami", "-H", port.uri(), "--json"}).error();
    EXPECT_EQ(error["code"], -1);
    EXPECT_EQ(error["operation"], "bind");
}

TEST(Connection, ServerIsSilent) {
    const SilentPort port(true);
    const Result result = runTool({"whoami", "-H", port.uri(), "--timeout", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("(-5)"));
    EXPECT_THAT(result.err, HasSubstr("within 1 second"));
    EXPECT_THAT(result.err, HasSubstr("--timeout"));
}

TEST(Connection, OptionsGoBeforeAndAfterTheCommand) {
    const Simulator simulator;
    const Arguments orders[] = {
        {"-H", simulator.uri(), "-x", "-D", adminDn, "-w", adminPassword, "whoami"},
        {"whoami", "-H", simulator.uri(), "-x", "-D", adminDn, "-w", adminPassword},
        {"-D", adminDn, "partition", "-w", adminPassword, "count", "dc=example,dc=com", "-H",
         simulator.uri()},
        {"-H" + simulator.uri(), std::string("-D") + adminDn, "-xwsecret", "whoami"}};
    for (const Arguments &arguments : orders)
        EXPECT_EQ(runTool(arguments).status, 0) << arguments.front();
}

TEST(Connection, LdapConfNamesTheServer) {
    const Simulator simulator;
    const SilentPort dead(false);
    const TemporaryFolder folder;
    const std::string file = folder.write("ldap.conf", "URI " + simulator.uri() + "\n");
    EXPECT_EQ(runTool({"whoami"}, {{{"LDAPCONF", file}}, {}, {}}).out, "anonymous\n");
    // The environment goes before the file, the command line before both.
    const Surroundings both = {{{"LDAPCONF", file}, {"LDAPURI", dead.uri()}}, {}, {}};
    EXPECT_EQ(runTool({"whoami"}, both).status, 1);
    EXPECT_EQ(runTool({"whoami", "-H", simulator.uri()}, both).status, 0);
}

TEST(Connection, LdapConfNamesTheBindDn) {
    const Simulator simulator;
    const Surroundings surroundings = {
        {{"LDAPURI", simulator.uri()}, {"LDAPBINDDN", adminDn}}, {}, {}};
    EXPECT_EQ(runTool({"whoami", "-w", adminPassword}, surroundings).out,
              std::string(adminDn) + "\n");
}

TEST(Connection, StartTlsIsTriedOrRequired) {
    const Simulator simulator; // which has no TLS
    const Result tried = simulator.administer({"whoami", "-Z"});
    EXPECT_EQ(tried.status, 0);
    EXPECT_EQ(tried.out, std::string(adminDn) + "\n");
    EXPECT_THAT(tried.err, HasSubstr("without encryption"));
    const Result required = simulator.administer({"whoami", "-ZZ"});
    EXPECT_EQ(required.status, 1);
    EXPECT_EQ(required.out, "");
    EXPECT_THAT(required.err, HasSubstr("StartTLS"));
}

TEST(Connection, WarningsAreJsonToo) {
    const Simulator simulator;
    const Result result = simulator.administer({"whoami", "-Z", "--json"});
    EXPECT_THAT(Json::parse(result.err)["warning"]["message"].get<std::string>(),
                HasSubstr("without encryption"));
}

TEST(Connection, ServersRefusalIsToldInFull) {
    const Simulator simulator;
    const Json error =
        simulator.run({"partition", "split", "ou=people,dc=example,dc=com", "--json"}).error();
    EXPECT_EQ(error["operation"], "partition split");
    EXPECT_EQ(error["object"], "ou=people,dc=example,dc=com");
    EXPECT_EQ(error["code"], 50);
    EXPECT_EQ(error["name"], "Insufficient access");
    EXPECT_EQ(error["diagnostic"], "anonymous may not do this: bind first");
    EXPECT_EQ(error["matchedDN"], "");
    EXPECT_THAT(error["hint"].get<std::string>(), HasSubstr("-D"));
    const Result missing =
        simulator.administer({"privileges", "cn=no,ou=people,dc=example,dc=com"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.err, HasSubstr("No such object (32)"));
    EXPECT_THAT(missing.err, HasSubstr("matched DN:   ou=people,dc=example,dc=com"));
}

TEST(Connection, CtrlCEndsIt) {
    const Simulator simulator({"--fault", "get-bind-dn=delay:30000"});
    Process tool(QLDAPX_PATH, {"whoami", "-H", simulator.uri()});
    usleep(500000);
    tool.signal(SIGINT);
    const Result ended = tool.wait();
    EXPECT_EQ(ended.status, 130);
    EXPECT_EQ(ended.out + ended.err, "");
}

} // namespace
} // namespace test
