#include "system/simulator.h"
#include "system/terminal.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>

namespace test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char *ada = "cn=Ada Brandt,ou=people,dc=example,dc=com";
const std::string deletion = std::string("dn: ") + ada + "\nchangetype: delete\n";

/** A folder for backups, and a server whose pieces are small. */
class BackupTest : public testing::Test {
  protected:
    void serve(const Arguments &options) {
        simulator_.reset();
        simulator_.emplace(options);
    }
    void SetUp() override { serve({"--backup-piece", "100"}); }

    [[nodiscard]] const Simulator &simulator() const { return *simulator_; }
    [[nodiscard]] std::string file(const char *name = "ada.backup") const {
        return folder_.path(name);
    }
    [[nodiscard]] Arguments backupLine(const Arguments &more = {}) const {
        Arguments all = simulator_->asAdministrator({"backup", ada, "-o", file()});
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    [[nodiscard]] Result backup(const Arguments &more = {}) const {
        return runTool(backupLine(more));
    }
    [[nodiscard]] Result restore(const Arguments &more = {}) const {
        Arguments all = {"restore", ada, file()};
        all.insert(all.end(), more.begin(), more.end());
        return simulator_->administer(all);
    }
    [[nodiscard]] std::string entry() const {
        return simulator_->administer({"search", "-b", ada, "-s", "base", "*", "entryUUID"}).out;
    }
    void endServer() { simulator_.reset(); }

    TemporaryFolder folder_;
    std::optional<Simulator> simulator_;
};

TEST_F(BackupTest, TheEntryComesBackAsItWas) {
    const std::string before = entry();
    const Result saved = backup({"--json"});
    EXPECT_EQ(saved.status, 0);
    EXPECT_EQ(saved.err, "");
    const Json json = saved.json();
    EXPECT_EQ(json["object"], ada);
    EXPECT_EQ(json["pieces"], (json["bytes"].get<int>() + 99) / 100);
    EXPECT_GT(json["pieces"], 5);
    simulator().change(deletion);
    const Result restored = restore({"--json"});
    EXPECT_EQ(restored.status, 0) << restored.err;
    EXPECT_EQ(restored.json()["pieces"], json["pieces"]);
    EXPECT_EQ(entry(), before);
    EXPECT_THAT(before, HasSubstr("mail: ada.brandt@example.com"));
    // The password, which no search shows, is there again.
    EXPECT_EQ(simulator().run({"whoami", "-D", ada, "-w", "changeme"}).status, 0);
}

TEST_F(BackupTest, SaysWhatItDid) {
    EXPECT_THAT(backup().out, HasSubstr("backup of " + std::string(ada) + " written to " + file()));
    simulator().change(deletion);
    EXPECT_THAT(restore().out, HasSubstr(std::string(ada) + " restored from " + file()));
}

TEST_F(BackupTest, TheFileIsItsOwnersAndTheOnlyOne) {
    ASSERT_EQ(backup().status, 0);
    EXPECT_THAT(folder_.names(), ElementsAre("ada.backup"));
    EXPECT_EQ(runShell("stat -c %a '" + file() + "'").out, "600\n");
}

TEST_F(BackupTest, AFileThatExistsIsKeptUnlessForced) {
    static_cast<void>(folder_.write("ada.backup", "precious"));
    const Result refused = backup();
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("--force"));
    EXPECT_EQ(readFile(file()), "precious");
    EXPECT_EQ(backup({"--force"}).status, 0);
    EXPECT_NE(readFile(file()), "precious");
    EXPECT_THAT(folder_.names(), ElementsAre("ada.backup"));
}

TEST_F(BackupTest, WhatIsNoPlaceForAFileIsNamed) {
    for (const std::string &path :
         {std::string("-"), folder_.path(""), std::string("/dev/null"), folder_.path("no/file")}) {
        const Result result = simulator().administer({"backup", ada, "-o", path, "--force"});
        EXPECT_EQ(result.status, 2) << path;
        EXPECT_THAT(folder_.names(), IsEmpty());
    }
}

TEST_F(BackupTest, AFileThatComesMeanwhileIsKept) {
    serve({"--backup-piece", "100", "--fault", "backup-object=delay:200"});
    Process tool(QLDAPX_PATH, backupLine());
    ASSERT_TRUE(soon([&] { return !folder_.names().empty(); }));
    static_cast<void>(folder_.write("ada.backup", "precious"));
    const Result result = tool.wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("File exists"));
    EXPECT_EQ(readFile(file()), "precious");
    EXPECT_THAT(folder_.names(), ElementsAre("ada.backup"));
}

TEST_F(BackupTest, ASignalLeavesTheOldFileAndNothingElse) {
    serve({"--backup-piece", "100", "--fault", "backup-object=delay:200"});
    static_cast<void>(folder_.write("ada.backup", "precious"));
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        Process tool(QLDAPX_PATH, backupLine({"--force"}));
        ASSERT_TRUE(soon([&] { return folder_.names().size() == 2; }));
        tool.signal(signal);
        EXPECT_EQ(tool.wait().status, 128 + signal);
        EXPECT_THAT(folder_.names(), ElementsAre("ada.backup"));
        EXPECT_EQ(readFile(file()), "precious");
    }
}

TEST_F(BackupTest, AnEndOfTheConnectionLeavesNothing) {
    serve({"--backup-piece", "100", "--fault", "backup-object=delay:200"});
    Process tool(QLDAPX_PATH, backupLine({"--json"}));
    ASSERT_TRUE(soon([&] { return !folder_.names().empty(); }));
    endServer();
    const Result result = tool.wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], -1);
    EXPECT_THAT(folder_.names(), IsEmpty());
}

TEST_F(BackupTest, ADiskThatIsFullLeavesNothing) {
    std::string big = std::string("dn: ") + ada + "\nchangetype: modify\nadd: description\n";
    big += "description: " + std::string(20000, 'x') + "\n";
    simulator().change(big);
    const Result result = runShell("ulimit -f 8; exec \"$TOOL\" -H \"$URI\" -D \"$DN\" -w secret "
                                   "backup \"$ADA\" -o \"$FILE\" --json",
                                   {{{"TOOL", QLDAPX_PATH},
                                     {"URI", simulator().uri()},
                                     {"DN", adminDn},
                                     {"ADA", ada},
                                     {"FILE", file()}},
                                    {},
                                    {}});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("File too large"));
    EXPECT_THAT(folder_.names(), IsEmpty());
}

/** Answers to a backup: INTEGER 3 or 0, two of the state, the piece, and its one chunk's size. */
TEST_F(BackupTest, AServerThatComesToNoEndIsNotFollowed) {
    const std::string abc = "0403616263300a02010131053003020103";
    const std::string nothing = "0400300a02010131053003020100";
    const std::pair<std::string, const char *> answers[] = {
        {"020103020101020100" + abc, "after 1 piece the server's state is 1+0"},
        {"020103020100020101" + abc, "after 1 piece the server's state is 0+1"},
        {"020100020105020107" + nothing, "after 2 pieces the server sends empty ones"},
    };
    for (const auto &[answer, words] : answers) {
        serve({"--fault", "backup-object=code:0", "--fault", "backup-object=value:" + answer});
        const Result result = backup({"--json"});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.error()["reason"].get<std::string>(), HasSubstr(words));
        EXPECT_THAT(folder_.names(), IsEmpty());
    }
    serve({"--fault", "backup-object=value:020103020100020100" + abc});
    EXPECT_EQ(backup().status, 0);
    EXPECT_THAT(readFile(file()), HasSubstr("1;3;abcE"));
}

TEST_F(BackupTest, RefusalsLeaveNothing) {
    const std::pair<const char *, int> faults[] = {
        {"no-oid", -12},    {"oid:1.2.3", -12},        {"no-value", 1},
        {"truncate:5", -4}, {"value:0400", -4},        {"value:30803080", -4},
        {"drop", -1},       {"code:53:not today", 53}, {"delay:9000", -5}};
    for (const auto &[fault, code] : faults) {
        serve({"--fault", std::string("backup-object=") + fault});
        const Result result = backup({"--json", "--timeout", "1"});
        EXPECT_EQ(result.status, 1) << fault;
        EXPECT_EQ(result.error()["code"], code) << fault;
        EXPECT_THAT(folder_.names(), IsEmpty());
    }
}

TEST_F(BackupTest, WhoMayNotIsRefused) {
    const Result result = simulator().run({"backup", ada, "-o", file(), "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], 50);
    EXPECT_EQ(simulator().administer({"backup", "ou=none", "-o", file()}).status, 1);
    EXPECT_THAT(folder_.names(), IsEmpty());
}

TEST_F(BackupTest, RestoreSaysWhyNot) {
    ASSERT_EQ(backup().status, 0);
    const Result exists = restore({"--json"});
    EXPECT_EQ(exists.status, 1);
    EXPECT_EQ(exists.error()["code"], 68);
    EXPECT_THAT(exists.error()["reason"].get<std::string>(), HasSubstr("it was piece "));
    EXPECT_THAT(exists.error()["hint"].get<std::string>(), HasSubstr("an entry that is gone"));
    const std::pair<const char *, int> faults[] = {
        {"no-oid", -12}, {"drop", -12}, {"code:53:not today", 53}};
    for (const auto &[fault, code] : faults) {
        serve({"--fault", std::string("restore-object=") + fault});
        EXPECT_EQ(restore({"--json"}).error()["code"], code);
    }
}

TEST_F(BackupTest, ThePasswordProtectsTheImage) {
    const Arguments right = {"--password-file", folder_.write("right", "sesame")};
    const Arguments wrong = {"--password-file", folder_.write("wrong", "sesam")};
    ASSERT_EQ(backup(right).status, 0);
    EXPECT_THAT(readFile(file()), Not(HasSubstr("sesame")));
    simulator().change(deletion);
    for (const Arguments &options : {wrong, Arguments{}}) {
        const Result result = restore(options);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr("Invalid credentials (49)"));
        EXPECT_THAT(result.err, HasSubstr("--password-file"));
    }
    EXPECT_EQ(restore(right).status, 0);
}

TEST_F(BackupTest, ThePasswordIsAskedForTwice) {
    const auto backupOnTerminal = [&](const char *second) {
        Terminal terminal(backupLine({"--ask-password"}), {});
        EXPECT_TRUE(terminal.waitFor("Password of the image: "));
        terminal.type("sesame\n");
        EXPECT_TRUE(terminal.waitFor("The same again: "));
        terminal.type(second);
        return terminal.finish();
    };
    EXPECT_EQ(backupOnTerminal("sesam\n").status, 2);
    EXPECT_THAT(folder_.names(), IsEmpty());
    const Result result = backupOnTerminal("sesame\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, Not(HasSubstr("sesame")));
    simulator().change(deletion);
    EXPECT_EQ(restore({"--password-file", folder_.write("right", "sesame")}).status, 0);
}

TEST_F(BackupTest, APasswordWithAZeroByteIsRefused) {
    const std::string name = folder_.write("zero", std::string("a\0b", 3));
    EXPECT_EQ(backup({"--password-file", name}).status, 2);
    EXPECT_EQ(backup({"--password-file", name, "--ask-password"}).status, 2);
    EXPECT_FALSE(runTool({"restore", "--check", file()}).status == 0);
}

TEST_F(BackupTest, ATerminalShowsProgress) {
    serve({"--backup-piece", "100", "--fault", "backup-object=delay:150"});
    Terminal terminal(backupLine(), {});
    EXPECT_TRUE(terminal.waitFor("200 bytes, 2 pieces, "));
    EXPECT_EQ(terminal.finish().status, 0);
}

TEST_F(BackupTest, AGreatEntryNeedsLittleMemory) {
    std::string ldif = "dn: dc=example,dc=com\nobjectClass: dcObject\nobjectClass: top\n"
                       "dc: example\n\ndn: cn=big,dc=example,dc=com\nobjectClass: person\n"
                       "cn: big\nsn: x\ndescription: ";
    constexpr std::size_t size = 64U << 20U;
    {
        const std::string content = ldif + std::string(size, 'x') + "\n";
        static_cast<void>(folder_.write("tree.ldif", content));
    }
    serve({"--backup-piece", "1048576", "--ldif", file("tree.ldif")});
    const Result saved =
        simulator().administer({"backup", "cn=big,dc=example,dc=com", "-o", file(), "--json"});
    EXPECT_EQ(saved.status, 0) << saved.err;
    EXPECT_GT(saved.json()["bytes"], size);
    EXPECT_GE(saved.json()["pieces"], 64);
    simulator().change("dn: cn=big,dc=example,dc=com\nchangetype: delete\n");
    const Result restored = simulator().administer({"restore", "cn=big,dc=example,dc=com", file()});
    EXPECT_EQ(restored.status, 0) << restored.err;
    EXPECT_EQ(
        simulator().run({"search", "-b", "cn=big,dc=example,dc=com", "-s", "base", "-A", "sn"}).out,
        "dn: cn=big,dc=example,dc=com\nsn:\n\n");
#ifndef __SANITIZE_ADDRESS__
    constexpr long fourPiecesAndMore = 4 * 1024 + 40 * 1024;
    EXPECT_LT(saved.peakKiB, fourPiecesAndMore);
    EXPECT_LT(restored.peakKiB, fourPiecesAndMore);
#endif
}

} // namespace
} // namespace test
