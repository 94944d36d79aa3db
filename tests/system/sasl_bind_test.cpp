#include "system/sasl.h"
#include "system/terminal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class SaslBind : public testing::Test {
  protected:
    [[nodiscard]] Result whoami(const std::string &user, const std::string &password,
                                Arguments more = {}) const {
        more.emplace_back("whoami");
        return simulator.run(digestBind(user, password, more));
    }
    /** Gives Ada a password of these bytes, in base64. */
    void setPassword(const std::string &base64) const {
        simulator.change(std::string("dn: ") + adaDn +
                         "\nchangetype: modify\nreplace: userPassword\nuserPassword:: " + base64);
    }

    Simulator simulator;
};

TEST_F(SaslBind, TheUserIsBound) {
    const struct {
        const char *user, *password, *dn;
    } users[] = {{adaName, adaPassword, adaDn},
                 {adaDn, adaPassword, adaDn},
                 {"admin", adminPassword, adminDn},
                 {adminDn, adminPassword, adminDn}};
    for (const auto &each : users) {
        const Result result = whoami(each.user, each.password);
        EXPECT_EQ(result.status, 0) << each.user;
        EXPECT_EQ(result.out, std::string(each.dn) + "\n");
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(SaslBind, TheMechanismIsReadInAnyLetters) {
    for (const char *mechanism : {"digest-md5", "Digest-MD5"})
        EXPECT_EQ(
            simulator.run({"whoami", "-Y", mechanism, "-U", "admin", "-w", adminPassword}).out,
            std::string(adminDn) + "\n");
}

TEST_F(SaslBind, WhoCannotProveThePasswordIsRefused) {
    const struct {
        const char *user, *password;
    } users[] = {{adaName, "wrong"}, {"nobody", adaPassword}, {adminDn, "Secret"}};
    for (const auto &each : users) {
        const Result result = whoami(each.user, each.password, {"--json"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        const Json error = result.error();
        EXPECT_EQ(error["code"], 49) << each.user;
        EXPECT_EQ(error["operation"], "bind");
        EXPECT_EQ(error["object"], each.user);
        EXPECT_EQ(error["reason"], "");
        EXPECT_THAT(
            error["hint"].get<std::string>(),
            AllOf(HasSubstr("-U"), HasSubstr("-R"), HasSubstr("clear text"), Not(HasSubstr("-D"))));
    }
}

TEST_F(SaslBind, TheErrorIsTextToo) {
    const Result result = whoami(adaName, "wrong");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("bind ada.brandt: Invalid credentials (49)"));
    EXPECT_THAT(result.err, HasSubstr("  try: "));
}

TEST_F(SaslBind, PasswordFileIsTheWholePassword) {
    const TemporaryFolder folder;
    const Arguments user = {"whoami", "-Y", "DIGEST-MD5", "-U", adaName, "-y"};
    Arguments exact = user, line = user;
    exact.push_back(folder.write("exact", adaPassword));
    line.push_back(folder.write("line", std::string(adaPassword) + "\n"));
    EXPECT_EQ(simulator.run(exact).out, std::string(adaDn) + "\n");
    const Result refused = simulator.run(line);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, AllOf(HasSubstr("(49)"), HasSubstr("printf %s")));
}

TEST_F(SaslBind, PasswordIsAskedFor) {
    Terminal terminal({"whoami", "-H", simulator.uri(), "-Y", "DIGEST-MD5", "-U", adaName, "-W"},
                      {});
    ASSERT_TRUE(terminal.waitFor("SASL password: "));
    EXPECT_FALSE(terminal.echoes());
    terminal.type(std::string(adaPassword) + "\n");
    const Result result = terminal.finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, AllOf(HasSubstr(adaDn), Not(HasSubstr(adaPassword))));
}

TEST_F(SaslBind, PasswordsBeyondAscii) {
    const struct {
        const char *typed, *stored;
    } passwords[] = {{"gr\xc3\xbc\xc3\x9f", "Z3LDvMOf"}, // in ISO 8859-1
                     {"\xce\xb1\xce\xb2", "zrHOsg=="},   // Greek, not there
                     {"\xc3\xbc\xce\xb1", "w7zOsQ=="},   // one there, one not
                     {"gr\xfc\xdf", "Z3L83w=="}};        // no UTF-8
    for (const auto &each : passwords) {
        setPassword(each.stored);
        EXPECT_EQ(whoami(adaName, each.typed).out, std::string(adaDn) + "\n") << each.stored;
        EXPECT_EQ(whoami(adaName, "grun").status, 1);
    }
}

TEST_F(SaslBind, ActsAsAnotherAfterwards) {
    EXPECT_EQ(whoami("admin", adminPassword, {"--as", adaDn}).out, std::string(adaDn) + "\n");
    EXPECT_EQ(whoami(adaName, adaPassword, {"--as", adminDn, "--json"}).error()["code"], 123);
}

TEST_F(SaslBind, RightsAreTheUsers) {
    const Arguments merge = {"partition", "merge", "ou=emea,dc=example,dc=com", "--json"};
    EXPECT_EQ(simulator.run(digestBind(adaName, adaPassword, merge)).error()["code"], 50);
    EXPECT_EQ(simulator.run(digestBind("admin", adminPassword, merge)).status, 0);
}

TEST_F(SaslBind, TheNameIsShownAsItCanBe) {
    const Result result = whoami("\xe2\x80\xae"
                                 "ada",
                                 "wrong");
    EXPECT_THAT(result.err, HasSubstr("bind \\xe2\\x80\\xaeada"));
}

} // namespace
} // namespace test
