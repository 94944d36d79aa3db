#include "system/simulator.h"
#include "system/terminal.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace test {
namespace {

using testing::HasSubstr;
using testing::Not;

// Odd, so that it is nowhere by chance, and long: of a block that is released as it is, malloc
// itself overwrites the beginning.
constexpr const char *oddEnd = "Zebra-7f3a9c-Quagga-51d0e8";
const std::string oddPassword = std::string(500, 'z') + oddEnd;

Result bindWith(const Simulator &simulator, const Arguments &options) {
    Arguments all = {"whoami", "-H", simulator.uri(), "-D", adminDn};
    all.insert(all.end(), options.begin(), options.end());
    return runTool(all);
}

/** Whether a text is anywhere in a process's memory that can be written to. */
bool memoryHolds(pid_t pid, const std::string &text) {
    const std::string folder = "/proc/" + std::to_string(pid);
    std::ifstream maps(folder + "/maps");
    const int memory = open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    bool found = false;
    for (std::string line; std::getline(maps, line) && !found;) {
        if (line.find(" rw") == std::string::npos)
            continue;
        const auto begin = std::stoull(line, nullptr, 16);
        const auto end = std::stoull(line.substr(line.find('-') + 1), nullptr, 16);
        constexpr auto shadowMemory = 1ULL << 26U; // a sanitizer's, with no data of the program
        if (end - begin > shadowMemory)
            continue;
        std::string bytes(end - begin, '\0');
        found = pread(memory, bytes.data(), bytes.size(), static_cast<off_t>(begin)) > 0 &&
                bytes.find(text) != std::string::npos;
    }
    close(memory);
    return found;
}

TEST(Password, FileIsTheWholePassword) {
    const Simulator simulator;
    const TemporaryFolder folder;
    const Result exact = bindWith(simulator, {"-y", folder.write("exact", "secret")});
    EXPECT_EQ(exact.out, std::string(adminDn) + "\n");
    EXPECT_EQ(exact.err, "");
    const Result line = bindWith(simulator, {"-y", folder.write("line", "secret\n")});
    EXPECT_EQ(line.status, 1);
    EXPECT_THAT(line.err, HasSubstr("(49)"));
    EXPECT_THAT(line.err, HasSubstr("printf %s"));
}

TEST(Password, FileThatOthersCanReadIsWarnedOf) {
    const Simulator simulator;
    const TemporaryFolder folder;
    const Result result = bindWith(simulator, {"-y", folder.write("open", "secret", 0644)});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("warning"));
    EXPECT_THAT(result.err, HasSubstr("chmod 600"));
}

TEST(Password, FileMayBeAPipe) {
    const Simulator simulator;
    const Result result = runShell(std::string(QLDAPX_PATH) + " whoami -H " + simulator.uri() +
                                   " -D " + adminDn + " -y <(printf secret)");
    EXPECT_EQ(result.out, std::string(adminDn) + "\n");
    EXPECT_EQ(result.err, "");
}

TEST(Password, FileThatCannotBeUsedIsRefused) {
    const Simulator simulator;
    const TemporaryFolder folder;
    const std::string files[] = {folder.path("missing"), folder.path(""), folder.write("empty", ""),
                                 folder.write("huge", std::string(100000, 'x'))};
    for (const std::string &file : files) {
        const Result result = bindWith(simulator, {"-y", file});
        EXPECT_EQ(result.status, 2) << file;
        EXPECT_THAT(result.err, HasSubstr(file));
    }
}

TEST(Password, UnauthenticatedBindIsNotSent) {
    // Nothing listens there: whoever connects gets another status.
    for (const Arguments &options : {Arguments{}, Arguments{"-w", ""}, Arguments{"-xw", ""}}) {
        Arguments all = {"whoami", "-H", "ldap://127.0.0.1:1", "-D", adminDn};
        all.insert(all.end(), options.begin(), options.end());
        const Result result = runTool(all);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.err, HasSubstr("anonymous"));
    }
}

TEST(Password, ComesInOneWay) {
    for (const Arguments &options : {Arguments{"-w", "a", "-W"}, Arguments{"-w", "a", "-y", "b"},
                                     Arguments{"-W", "-y", "b"}}) {
        Arguments all = {"whoami", "-D", adminDn};
        all.insert(all.end(), options.begin(), options.end());
        const Result result = runTool(all);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.err, HasSubstr("give the password once"));
    }
    EXPECT_EQ(runTool({"whoami", "-D", adminDn, "-w", "a", "-w", "b"}).status, 2);
}

TEST(Password, ThatIsWrongIsNotShown) {
    const Simulator simulator;
    for (const char *json : {"-x", "--json"}) {
        const Result result = bindWith(simulator, {"-w", oddPassword, json});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.out + result.err, Not(HasSubstr(oddEnd)));
    }
}

TEST(Password, InAMistakenCommandLineIsNotShown) {
    const Arguments lines[] = {{"-w", oddPassword, "nonsense"},
                               {"nonsense", "-xw", oddPassword},
                               {"whoami", "-Zw" + oddPassword, "-W"},
                               {"whoami", "--password=" + oddPassword},
                               {"-w", oddPassword, "-w", oddPassword, "whoami"}};
    for (const Arguments &line : lines) {
        const Result result = runTool(line);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.out + result.err, Not(HasSubstr("Zebra")));
    }
}

TEST(Password, OptionValueThatLooksLikeOneIsNone) {
    const Simulator simulator;
    const Result result =
        simulator.administer({"trigger", "limber", "--json", "--dn", "-w", "--timeout", "9"});
    EXPECT_EQ(result.error()["object"], "-w");
    EXPECT_EQ(simulator.administer({"privileges", "dc=example,dc=com", "--", "-w", "cn"}).out,
              "-w  31  0x0000001f\ncn  31  0x0000001f\n");
}

TEST(Password, DoesNotStayInTheProcess) {
    const Simulator simulator(
        {"--admin-password", oddPassword, "--fault", "get-bind-dn=delay:60000"});
    const TemporaryFolder folder;
    const Arguments ways[] = {
        {"-w", oddPassword}, {"-w" + oddPassword}, {"-y", folder.write("password", oddPassword)}};
    const Arguments identities[] = {{"-D", adminDn}, {"-Y", "DIGEST-MD5", "-U", adminDn}};
    for (std::size_t i = 0; i < std::size(ways) * std::size(identities); ++i) {
        const Arguments &way = ways[i / std::size(identities)];
        const Arguments &identity = identities[i % std::size(identities)];
        Arguments all = {"whoami", "-H", simulator.uri()};
        all.insert(all.end(), identity.begin(), identity.end());
        all.insert(all.end(), way.begin(), way.end());
        // With a sanitizer it is not malloc that overwrites what is released.
        Process tool(QLDAPX_PATH, all, {{{"ASAN_OPTIONS", "max_free_fill_size=1048576"}}, {}, {}});
        const std::string commandLine = "/proc/" + std::to_string(tool.pid()) + "/cmdline";
        EXPECT_TRUE(soon([&] {
            const std::string text = readFile(commandLine);
            return text.find("whoami") != std::string::npos &&
                   text.find(oddEnd) == std::string::npos;
        }));
        // What must be there is found: the search looks in the right place.
        EXPECT_TRUE(soon([&] { return memoryHolds(tool.pid(), simulator.uri()); }));
        EXPECT_TRUE(soon([&] { return !memoryHolds(tool.pid(), oddEnd); }))
            << identity.front() << " " << way.front();
        EXPECT_TRUE(memoryHolds(tool.pid(), simulator.uri())) << "it has ended";
    }
}

class PromptTest : public testing::Test {
  protected:
    Simulator simulator;
    Terminal terminal{{"whoami", "-H", simulator.uri(), "-D", adminDn, "-W"}, {}};
};

TEST_F(PromptTest, AsksWithoutEcho) {
    ASSERT_TRUE(terminal.waitFor("LDAP password: "));
    EXPECT_FALSE(terminal.echoes());
    terminal.type("secret\n");
    const Result result = terminal.finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr(adminDn));
    EXPECT_THAT(result.out, Not(HasSubstr("secret")));
    EXPECT_TRUE(terminal.echoes());
}

TEST_F(PromptTest, CtrlCRestoresTheTerminal) {
    ASSERT_TRUE(terminal.waitFor("LDAP password: "));
    terminal.type("sec\x03");
    const Result result = terminal.finish();
    EXPECT_EQ(result.status, 130);
    EXPECT_TRUE(terminal.echoes());
}

TEST_F(PromptTest, NothingTypedIsRefused) {
    ASSERT_TRUE(terminal.waitFor("LDAP password: "));
    terminal.type("\n");
    EXPECT_EQ(terminal.finish().status, 2);
}

TEST(Password, PromptNeedsATerminal) {
    const Result result = runShell(std::string("setsid -w ") + QLDAPX_PATH + " whoami -D cn=x -W");
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("-y FILE"));
}

} // namespace
} // namespace test
