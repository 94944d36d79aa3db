#include "system/simulator.h"
#include "system/supervised.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>

namespace test {
namespace {

using testing::HasSubstr;
using Stream = Setting::Stream;

constexpr const char *ada = "cn=Ada Brandt,ou=people,dc=example,dc=com";
constexpr const char *nobody = "ldap://127.0.0.1:1";

/** A signal as soon as the process waits for something. */
Trouble atRest(int signal) {
    return {Watched::Everything, {}, std::numeric_limits<std::size_t>::max(), 0, signal};
}

Setting terminal() {
    Setting setting;
    setting.out = setting.err = Stream::Terminal;
    setting.environment = {{"TERM", "xterm"}};
    return setting;
}

TEST(Ending, ErrorsThatNobodyReadAreStillErrors) {
    for (const Stream err : {Stream::Closed, Stream::Full, Stream::ClosedPipe}) {
        const Outcome outcome =
            runSupervised(QLDAPX_PATH, {"whoami", "-H", nobody}, {Stream::Pipe, err}, {});
        EXPECT_EQ(outcome.result.status, 1);
    }
}

TEST(Ending, WarningsThatNobodyReadEndNothing) {
    const Simulator simulator;
    const TemporaryFolder folder;
    const std::string file =
        folder.write("f.ldif", "dn: ou=people,dc=example,dc=com\n" // is there
                               "objectClass: organizationalUnit\nou: people\n");
    for (const Stream err : {Stream::Closed, Stream::Full, Stream::ClosedPipe}) {
        const Outcome outcome =
            runSupervised(QLDAPX_PATH, simulator.asAdministrator({"load", file, "--continue"}),
                          {Stream::Pipe, err}, {});
        EXPECT_EQ(outcome.result.status, 1);
        EXPECT_THAT(outcome.result.out, HasSubstr("loaded, but for what failed"));
    }
}

TEST(Ending, NoConnectionTakesThePlaceOfStandardOutput) {
    const Simulator simulator;
    const Outcome outcome =
        runSupervised(QLDAPX_PATH, simulator.asAdministrator({"whoami"}), {Stream::Closed}, {});
    EXPECT_EQ(outcome.result.status, 1);
    EXPECT_THAT(outcome.result.err, HasSubstr("cannot write the result: Bad file descriptor"));
}

TEST(Ending, AFileThatIsClosedLateIsAFailureToo) {
    const Simulator simulator;
    const TemporaryFolder folder;
    const std::string script = "exec \"$@\" > " + folder.path("out");
    Arguments line = simulator.asAdministrator({"whoami"});
    line.insert(line.begin(), {"-c", script, "sh", QLDAPX_PATH});
    const Trouble none = {Watched::Files, folder.path("")};
    const std::size_t calls = runSupervised("/bin/sh", line, {}, none).calls;
    ASSERT_GT(calls, 1U);
    const Trouble last = {Watched::Files, folder.path(""), calls, EIO};
    const Outcome outcome = runSupervised("/bin/sh", line, {}, last);
    EXPECT_EQ(outcome.call, "close");
    EXPECT_EQ(outcome.result.status, 1);
    EXPECT_THAT(outcome.result.err, HasSubstr("cannot write the result: Input/output error"));
}

TEST(Ending, ALimitOfFilesIsAnErrorAsAFullDiskIs) {
    const Simulator simulator;
    const TemporaryFolder folder;
    const std::string file = folder.write("f.ldif", "dn: ou=new,dc=example,dc=com\n"
                                                    "objectClass: organizationalUnit\nou: new\n");
    Setting setting;
    setting.mostBytes = 1000;
    const Outcome outcome =
        runSupervised(QLDAPX_PATH, simulator.asAdministrator({"load", file}), setting, {});
    EXPECT_EQ(outcome.result.status, 1);
    EXPECT_THAT(outcome.result.err, HasSubstr("the checkpoint cannot be written: File too large"));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"f.ldif"});
}

TEST(Ending, SignalsThatNohupIgnoresStayIgnored) {
    const Simulator simulator;
    for (const Arguments &command :
         {Arguments{"events", "watch", "--type", "1", "--for", "0.8"},
          Arguments{"search", "-b", ada, "--follow", "--existing", "--count", "1"}}) {
        Arguments line = simulator.asAdministrator(command);
        line.insert(line.begin(), {"-c", "trap '' INT TERM HUP; exec \"$@\"", "sh", QLDAPX_PATH});
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            Trouble trouble = atRest(signal);
            trouble.call = 40;
            const Outcome outcome = runSupervised("/bin/sh", line, {}, trouble);
            EXPECT_TRUE(outcome.struck);
            EXPECT_EQ(outcome.result.status, 0) << outcome.result.err;
        }
    }
}

TEST(Ending, ARestoreSaysHowFarItWas) {
    const Simulator simulator({"--backup-piece", "100", "--fault", "restore-object@2=delay:60000"});
    const TemporaryFolder folder;
    const std::string file = folder.path("ada.backup");
    ASSERT_EQ(simulator.administer({"backup", ada, "-o", file}).status, 0);
    simulator.change(std::string("dn: ") + ada + "\nchangetype: delete\n");
    const Outcome outcome = runSupervised(
        QLDAPX_PATH, simulator.asAdministrator({"restore", ada, file}), {}, atRest(SIGINT));
    EXPECT_EQ(outcome.result.status, 128 + SIGINT);
    EXPECT_FALSE(outcome.second);
    EXPECT_THAT(outcome.result.err, HasSubstr("interrupted when 2 of "));
    EXPECT_THAT(outcome.result.err, HasSubstr("try:          the same command again"));
    EXPECT_EQ(simulator.administer({"restore", ada, file}).status, 0);
}

TEST(Ending, AReaderThatGoesEndsAFollowingOfAQuietDirectory) {
    const Simulator simulator;
    Process tool(QLDAPX_PATH,
                 simulator.asAdministrator({"search", "-b", ada, "-s", "base", "--follow"}));
    tool.closeOutput();
    const Result result = tool.wait();
    EXPECT_EQ(result.status, 128 + SIGPIPE);
    EXPECT_EQ(result.err, "");
}

TEST(Ending, DotDoesNotOutliveTheCommand) {
    const TemporaryFolder folder;
    const std::string dot = "#!/bin/sh\necho $$ > " + folder.path("pid") + "\nexec sleep 60\n";
    static_cast<void>(folder.write("dot", dot, 0700));
    const std::string schema =
        folder.write("s.ldif", "objectClasses: ( 1.3.6.1.4.1.32473.2.1 NAME 'badged' )\n");
    Process tool(QLDAPX_PATH,
                 {"schema", "graph", "badged", "-o", folder.path("a.svg"), "--file", schema},
                 {{{"PATH", folder.path("") + ":/usr/bin:/bin"}}, {}, {}});
    ASSERT_TRUE(soon([&] { return readFile(folder.path("pid")).ends_with('\n'); }));
    const pid_t child = std::stoi(readFile(folder.path("pid")));
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait().status, 128 + SIGTERM);
    EXPECT_TRUE(soon([&] { return kill(child, 0) != 0; }));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"dot", "pid", "s.ldif"}));
}

TEST(Ending, AScreenThatCannotBeDrawnIsGivenBack) {
    const Simulator simulator;
    const Arguments top =
        simulator.asAdministrator({"events", "top", "--type", "1", "--for", "0.5"});
    const Outcome outcome =
        runSupervised(QLDAPX_PATH, top, terminal(), {Watched::Files, "/dev/pts", 1, EIO});
    EXPECT_EQ(outcome.call, "write");
    EXPECT_EQ(outcome.result.status, 1);
    EXPECT_TRUE(outcome.echoes);
}

// The last calls of all give the terminal back.
TEST(Ending, AScreenIsGivenBackThoughASignalComesMeanwhile) {
    const Simulator simulator;
    const Arguments top =
        simulator.asAdministrator({"events", "top", "--type", "1", "--for", "0.3"});
    const auto run = [&](std::size_t call) {
        Trouble trouble = {Watched::Everything, {}, call, 0, call > 0 ? SIGINT : 0};
        trouble.givesUp = true;
        return runSupervised(QLDAPX_PATH, top, terminal(), trouble);
    };
    constexpr std::size_t last = 16, most = 1000;
    const std::size_t calls = run(0).calls;
    ASSERT_GT(calls, last);
    ASSERT_LT(calls, most) << "it does not wait for the end, but looks for it";
    for (std::size_t call = calls - last; call <= calls; ++call) {
        const Outcome outcome = run(call);
        SCOPED_TRACE(testing::Message() << "call " << call << ", " << outcome.call);
        EXPECT_TRUE(outcome.echoes);
        EXPECT_NE(outcome.result.out.rfind("\x1b[?1049l"), std::string::npos);
    }
}

TEST(Ending, AFileThatDoesNotBeginIsGivenUpWithoutAWord) {
    const TemporaryFolder folder;
    const std::string pipe = folder.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const Arguments &command : {Arguments{"load", "--dry-run", pipe}, Arguments{"load", pipe}})
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            const Outcome outcome = runSupervised(QLDAPX_PATH, command, {}, atRest(signal));
            EXPECT_EQ(outcome.result.status, 128 + signal);
            EXPECT_EQ(outcome.result.out + outcome.result.err, "");
        }
}

TEST(Ending, JsonDoesNotSteerTheTerminalEither) {
    // OCTET STRING: the one-character form of "escape [", delete, a reversal of the direction
    const Simulator simulator({"--fault", "get-bind-dn=value:0406c29b7fe280ae"});
    EXPECT_EQ(simulator.run({"whoami", "--json"}).out,
              "{\n  \"dn\": \"\\u009b\\u007f\\u202e\"\n}\n");
    const Simulator refusing({"--fault", "get-bind-dn=code:53:\xc2\x9b"});
    EXPECT_THAT(refusing.run({"whoami", "--json"}).err, HasSubstr("\"\\u009b\""));
}

} // namespace
} // namespace test
