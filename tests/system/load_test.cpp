#include "system/simulator.h"
#include "system/terminal.h"

#include <chrono>
#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const std::string suffix = ",ou=people,dc=example,dc=com";

/** Those that the files of these tests add. */
const std::string everyone = "(&(cn=p*)(!(mail=*)))";

std::string person(const std::string &name, const std::string &more = {}) {
    return "dn: cn=" + name + suffix + "\nobjectClass: person\ncn: " + name + "\nsn: " + name +
           "\n" + more + "\n";
}

std::string people(int first, int last) {
    std::string all;
    for (int i = first; i <= last; ++i)
        all += person("p" + std::to_string(i));
    return all;
}

/** A folder with the file f.ldif, and a simulator to load it into. */
class LoadTest : public testing::Test {
  protected:
    void serve(const Arguments &options = {}) {
        simulator_.reset();
        simulator_.emplace(options);
    }
    [[nodiscard]] const Simulator &simulator() {
        if (!simulator_)
            serve();
        return *simulator_;
    }
    void write(const std::string &ldif) { static_cast<void>(folder_.write("f.ldif", ldif)); }
    [[nodiscard]] Surroundings here() const { return {{}, {}, folder_.path("")}; }
    [[nodiscard]] Arguments loadLine(const Arguments &more = {},
                                     const std::string &file = "f.ldif") {
        Arguments all = {"load", file};
        all.insert(all.end(), more.begin(), more.end());
        return simulator().asAdministrator(all);
    }
    Result load(const Arguments &more = {}, const std::string &file = "f.ldif") {
        return runTool(loadLine(more, file), here());
    }
    std::string search(const std::string &filter, const Arguments &attributes = {}) {
        Arguments all = {"search", "-b", "ou=people,dc=example,dc=com", filter};
        all.insert(all.end(), attributes.begin(), attributes.end());
        return simulator().administer(all).out;
    }
    std::size_t count(const std::string &filter) {
        const std::string out = search(filter, {"1.1"});
        std::size_t entries = 0;
        for (std::size_t at = out.find("dn:"); at != std::string::npos;
             at = out.find("dn:", at + 1))
            ++entries;
        return entries;
    }

    TemporaryFolder folder_;
    std::optional<Simulator> simulator_;
};

TEST_F(LoadTest, EntriesAreAddedAndCounted) {
    write("version: 1\n\n" + people(1, 250));
    const Result result = load({"--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const Json json = result.json();
    EXPECT_EQ(json["result"], "success");
    EXPECT_EQ(json["mode"], "bulk");
    EXPECT_EQ(json["records"], 250);
    EXPECT_EQ(json["updates"]["add"]["done"], 250);
    EXPECT_EQ(json["results"].size(), 0U);
    EXPECT_TRUE(json["checkpoint"].is_null());
    EXPECT_EQ(count(everyone), 250U);
    EXPECT_THAT(folder_.names(), ElementsAre("f.ldif"));
}

TEST_F(LoadTest, EveryKindOfRecordIsCarriedOut) {
    static_cast<void>(folder_.write("text", "from a file"));
    write(person("p1", "description:: w6TDtg==\n") + person("p2") + person("p3") + "dn: cn=p1" +
          suffix +
          "\nchangetype: modify\nreplace: sn\nsn: one\nsn: two\n-\n"
          "add: telephoneNumber\ntelephoneNumber: 123\n-\n\n" +
          "dn: cn=p2" + suffix + "\ncontrol: 2.16.840.1.113730.3.4.2 true\nchangetype: delete\n\n" +
          "dn: cn=p3" + suffix + "\nchangetype: modrdn\nnewrdn: cn=p4\ndeleteoldrdn: 0\n\n" +
          "dn: cn=p4" + suffix +
          "\nchangetype: modify\nreplace: description\n"
          "description:< file:text\n-\n\n");
    const Result result = load();
    EXPECT_EQ(result.status, 0) << result.err << result.out;
    EXPECT_THAT(search("(cn=p1)"), HasSubstr("description:: w6TDtg=="));
    EXPECT_THAT(search("(cn=p1)"), HasSubstr("sn: one\nsn: two"));
    EXPECT_EQ(count("(cn=p2)"), 0U);
    EXPECT_THAT(search("(cn=p4)"), HasSubstr("cn: p3"));
    EXPECT_THAT(search("(cn=p4)"), HasSubstr("description: from a file"));
    EXPECT_THAT(result.out, HasSubstr("rename   1 done, 0 failed"));
}

TEST_F(LoadTest, GzipAndStandardInput) {
    write(people(1, 120));
    std::map<std::string, std::string> variables = {
        {"TOOL", QLDAPX_PATH}, {"URI", simulator().uri()}, {"DN", adminDn}, {"PW", adminPassword}};
    const Result result = runShell("gzip -c f.ldif | \"$TOOL\" load - --json -H \"$URI\" "
                                   "-D \"$DN\" -w \"$PW\"",
                                   {variables, {}, folder_.path("")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.json()["updates"]["add"]["done"], 120);
    EXPECT_EQ(count(everyone), 120U);
}

TEST_F(LoadTest, AFailureStopsTheLoad) {
    write(people(1, 30) + person("p7") + people(31, 5000));
    const Result result = load({"--batch", "10", "--window", "1", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("f.ldif:151"));
    const Json json = result.json();
    EXPECT_EQ(json["result"], "stopped");
    EXPECT_EQ(json["updates"]["add"]["failed"], 1);
    EXPECT_EQ(json["updates"]["add"]["done"], 39);
    EXPECT_EQ(json["results"][0]["code"], 68);
    EXPECT_EQ(json["checkpoint"], "f.ldif.checkpoint");
    EXPECT_EQ(count(everyone), 39U);
    EXPECT_THAT(folder_.names(), ElementsAre("f.ldif", "f.ldif.checkpoint"));
    const Result resumed = load({"--resume", "--json"});
    EXPECT_EQ(resumed.status, 1) << resumed.err; // of the whole file one failed
    EXPECT_EQ(resumed.json()["result"], "failures");
    EXPECT_EQ(resumed.json()["updates"]["add"]["done"], 5000);
    EXPECT_EQ(resumed.json()["updates"]["add"]["failed"], 1);
    EXPECT_EQ(resumed.json()["skipped"], 40);
    EXPECT_EQ(count(everyone), 5000U);
}

TEST_F(LoadTest, ContinueGoesOnAndRejectsCanBeLoadedAgain) {
    const std::string nowhere = "# old comment\ndn: cn=x,ou=later,dc=example,dc=com\n"
                                "objectClass: person\ncn: x\nsn:: AAEC\ndescription: a folded\n"
                                "  value\n\n";
    write(people(1, 10) + nowhere + "dn: cn=y\n\n" + people(11, 20) + person("p1"));
    const Result result = load({"--continue", "--rejects", "r.ldif", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.json()["result"], "failures");
    EXPECT_EQ(result.json()["malformed"], 1);
    EXPECT_EQ(result.json()["rejects"], "r.ldif");
    EXPECT_EQ(count(everyone), 20U);
    const std::string rejects = readFile(folder_.path("r.ldif"));
    EXPECT_THAT(rejects, HasSubstr("# result 32 (No such object): "));
    EXPECT_THAT(rejects, HasSubstr("# f.ldif:52\ndn: cn=x,ou=later,dc=example,dc=com\n"
                                   "objectClass: person\ncn: x\nsn:: AAEC\n"
                                   "description: a folded\n  value\n\n"));
    EXPECT_THAT(rejects, HasSubstr("# malformed: an entry without attributes\n# f.ldif:59\n"
                                   "dn: cn=y\n\n"));
    EXPECT_THAT(rejects, HasSubstr("# result 68 (Already exists): "));
    EXPECT_THAT(folder_.names(), ElementsAre("f.ldif", "r.ldif"));
    simulator().change("dn: ou=later,dc=example,dc=com\nchangetype: add\n"
                       "objectClass: organizationalUnit\nou: later\n");
    EXPECT_EQ(load({"--rejects", "r2.ldif", "--continue"}, "r.ldif").status, 1);
    const std::string again = readFile(folder_.path("r2.ldif"));
    EXPECT_THAT(again, Not(HasSubstr("cn=x")));
    EXPECT_THAT(again, HasSubstr("dn: cn=p1"));
}

TEST_F(LoadTest, ARejectsFileThatIsThereIsKept) {
    write(people(1, 1));
    static_cast<void>(folder_.write("r.ldif", "precious"));
    const Result result = load({"--rejects", "r.ldif"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("r.ldif exists already"));
    EXPECT_EQ(readFile(folder_.path("r.ldif")), "precious");
    EXPECT_EQ(count(everyone), 0U);
}

TEST_F(LoadTest, RejectsThatCannotBeWrittenStopTheLoad) {
    const std::string line = "ulimit -f 16; exec \"$TOOL\" load f.ldif --continue --rejects r.ldif "
                             "--batch 10 --checkpoint c -H \"$URI\" -D \"$DN\" -w \"$PW\"";
    write(people(1, 400) + people(1, 400));
    const Result full = runShell(line, {{{"TOOL", QLDAPX_PATH},
                                         {"URI", simulator().uri()},
                                         {"DN", adminDn},
                                         {"PW", adminPassword}},
                                        {},
                                        folder_.path("")});
    EXPECT_EQ(full.status, 1);
    EXPECT_THAT(full.err, HasSubstr("the rejects cannot be written: File too large"));
    const Result resumed = load({"--continue", "--rejects", "r.ldif", "--checkpoint", "c",
                                 "--resume", "--doubtful", "skip", "--json"});
    EXPECT_EQ(resumed.json()["records"], 800);
    EXPECT_EQ(count(everyone), 400U);
}

TEST_F(LoadTest, WithoutRejectsTenFailuresArePrinted) {
    write(people(1, 30) + people(1, 30));
    const Result result = load({"--continue"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("qldapx: load cn=p10" + suffix + ": Already exists (68)"));
    EXPECT_THAT(result.err, Not(HasSubstr("cn=p11,")));
    EXPECT_THAT(result.err, HasSubstr("20 more could not be loaded"));
}

TEST_F(LoadTest, AMalformedRecordStopsBehindThoseBeforeIt) {
    write(people(1, 30) + "dn: cn=q" + suffix + "\nchangetype: oops\n\n" + people(31, 60));
    const Result result = load({"--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("f.ldif:152"));
    EXPECT_EQ(count(everyone), 30U);
    write(people(1, 30) + person("q") + people(31, 60));
    EXPECT_EQ(load({"--resume"}).status, 0);
    EXPECT_EQ(count(everyone), 60U);
    EXPECT_EQ(count("(cn=q)"), 1U);
}

TEST_F(LoadTest, ACutFileLoadsWhatIsWhole) {
    write(people(1, 3000));
    ASSERT_EQ(runShell("gzip -c f.ldif | head -c 9000 > f.gz", here()).status, 0);
    const Result result = load({}, "f.gz");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("ends in the middle of its compressed data"));
    EXPECT_GT(count(everyone), 100U);
}

TEST_F(LoadTest, RenamesGoEitherWay) {
    const std::string first = person("p1") + person("p2") + "dn: cn=p1" + suffix +
                              "\nchangetype: moddn\nnewrdn: cn=r1\ndeleteoldrdn: 1\n"
                              "newsuperior: dc=example,dc=com\n\ndn: cn=p2" +
                              suffix + "\nchangetype: moddn\nnewrdn: cn=r2\ndeleteoldrdn: 1\n\n" +
                              person("p3");
    write(first);
    EXPECT_EQ(load().status, 0);
    EXPECT_EQ(count("(cn=r2)"), 1U);
    EXPECT_EQ(count("(cn=r1)"), 0U); // it is elsewhere
    EXPECT_EQ(count("(cn=p3)"), 1U);
    write(person("p1") + "dn: cn=p1" + suffix + "\nchangetype: moddn\nnewrdn: cn=r1\n" +
          "deleteoldrdn: 0\n\n");
    const Result refused = load({"--rename", "bulk"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("deleteoldrdn: 0 cannot be said with --rename bulk"));
    EXPECT_THAT(refused.err, HasSubstr("removes the old RDN"));
}

TEST_F(LoadTest, TheRateIsKept) {
    write(people(1, 60));
    const auto begin = std::chrono::steady_clock::now();
    const Result result = load({"--rate", "50", "--json"});
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(result.status, 0);
    EXPECT_GT(time.count(), 1.0); // 60 updates, of which the first 5 go at once
    EXPECT_LT(result.json()["updatesPerSecond"], 60.0);
}

TEST_F(LoadTest, ShowsProgressOnATerminalOnly) {
    write(people(1, 400));
    Terminal terminal(loadLine({"--rate", "400"}), here());
    EXPECT_TRUE(terminal.waitFor(" updates, "));
    EXPECT_TRUE(terminal.waitFor("s left"));
    EXPECT_EQ(terminal.finish().status, 0);
}

TEST_F(LoadTest, InterruptionsEndItInOrder) {
    write(people(1, 20000));
    for (const int number : {SIGINT, SIGTERM}) {
        serve();
        Process tool(QLDAPX_PATH, loadLine({"--rate", "1000", "--json"}), here());
        ASSERT_TRUE(soon([&] { return count(everyone) > 50; }));
        tool.signal(number);
        const Result result = tool.wait();
        EXPECT_EQ(result.status, 128 + number);
        EXPECT_EQ(result.json()["result"], "interrupted");
        EXPECT_EQ(result.json()["updates"]["add"]["inDoubt"], 0);
        EXPECT_EQ(result.json()["updates"]["add"]["done"], count(everyone));
        EXPECT_EQ(load({"--resume"}).status, 0);
        EXPECT_EQ(count(everyone), 20000U);
    }
}

TEST_F(LoadTest, UsageErrorsSendNothing) {
    write(people(1, 1));
    for (const Arguments &options : {Arguments{"--window", "65"}, Arguments{"--window", "0"},
                                     Arguments{"--rate", "0"}, Arguments{"--rename", "never"},
                                     Arguments{"--doubtful", "maybe"}, Arguments{"--resume"}}) {
        const Result result = load(options);
        EXPECT_EQ(result.status, 2) << options.front();
        EXPECT_THAT(result.err, HasSubstr("try:"));
    }
    EXPECT_EQ(load({"--resume"}, "-").status, 2);
    EXPECT_EQ(count(everyone), 0U);
}

} // namespace
} // namespace test
