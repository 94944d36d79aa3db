#include "system/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;

constexpr const char *ada = "cn=Ada Brandt,ou=people,dc=example,dc=com";
constexpr const char *emea = "ou=emea,dc=example,dc=com";

/** A command, and how it ends for somebody without rights: its result code, or done. */
struct Case {
    const char *name;
    Arguments arguments;
    int codeForAda;
};

constexpr int done = 0, noAccess = 50;

const std::vector<Case> cases = {
    {"whoami", {"whoami"}, done},
    {"search", {"search", "-b", "dc=example,dc=com", "-s", "base"}, done},
    {"status", {"status"}, done},
    {"rights", {"rights", emea}, done},
    {"reference", {"reference", emea}, done},
    {"merge", {"partition", "merge", emea}, noAccess},
    {"filter", {"filter", "set", "cn=strata1,ou=servers,dc=example,dc=com", "A$$$"}, noAccess},
    {"trigger", {"trigger", "janitor"}, noAccess},
    {"backup", {"backup", ada, "-o", "ada.backup"}, noAccess},
};

class ProxyTest : public testing::TestWithParam<Case> {
  protected:
    Result runAs(const Arguments &identity, const char *actAs) const {
        Arguments all = {"-H", simulator_.uri(), "--json", "--as", actAs};
        all.insert(all.end(), identity.begin(), identity.end());
        all.insert(all.end(), GetParam().arguments.begin(), GetParam().arguments.end());
        return runTool(all, {leakRules(all), {}, folder_.path("")});
    }
    [[nodiscard]] static Arguments administrator() { return {"-D", adminDn, "-w", adminPassword}; }

  private:
    TemporaryFolder folder_;
    Simulator simulator_;
};
INSTANTIATE_TEST_SUITE_P(Commands, ProxyTest, testing::ValuesIn(cases),
                         [](const auto &each) { return std::string(each.param.name); });

TEST_P(ProxyTest, TheOthersRightsCount) {
    for (const std::string form : {"", "dn:"}) {
        const Result result = runAs(administrator(), (form + ada).c_str());
        EXPECT_EQ(result.status, GetParam().codeForAda == done ? 0 : 1) << result.err;
        if (GetParam().codeForAda != done) {
            EXPECT_EQ(result.error()["code"], GetParam().codeForAda);
        }
    }
}

TEST_P(ProxyTest, WhoMayNotIsRefused) {
    const Result result = runAs({}, ada);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], 123);
    EXPECT_THAT(result.error()["hint"].get<std::string>(), HasSubstr("--as dn:DN"));
}

TEST_P(ProxyTest, AnIdentityThatIsNoneIsRefused) {
    for (const char *identity : {"u:ada", "cn=nobody,dc=example,dc=com"})
        EXPECT_EQ(runAs(administrator(), identity).error()["code"], 123) << identity;
}

TEST(Proxy, WhoamiNamesTheOther) {
    const Simulator simulator;
    EXPECT_EQ(simulator.administer({"whoami", "--as", ada}).out, std::string(ada) + "\n");
    EXPECT_EQ(simulator.administer({"whoami", "--as", ""}).out, "anonymous\n");
}

TEST(Proxy, ThePrivilegesAreTheOthers) {
    const Simulator simulator;
    EXPECT_EQ(simulator.administer({"privileges", emea, "--as", ada}).out, "*  3  0x00000003\n");
}

} // namespace
} // namespace test
