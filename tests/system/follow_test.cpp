#include "system/simulator.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>

namespace test {
namespace {

using testing::HasSubstr;

constexpr const char *people = "ou=people,dc=example,dc=com";

const std::string addition = "dn: cn=new,ou=people,dc=example,dc=com\nchangetype: add\n"
                             "objectClass: person\ncn: new\nsn: first\n";
const std::string modification = "dn: cn=new,ou=people,dc=example,dc=com\nchangetype: modify\n"
                                 "replace: sn\nsn: second\n";
const std::string renaming = "dn: cn=new,ou=people,dc=example,dc=com\nchangetype: modrdn\n"
                             "newrdn: cn=newer\ndeleteoldrdn: 1\n";
const std::string deletion = "dn: cn=newer,ou=people,dc=example,dc=com\nchangetype: delete\n";

/** A search that follows, begun: the entry that is there has been printed. */
class Following {
  public:
    explicit Following(const Arguments &more, const Arguments &server = {}) : simulator_(server) {
        Arguments all = {"search", "-H", simulator_->uri(), "-b", people, "--follow", "--existing"};
        all.insert(all.end(), more.begin(), more.end());
        tool_.emplace(QLDAPX_PATH, all, Surroundings{{}, output_, {}});
        EXPECT_TRUE(soon([&] { return !printed().empty(); }));
    }

    [[nodiscard]] const Simulator &simulator() const { return *simulator_; }
    [[nodiscard]] std::string printed() const { return readFile(output_); }
    [[nodiscard]] const Process &tool() const { return *tool_; }
    void endServer() { simulator_.reset(); }
    Result wait() { return tool_->wait(); }

    /** One value a line. */
    [[nodiscard]] std::vector<Json> lines() const {
        std::vector<Json> all;
        std::istringstream text(printed());
        for (std::string line; std::getline(text, line);)
            all.push_back(Json::parse(line));
        return all;
    }

  private:
    TemporaryFolder folder_;
    std::string output_ = folder_.write("out", "");
    std::optional<Simulator> simulator_;
    std::optional<Process> tool_;
};

const Arguments justTheRoot = {"(ou=people)", "1.1"};

TEST(Follow, SeesEachKindOfChange) {
    Following following({"(|(ou=people)(cn=new*))", "cn", "sn", "--count", "5", "--json"});
    for (const std::string &change : {addition, modification, renaming, deletion})
        following.simulator().change(change);
    const Result result = following.wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const auto lines = following.lines();
    ASSERT_EQ(lines.size(), 5U);
    const char *kinds[] = {"existing", "add", "modify", "modify DN", "delete"};
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(lines[i]["change"], kinds[i]);
    EXPECT_EQ(lines[1]["attributes"]["sn"], Json::array({"first"}));
    EXPECT_EQ(lines[2]["attributes"]["sn"], Json::array({"second"}));
    EXPECT_TRUE(lines[2]["previousDN"].is_null());
    EXPECT_EQ(lines[3]["dn"], "cn=newer,ou=people,dc=example,dc=com");
    EXPECT_EQ(lines[3]["previousDN"], "cn=new,ou=people,dc=example,dc=com");
    EXPECT_LT(lines[1]["changeNumber"].get<int>(), lines[4]["changeNumber"].get<int>());
    EXPECT_TRUE(lines[0]["changeNumber"].is_null());
}

TEST(Follow, PrintsLdifWithCommentsAsItComes) {
    Following following({"(|(ou=people)(cn=new*))", "sn", "--timeout", "1"});
    following.simulator().change(addition);
    following.simulator().change(renaming);
    EXPECT_TRUE(soon([&] { return following.printed().find("newer") != std::string::npos; }));
    EXPECT_THAT(following.printed(), HasSubstr("# change: existing\ndn: ou=people,dc=example,"
                                               "dc=com\n\n# change: add\n# change number: "));
    EXPECT_THAT(following.printed(), HasSubstr("\n# change: modify DN\n# previous DN: cn=new,"));
    EXPECT_THAT(following.printed(), HasSubstr("\nsn: first\n"));
}

TEST(Follow, ChosenKindsOnly) {
    Following following(
        {"(|(ou=people)(cn=new*))", "1.1", "--changes", "modify,delete", "--count", "3", "--json"});
    for (const std::string &change : {addition, modification, renaming, deletion})
        following.simulator().change(change);
    EXPECT_EQ(following.wait().status, 0);
    const auto lines = following.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1]["change"], "modify");
    EXPECT_EQ(lines[2]["change"], "delete");
}

TEST(Follow, WithoutExistingThereAreChangesOnly) {
    const Simulator simulator;
    Process tool(QLDAPX_PATH, {"search", "-H", simulator.uri(), "-b", people, "(cn=new)", "1.1",
                               "--follow", "--count", "1", "--json"});
    // Searches that are under way, the follower's with the asking one's, are the third number.
    EXPECT_TRUE(soon([&] {
        return simulator.run({"status", "--json"}).json().value("status2", 0) == 2;
    }));
    simulator.change(addition);
    const Result result = tool.wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.json()["change"], "add");
}

TEST(Follow, ASignalEndsIt) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Following following(justTheRoot, {"--verbose"});
        following.tool().signal(signal);
        const Result result = following.wait();
        EXPECT_EQ(result.status, 128 + signal);
        EXPECT_EQ(result.err, "");
    }
}

TEST(Follow, TheEndOfTheConnectionIsAFailure) {
    Following following({"(ou=people)", "1.1", "--json"});
    following.endServer();
    const Result result = following.wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err, "");
}

TEST(Follow, TimeOutIsNotForAQuietDirectory) {
    Following following({"(ou=people)", "1.1", "--timeout", "1", "--count", "2"});
    usleep(1500000); // longer than the time-out; nothing happens that could be awaited
    following.simulator().change("dn: ou=people,dc=example,dc=com\nchangetype: modify\n"
                                 "replace: description\ndescription: other\n");
    EXPECT_EQ(following.wait().status, 0);
}

TEST(Follow, MistakesAreNamed) {
    const std::pair<Arguments, const char *> cases[] = {
        {{"--count", "1"}, "belong to --follow"},        {{"--existing"}, "belong to --follow"},
        {{"--changes", "add"}, "belong to --follow"},    {{"--follow", "-A"}, "do not go together"},
        {{"--follow", "--changes", "add,move"}, "move"}, {{"--follow", "--count", "0"}, "--count"},
    };
    for (const auto &[options, message] : cases) {
        Arguments all = {"search", "-H", "ldap://127.0.0.1:1"};
        all.insert(all.end(), options.begin(), options.end());
        const Result result = runTool(all);
        EXPECT_EQ(result.status, 2) << message;
        EXPECT_THAT(result.err, HasSubstr(message));
    }
}

} // namespace
} // namespace test
