#include "system/bulk_peer.h"
#include "system/simulator.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

namespace test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const std::string suffix = ",ou=people,dc=example,dc=com";
const std::string file = "f.ldif", checkpointFile = "f.ldif.checkpoint";

std::string person(const std::string &name) {
    return "dn: cn=" + name + suffix + "\nobjectClass: person\ncn: " + name + "\nsn: " + name +
           "\n\n";
}

std::string people(int first, int last) {
    std::string all;
    for (int i = first; i <= last; ++i)
        all += person("x" + std::to_string(i));
    return all;
}

std::string modify(const std::string &name, const std::string &changes) {
    return "dn: cn=" + name + suffix + "\nchangetype: modify\n" + changes + "\n";
}

/** A load that breaks at its third request, and what becomes of it. */
class LoadResume : public testing::Test {
  protected:
    void serve(const Arguments &options = {}) {
        simulator_.reset();
        simulator_.emplace(options);
    }
    Result load(const Arguments &more = {}) {
        Arguments all = {"load", file};
        all.insert(all.end(), more.begin(), more.end());
        return runTool(simulator_->asAdministrator(all), {{}, {}, folder_.path("")});
    }
    /** Breaks when so many of the third request's ten updates have been carried out. */
    void breakAfter(const std::string &ldif, int carriedOut, const Arguments &more = {}) {
        serve({"--fault", "lburp-operation@3=partway:" + std::to_string(carriedOut)});
        for (const std::string &change : before_)
            simulator_->change(change);
        static_cast<void>(folder_.write(file, ldif));
        Arguments all = {"--batch", "10", "--window", "1", "--json"};
        all.insert(all.end(), more.begin(), more.end());
        const Result result = load(all);
        ASSERT_EQ(result.status, 1);
        ASSERT_EQ(result.json()["result"], "broken") << result.err;
    }
    std::string search(const std::string &filter) {
        return simulator_->administer({"search", "-b", "ou=people,dc=example,dc=com", filter}).out;
    }
    std::size_t count(const std::string &filter) {
        const std::string out = search(filter);
        const std::regex dn("dn: ");
        return static_cast<std::size_t>(
            std::distance(std::sregex_iterator(out.begin(), out.end(), dn), {}));
    }
    [[nodiscard]] std::string checkpoint() const { return readFile(folder_.path(checkpointFile)); }
    void writeCheckpoint(const std::string &text) {
        static_cast<void>(folder_.write(checkpointFile, text));
    }

    TemporaryFolder folder_;
    std::optional<Simulator> simulator_;
    std::vector<std::string> before_;
};

TEST_F(LoadResume, AddsAreNotSentTwice) {
    for (const int carriedOut : {0, 1, 5, 9, 10}) {
        breakAfter(people(1, 100), carriedOut);
        EXPECT_EQ(count("(cn=x*)"), static_cast<std::size_t>(20 + carriedOut));
        const Result result = load({"--resume", "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.json()["updates"]["add"]["done"], 100);
        EXPECT_EQ(result.json()["updates"]["add"]["failed"], 0);
        EXPECT_EQ(result.json()["skipped"], 20);
        EXPECT_EQ(count("(cn=x*)"), 100U);
        EXPECT_THAT(folder_.names(), ElementsAre(file));
    }
}

/** One update that is in doubt; the file has twenty records before it and ten behind it. */
struct Doubt {
    std::string name;
    std::string record;
    bool carriedOut;
    enum class Ends { Well, InConflict } ends;
    std::string shows; // what a search for cn=d* prints in the end
};

TEST_F(LoadResume, EachKindOfUpdateIsLookedAt) {
    using Ends = Doubt::Ends;
    const std::string d = "cn=d" + suffix;
    before_ = {"dn: " + d +
               "\nchangetype: add\nobjectClass: person\ncn: d\nsn: old\n"
               "description: one\nuserPassword: changeme\n"};
    const std::vector<Doubt> doubts = {
        {"delete done", "dn: " + d + "\nchangetype: delete\n\n", true, Ends::Well, ""},
        {"delete not done", "dn: " + d + "\nchangetype: delete\n\n", false, Ends::Well, ""},
        {"replace done", modify("d", "replace: sn\nsn: new\n-\n"), true, Ends::Well, "sn: new"},
        {"replace not done", modify("d", "replace: sn\nsn: new\n-\n"), false, Ends::Well,
         "sn: new"},
        {"add value done", modify("d", "add: sn\nsn: new\n-\n"), true, Ends::Well, "sn: new"},
        {"add value not done", modify("d", "add: sn\nsn: new\n-\n"), false, Ends::Well, "sn: new"},
        {"delete value done", modify("d", "delete: description\ndescription: one\n-\n"), true,
         Ends::Well, "sn: old"},
        {"delete value not done", modify("d", "delete: description\ndescription: one\n-\n"), false,
         Ends::Well, "sn: old"},
        {"another writing of the value", modify("d", "replace: sn\nsn: NEW\n-\n"), true, Ends::Well,
         "sn: NEW"},
        {"password", modify("d", "replace: userPassword\nuserPassword: x\n-\n"), true,
         Ends::InConflict, "sn: old"},
        {"half of it was so before",
         modify("d", "replace: sn\nsn: old\n-\nreplace: description\ndescription: two\n-\n"), false,
         Ends::InConflict, "description: one"},
        {"rename done", "dn: " + d + "\nchangetype: modrdn\nnewrdn: cn=d2\ndeleteoldrdn: 1\n\n",
         false, Ends::Well, "dn: cn=d2"},
        {"an entry with other values", "dn: " + d + "\nobjectClass: person\ncn: d\nsn: other\n\n",
         false, Ends::InConflict, "sn: old"},
    };
    for (const Doubt &doubt : doubts) {
        breakAfter(people(1, 20) + doubt.record + people(21, 30), doubt.carriedOut ? 1 : 0);
        const Result result = load({"--resume", "--json"});
        if (doubt.ends == Ends::Well) {
            EXPECT_EQ(result.status, 0) << doubt.name << result.err;
        } else {
            EXPECT_EQ(result.status, 1) << doubt.name;
            EXPECT_THAT(result.err, HasSubstr("--doubtful"));
            EXPECT_THAT(result.err, HasSubstr(d));
            EXPECT_THAT(result.err, HasSubstr("f.ldif:101"));
            EXPECT_EQ(count("(cn=x*)"), 20U) << doubt.name;
            EXPECT_EQ(load({"--resume", "--doubtful", "skip", "--rejects", "r.ldif"}).status, 0)
                << doubt.name;
            EXPECT_THAT(readFile(folder_.path("r.ldif")), HasSubstr("# skipped: "));
            unlink(folder_.path("r.ldif").c_str());
        }
        EXPECT_THAT(search("(cn=d*)"), HasSubstr(doubt.shows)) << doubt.name;
        EXPECT_EQ(count("(cn=x*)"), 30U) << doubt.name;
    }
}

TEST_F(LoadResume, DoubtfulOnesCanBeSentAgain) {
    before_ = {"dn: cn=d" + suffix + "\nchangetype: add\nobjectClass: person\ncn: d\nsn: d\n"};
    breakAfter(people(1, 20) + modify("d", "replace: userPassword\nuserPassword: new\n-\n"), 0);
    EXPECT_EQ(load({"--resume"}).status, 1);
    EXPECT_EQ(load({"--resume", "--doubtful", "send"}).status, 0);
    EXPECT_EQ(simulator_->run({"whoami", "-D", "cn=d" + suffix, "-w", "new"}).status, 0);
}

// It was tried, and failed without an answer: sent again it fails with one.
TEST_F(LoadResume, AFailureWithoutAnAnswerGoesToTheRejects) {
    const std::string nowhere = "dn: cn=n,ou=nowhere,dc=example,dc=com\nobjectClass: person\n"
                                "cn: n\nsn: n\n\n";
    breakAfter(people(1, 20) + nowhere + people(21, 29), 10);
    const Result result = load({"--resume", "--continue", "--rejects", "r.ldif", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.json()["updates"]["add"]["done"], 29);
    EXPECT_EQ(result.json()["updates"]["add"]["failed"], 1);
    EXPECT_EQ(result.json()["results"][0]["code"], 32);
    EXPECT_THAT(readFile(folder_.path("r.ldif")), HasSubstr(nowhere));
}

// To send the first one again would undo the second.
TEST_F(LoadResume, AnOlderChangeIsNotSentOverANewerOne) {
    before_ = {"dn: cn=d" + suffix + "\nchangetype: add\nobjectClass: person\ncn: d\nsn: d\n"};
    breakAfter(people(1, 20) + modify("d", "replace: sn\nsn: first\n-\n") +
                   modify("d", "replace: sn\nsn: second\n-\n"),
               2);
    const Result result = load({"--resume"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("--doubtful"));
    EXPECT_THAT(search("(cn=d)"), HasSubstr("sn: second"));
}

TEST_F(LoadResume, KilledAndResumedAsOftenAsItTakes) {
    serve();
    static_cast<void>(folder_.write(file, people(1, 3000)));
    Arguments line = simulator_->asAdministrator({"load", file, "--rate", "500", "--window", "8"});
    for (int i = 0; i < 3; ++i) {
        const std::size_t goal = count("(cn=x*)") + 200;
        Process tool(QLDAPX_PATH, line, {{}, {}, folder_.path("")});
        ASSERT_TRUE(soon([&] { return count("(cn=x*)") >= goal; }));
        tool.signal(SIGKILL);
        EXPECT_EQ(tool.wait().status, 128 + SIGKILL);
        if (i == 0)
            line.emplace_back("--resume");
    }
    const Result result = load({"--resume", "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.json()["updates"]["add"]["done"], 3000);
    EXPECT_EQ(count("(cn=x*)"), 3000U);
}

TEST_F(LoadResume, WithoutTheOptionACheckpointIsRespected) {
    breakAfter(people(1, 30), 0);
    const Result result = load();
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("--resume"));
    EXPECT_THAT(result.err, HasSubstr("remove it"));
    EXPECT_EQ(count("(cn=x*)"), 20U);
}

TEST_F(LoadResume, AChangedFileIsRefused) {
    const std::string before = people(1, 60);
    breakAfter(before, 0);
    std::string settled = before, doubtful = before, behind = before;
    settled.replace(settled.find("sn: x5"), 6, "sn: y5");
    doubtful.replace(doubtful.find("sn: x25"), 7, "sn: y25");
    behind.replace(behind.find("sn: x55"), 7, "sn: y55");
    for (const std::string &changed : {settled, doubtful, people(1, 25), std::string()}) {
        static_cast<void>(folder_.write(file, changed));
        const Result result = load({"--resume"});
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.err, HasSubstr("is not what it was"));
        EXPECT_EQ(count("(cn=x*)"), 20U);
    }
    static_cast<void>(folder_.write(file, behind));
    EXPECT_EQ(load({"--resume"}).status, 0);
    EXPECT_THAT(search("(cn=x55)"), HasSubstr("sn: y55"));
}

TEST_F(LoadResume, ADamagedCheckpointIsRefused) {
    breakAfter(people(1, 30), 0);
    const std::string whole = checkpoint();
    const auto replaced = [&](const std::string &from, const std::string &to) {
        return std::regex_replace(whole, std::regex(from), to);
    };
    for (const std::string &damaged :
         {std::string(), std::string("rubbish"), whole.substr(0, 100), std::string("[\n{}\n]\n"),
          std::string("[\n{\"check\":\"00000000\"}\n]\n"), replaced("\"record\":2", "\"record\":3"),
          replaced("\"version\":1", "\"version\":2"), std::string(100000, '['),
          std::string(100000, '\n')}) {
        writeCheckpoint(damaged);
        const Result result = load({"--resume"});
        EXPECT_EQ(result.status, 2) << damaged.substr(0, 200);
        EXPECT_THAT(result.err, HasSubstr("is damaged, or no checkpoint"));
        EXPECT_THAT(result.err, HasSubstr("remove it"));
        EXPECT_EQ(count("(cn=x*)"), 20U);
    }
    unlink(folder_.path(checkpointFile).c_str());
    const Result none = load({"--resume"});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr("there is no checkpoint"));
    writeCheckpoint(whole);
    EXPECT_EQ(load({"--resume"}).status, 0);
}

TEST_F(LoadResume, OneTornBlockIsNoDamage) {
    for (const bool isSecond : {false, true}) {
        breakAfter(people(1, 30), 0);
        std::string torn = checkpoint();
        const std::size_t block = isSecond ? torn.find("\n{", 2) + 1 : 2;
        torn.replace(block + 150, 20, 20, '#');
        writeCheckpoint(torn);
        const Result result = load({"--resume"});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(count("(cn=x*)"), 30U);
    }
}

TEST_F(LoadResume, ACheckpointOfAnotherServerOrUserIsRefused) {
    breakAfter(people(1, 30), 0);
    const Result user =
        runTool({"load", file, "--resume", "-H", simulator_->uri()}, {{}, {}, folder_.path("")});
    EXPECT_EQ(user.status, 2);
    EXPECT_THAT(user.err, HasSubstr(adminDn));
    const Simulator other;
    const Result server =
        runTool(other.asAdministrator({"load", file, "--resume"}), {{}, {}, folder_.path("")});
    EXPECT_EQ(server.status, 2);
    EXPECT_THAT(server.err, HasSubstr(other.uri()));
}

TEST_F(LoadResume, StandardInputIsResumedWithACheckpointOfItsOwn) {
    serve({"--fault", "lburp-operation@3=partway:5"});
    static_cast<void>(folder_.write(file, people(1, 40)));
    const std::string tool = "gzip -c f.ldif | \"$TOOL\" load - --batch 10 --checkpoint c "
                             "-H \"$URI\" -D \"$DN\" -w \"$PW\" ";
    const Surroundings here = {
        {{"TOOL", QLDAPX_PATH}, {"URI", simulator_->uri()}, {"DN", adminDn}, {"PW", adminPassword}},
        {},
        folder_.path("")};
    EXPECT_EQ(runShell(tool + "--window 1", here).status, 1);
    EXPECT_EQ(runShell(tool + "--resume", here).status, 0);
    EXPECT_EQ(count("(cn=x*)"), 40U);
    EXPECT_THAT(folder_.names(), ElementsAre(file));
}

} // namespace
} // namespace test
