#include "system/simulator.h"
#include "system/terminal.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(Output, FullDiskIsAFailure) {
    const Simulator simulator;
    const Surroundings full = {{}, "/dev/full", {}};
    const Arguments lines[] = {
        simulator.asAdministrator({"whoami"}),
        simulator.asAdministrator({"whoami", "--json"}),
        simulator.asAdministrator({"partition", "merge", "ou=emea,dc=example,dc=com"}),
        {"--help"},
        {"--version"},
        {"completion", "bash"}};
    for (const Arguments &line : lines) {
        const Result result = runTool(line, full);
        EXPECT_EQ(result.status, 1) << line.back();
        EXPECT_THAT(result.err, HasSubstr("No space left on device"));
    }
}

TEST(Output, ClosedPipeIsQuiet) {
    const Simulator simulator({"--fault", "get-bind-dn=delay:300"});
    Process tool(QLDAPX_PATH, {"whoami", "-H", simulator.uri()});
    tool.closeOutput();
    const Result result = tool.wait();
    EXPECT_EQ(result.status, 128 + SIGPIPE);
    EXPECT_EQ(result.err, "");
}

/** What a terminal of that kind shows for an error and for a success. */
std::string shown(const std::map<std::string, std::string> &environment) {
    const Simulator simulator;
    std::string text;
    for (const char *dn : {"ou=emea,dc=example,dc=com", "ou=none"}) {
        Terminal terminal(simulator.asAdministrator({"partition", "merge", dn}),
                          {environment, {}, {}});
        text += terminal.finish().out;
    }
    return text;
}

TEST(Output, ColourOnlyOnATerminalThatHasIt) {
    EXPECT_THAT(shown({{"TERM", "xterm"}}), HasSubstr("\x1b["));
    EXPECT_THAT(shown({{"TERM", "xterm"}, {"NO_COLOR", ""}}), HasSubstr("\x1b["));
    EXPECT_THAT(shown({{"TERM", "xterm"}, {"NO_COLOR", "1"}}), Not(HasSubstr("\x1b")));
    EXPECT_THAT(shown({{"TERM", "dumb"}}), Not(HasSubstr("\x1b")));
    EXPECT_THAT(shown({}), Not(HasSubstr("\x1b")));
}

TEST(Output, NoColourInAPipe) {
    const Simulator simulator;
    const Surroundings coloured = {{{"TERM", "xterm"}}, {}, {}};
    for (const char *dn : {"ou=emea,dc=example,dc=com", "ou=none"}) {
        const Result result =
            runTool(simulator.asAdministrator({"partition", "merge", dn}), coloured);
        EXPECT_THAT(result.out + result.err, Not(HasSubstr("\x1b")));
    }
}

} // namespace
} // namespace test
