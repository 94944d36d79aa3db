#include "system/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>

namespace test {
namespace {

using testing::HasSubstr;

std::vector<std::string> linesOf(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

/** The lines of a part of a help text, without their indent. */
std::vector<std::string> part(const std::string &help, const std::string &heading) {
    std::vector<std::string> lines;
    bool inside = false;
    for (const std::string &line : linesOf(help)) {
        if (inside && line.starts_with("  "))
            lines.push_back(line.substr(2));
        else
            inside = line.starts_with(heading);
    }
    return lines;
}

std::string helpOf(const Arguments &command) {
    Arguments arguments = command;
    arguments.emplace_back("--help");
    const Result result = runTool(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    return result.out;
}

void collect(const Arguments &command, std::vector<Arguments> &all) {
    all.push_back(command);
    for (const std::string &line : part(helpOf(command), "Commands")) {
        if (line.starts_with(" "))
            continue; // the description goes on
        Arguments next = command;
        next.push_back(line.substr(0, line.find(' ')));
        collect(next, all);
    }
}

/** Every command there is, found as a reader of the help finds it. */
const std::vector<Arguments> &allCommands() {
    static const std::vector<Arguments> commands = [] {
        std::vector<Arguments> all;
        collect({}, all);
        return all;
    }();
    return commands;
}

TEST(Help, KnowsEveryCommand) {
    constexpr std::size_t root = 1, groups = 9, commands = 48;
    EXPECT_EQ(allCommands().size(), root + groups + commands);
}

TEST(Help, FitsIntoEightyColumns) {
    for (const Arguments &command : allCommands())
        for (const std::string &line : linesOf(helpOf(command)))
            EXPECT_LE(line.size(), 80U) << line;
}

/** The examples as a script; what draws on a terminal gets one. */
std::string scriptOf(const Arguments &command, const std::vector<std::string> &lines) {
    const bool draws = command == Arguments{"events", "top"};
    std::string script = draws ? "export TERM=xterm\nscript -qec '" : "set -e\n";
    for (const std::string &line : lines)
        script += line + "\n";
    return draws ? script + "' /dev/null\n" : script;
}

/** Examples of TLS need a server that speaks it, and its CA; any other one not. */
Arguments serverOf(const Arguments &command, const TemporaryFolder &folder) {
    if (command.empty() || command.front() != "cert")
        return {};
    return {"--tls", "auto", "--tls-ca-file", folder.path("ca.pem")};
}

TEST(Help, EveryExampleWorks) {
    const std::string tool = QLDAPX_PATH;
    const std::string path = tool.substr(0, tool.rfind('/')) + ":/usr/bin:/bin";
    for (const Arguments &command : allCommands()) {
        const auto lines = part(helpOf(command), "Example");
        EXPECT_FALSE(lines.empty());
        const TemporaryFolder folder; // for what they write
        const Simulator simulator(serverOf(command, folder));
        const std::string address = simulator.uri().substr(simulator.uri().find("127"));
        const std::string script = std::regex_replace(
            scriptOf(command, lines), std::regex("127\\.0\\.0\\.1:(1389|1636)"), address);
        std::map<std::string, std::string> environment = leakRules(command);
        environment["PATH"] = path;
        const Result result = runShell(script, {environment, {}, folder.path("")});
        EXPECT_EQ(result.status, 0) << script;
        EXPECT_EQ(result.err, "") << script;
    }
}

TEST(Help, NamesEachOptionThatTheCommandTakes) {
    EXPECT_THAT(helpOf({"replica", "add"}), HasSubstr("--type N"));
    EXPECT_THAT(helpOf({"trigger", "limber"}), HasSubstr("--dn DN"));
    EXPECT_THAT(helpOf({}), HasSubstr("--timeout SECONDS"));
    EXPECT_THAT(helpOf({"partition", "count"}), HasSubstr("partition count DN..."));
}

TEST(ManualPage, SaysWhatTheHelpSays) {
    EXPECT_EQ(readFile(MANUAL_PAGE), runTool({"completion", "man"}).out)
        << "write it anew: qldapx completion man > docs/man/qldapx.1";
}

} // namespace
} // namespace test
