#include "system/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::MatchesRegex;

constexpr const char *ada = "cn=Ada Brandt,ou=people,dc=example,dc=com";

Arguments with(Arguments arguments, const Arguments &more) {
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

TEST(Status, PrintsTheNumbersThatCame) {
    const Simulator simulator;
    const Result text = simulator.run({"status"});
    EXPECT_EQ(text.status, 0);
    EXPECT_THAT(text.out, MatchesRegex("status0  0\nstatus1  1\nstatus2  1\nstatus3  [0-9]+\n"));
    const Json json = simulator.run({"status", "--json"}).json();
    EXPECT_EQ(json.size(), 4U);
    EXPECT_EQ(json["status0"], 0);
    EXPECT_EQ(json["status1"], 1);
}

TEST(Status, AsksForWhatTheFlagsSay) {
    const Simulator simulator;
    // The elements from the fourth on carry the second's value.
    const std::pair<const char *, std::vector<std::string>> cases[] = {
        {"1,0,0,1,1,1,1", {"status0"}},
        {"0,1,0,1,1,1,1", {"status1", "status3"}},
        {"0,1,0,-1,1,1,1", {"status1"}},
        {"0,0,1,1,1,1,1", {"status2"}},
    };
    for (const auto &[flags, names] : cases) {
        const Json json = simulator.run({"status", "--json", "--flags", flags}).json();
        std::vector<std::string> came;
        for (const auto &[name, value] : json.items())
            came.push_back(name);
        EXPECT_EQ(came, names) << flags;
    }
}

TEST(Status, FlagsAreSevenNumbers) {
    for (const char *flags : {"1", "1,1,1,1,1,1", "1,1,1,1,1,1,1,1", "1,1,x,1,1,1,1"})
        EXPECT_EQ(runTool({"status", "--flags", flags, "-H", "ldap://127.0.0.1:1"}).status, 2)
            << flags;
}

TEST(Rights, AreThoseOfTheSpeaker) {
    const Simulator simulator;
    const Json own = simulator.administer({"rights", ada, "--json"}).json();
    ASSERT_EQ(own.size(), 1U);
    EXPECT_EQ(own[0]["dn"], ada);
    EXPECT_EQ(own[0]["attributes"]["entryPrivileges"], Json::array({"31"}));
    EXPECT_THAT(own[0]["attributes"]["attributePrivileges"],
                IsSupersetOf({"cn: 31", "userPassword: 30"}));
    EXPECT_EQ(simulator.run({"rights", ada, "--mode", "0"}).out,
              std::string("dn: ") + ada + "\nentryPrivileges: 3\n\n");
}

TEST(Rights, OfNamedAttributesAndClasses) {
    const Simulator simulator;
    const Json named = simulator.administer({"rights", ada, "cn", "mail", "--json"}).json();
    EXPECT_EQ(named[0]["attributes"]["attributePrivileges"], Json::array({"cn: 31", "mail: 31"}));
    const Json ofClass =
        simulator.administer({"rights", ada, "--class", "person", "--json"}).json();
    EXPECT_THAT(ofClass[0]["attributes"]["attributePrivileges"],
                IsSupersetOf({"sn: 31", "telephoneNumber: 31"}));
}

TEST(Rights, FailuresAndMistakes) {
    const Simulator simulator;
    const Result none = simulator.run({"rights", "ou=none", "--json"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.error()["operation"], "rights");
    EXPECT_EQ(none.error()["code"], 32);
    EXPECT_EQ(simulator.run({"rights", ada, "cn", "--mode", "1"}).status, 2);
    EXPECT_EQ(simulator.run({"rights", ada, "--mode", "2"}).status, 2);
}

Result reference(const Simulator &simulator, const Arguments &more) {
    const Arguments all = with({"reference", "-H", simulator.uri()}, more);
    return runTool(all, {leakRules(all), {}, {}});
}

TEST(Reference, NamesTheEntry) {
    const Simulator simulator;
    const std::string expected = simulator.uri() + "/cn=Ada%20Brandt,ou=people,dc=example,dc=com";
    EXPECT_EQ(reference(simulator, {ada}).out, expected + "\n");
    const Json json = {{"dn", ada}, {"reference", expected}};
    EXPECT_EQ(reference(simulator, {ada, "--json"}).json(), json);
    EXPECT_EQ(reference(simulator, {"ou=none", "--json"}).error()["code"], 32);
}

} // namespace
} // namespace test
