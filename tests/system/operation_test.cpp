#include "system/operations.h"
#include "system/simulator.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

namespace test {
namespace {

using testing::HasSubstr;

constexpr const char *emea = "ou=emea,dc=example,dc=com";
constexpr const char *strata2 = "cn=strata2,ou=servers,dc=example,dc=com";

class OperationTest : public testing::TestWithParam<Operation> {
  protected:
    /** The command against a server on which nothing but its conditions was done before. */
    static Result run(const Arguments &more) {
        const Simulator simulator;
        for (const Arguments &before : GetParam().before)
            EXPECT_EQ(simulator.administer(before).status, 0);
        Arguments all = GetParam().arguments;
        all.insert(all.end(), more.begin(), more.end());
        return simulator.administer(all);
    }
};
INSTANTIATE_TEST_SUITE_P(All, OperationTest, testing::ValuesIn(operations()), operationCase);

TEST_P(OperationTest, PrintsText) {
    const Result result = run({});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const std::regex stamp("(number4  )[0-9]{9,}");
    EXPECT_EQ(std::regex_replace(result.out, stamp, "$1TIME"), GetParam().text);
}

TEST_P(OperationTest, PrintsJson) {
    const Result result = run({"--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    Json json = result.json();
    if (json.is_object())
        json.erase("number4");
    EXPECT_EQ(json, GetParam().json);
}

TEST(Operations, AreAllThatTheSimulatorHas) {
    const Result list = Process(STRATA_SIM_PATH, {"--list-operations"}).wait();
    std::size_t served = 0;
    std::istringstream lines(list.out);
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(0, line.find(' '));
        // RFC 4532, ldapwhoami's; and backup and restore, events and bulk updates, which have tests
        // of their own
        const bool isElsewhere = name == "who-am-i" || name.ends_with("-object") ||
                                 name.starts_with("monitor-events") || name.starts_with("lburp-");
        served += isElsewhere ? 0 : 1;
        const bool known =
            std::any_of(operations().begin(), operations().end(),
                        [&](const Operation &operation) { return operation.name == name; });
        EXPECT_TRUE(known || isElsewhere) << name;
    }
    EXPECT_EQ(served, operations().size());
}

TEST(Replica, ArgumentsReachTheServerInTheirPlaces) {
    const Simulator simulator;
    ASSERT_EQ(simulator.administer({"replica", "remove", emea, strata2}).status, 0);
    ASSERT_EQ(simulator.administer({"replica", "add", emea, strata2, "--type", "3", "--flags", "9"})
                  .status,
              0);
    const Json info = simulator.administer({"replica", "info", emea, strata2, "--json"}).json();
    EXPECT_EQ(info["number2"], 3);
    EXPECT_EQ(info["number6"], 9);
    EXPECT_EQ(info["dn"], strata2);
}

TEST(Replica, SendsUpdatesToOneServer) {
    const Simulator simulator;
    const Result result =
        simulator.administer({"replica", "send-updates", emea, strata2, "--json"});
    EXPECT_EQ(result.json()["server"], strata2);
    EXPECT_EQ(simulator.administer({"replica", "send-updates", emea, "cn=nowhere"}).status, 1);
}

TEST(Trigger, LimberTakesADn) {
    const Simulator simulator;
    const Result result = simulator.administer({"trigger", "limber", "--dn", emea, "--json"});
    EXPECT_EQ(result.json()["dn"], emea);
}

TEST(Whoami, SaysAnonymous) {
    const Simulator simulator;
    EXPECT_EQ(simulator.run({"whoami"}).out, "anonymous\n");
    EXPECT_EQ(simulator.run({"whoami", "--json"}).json(), Json({{"dn", ""}}));
}

TEST(Count, GoesOnAfterAFailure) {
    const Simulator simulator;
    const Result result =
        simulator.run({"partition", "count", emea, "ou=none", "dc=example,dc=com"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("      81  ou=emea"));
    EXPECT_THAT(result.out, HasSubstr("     133  dc=example,dc=com"));
    EXPECT_THAT(result.err, HasSubstr("ou=none: No such object (32)"));
    const Result json = simulator.run({"partition", "count", "ou=none", emea, "--json"});
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(json.json().size(), 1U);
    EXPECT_EQ(json.error()["object"], "ou=none");
}

TEST(Count, StopsWhenTheConnectionEnds) {
    const Simulator simulator({"--fault", "partition-entry-count=drop"});
    const Result result = simulator.run({"partition", "count", emea, emea, "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], -1);
    EXPECT_EQ(result.json(), Json::array());
}

TEST(Count, TakesANameThatIsACommandsToo) {
    const Simulator simulator;
    for (const char *name : {"split", "count", "whoami"})
        EXPECT_EQ(simulator.run({"partition", "count", emea, name, "--json"}).error()["object"],
                  name);
}

TEST(Privileges, AskForAllAttributesWithoutOne) {
    const Simulator simulator;
    EXPECT_EQ(simulator.administer({"privileges", emea}).out, "*  31  0x0000001f\n");
    EXPECT_EQ(simulator.run({"privileges", emea}).out, "*  3  0x00000003\n");
}

TEST(Privileges, ACountThatIsNotThatOfTheAttributesIsRefused) {
    const char *answers[] = {"30063004"
                             "02020001"
                             "3100", // two more than there are
                             "30073003"
                             "020100"
                             "3100"}; // none at all
    for (const char *answer : answers) {
        const Simulator simulator(
            {"--fault", std::string("get-effective-privileges-list=value:") + answer});
        const Result result = simulator.administer({"privileges", emea, "cn", "sn", "--json"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.error()["reason"], "");
    }
}

TEST(Filter, TextGoesThereAndBack) {
    const Simulator simulator;
    for (const char *text : {"A$x$y$$B$z$$$", "A$$$", "$"}) {
        EXPECT_EQ(simulator.administer({"filter", "set", strata2, text}).status, 0);
        EXPECT_EQ(simulator.administer({"filter", "get", strata2, "--raw"}).out,
                  std::string(text) + "\n");
    }
    EXPECT_EQ(simulator.administer({"filter", "get", strata2, "--raw", "--json"}).json(),
              Json({{"filter", "$"}}));
}

TEST(Filter, ClearLeavesNone) {
    const Simulator simulator;
    ASSERT_EQ(simulator.administer({"filter", "set", strata2, "A$x$$$"}).status, 0);
    EXPECT_EQ(simulator.administer({"filter", "set", strata2, "--clear"}).out,
              "filter of cn=strata2,ou=servers,dc=example,dc=com cleared\n");
    EXPECT_EQ(simulator.administer({"filter", "get", strata2, "--json"}).json(), Json::array());
    EXPECT_EQ(simulator.administer({"filter", "get", strata2}).out, "");
}

TEST(Name, KoraNamesMayHoldAnyCharacter) {
    // The server finds no such entry, but answers with the name as it understood it.
    const Simulator simulator;
    const Result result =
        simulator.administer({"name", "from-kora", "Zoë\xf0\x9f\x98\x80", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error()["diagnostic"].get<std::string>(), HasSubstr("Zoë\xf0\x9f\x98\x80"));
}

} // namespace
} // namespace test
