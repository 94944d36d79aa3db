#include "system/sasl.h"
#include "system/terminal.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

Result whoami(const Simulator &simulator, const Arguments &more) {
    Arguments all = digestBind("admin", adminPassword, {"whoami"});
    all.insert(all.end(), more.begin(), more.end());
    return runTool(all, losingBind(simulator.uri()));
}

/** The same in a session of its own, which has no terminal. */
Result whoamiWithoutTerminal(const Simulator &simulator, const std::string &more = "") {
    return runShell(std::string("setsid -w ") + QLDAPX_PATH +
                        " whoami -Y DIGEST-MD5 -U admin -w secret " + more,
                    losingBind(simulator.uri()));
}

void expectBound(const Result &result) {
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, std::string(adminDn) + "\n");
}

TEST(SaslRealm, TheOnlyOneIsTaken) {
    const Simulator simulator(realmOptions({"example.com"}));
    expectBound(whoamiWithoutTerminal(simulator));
    expectBound(whoami(simulator, {"-R", "example.com"}));
}

TEST(SaslRealm, OneThatIsNotOfferedIsRefused) {
    const Simulator simulator(realmOptions({"example.com", "example.org"}));
    for (const char *realm : {"example.net", "", "example.co", "EXAMPLE.com"}) {
        const Result result = whoami(simulator, {"-R", realm, "--json"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        const Json error = result.error();
        EXPECT_EQ(error["operation"], "bind");
        EXPECT_EQ(error["object"], "admin");
        EXPECT_TRUE(error["code"].is_null());
        EXPECT_EQ(error["reason"], std::string("there is no realm \"") + realm +
                                       "\"; the server offers \"example.com\", \"example.org\"");
        EXPECT_EQ(error["hint"], "name the realm with -R");
    }
}

TEST(SaslRealm, OneOfSeveralIsNamed) {
    const Simulator simulator(realmOptions({"one", "two", "three"}));
    for (const char *realm : {"one", "two", "three"})
        expectBound(whoami(simulator, {"-R", realm}));
}

TEST(SaslRealm, SeveralNeedATerminalOrTheOption) {
    const Simulator simulator(realmOptions({"one", "two"}));
    const Result result = whoamiWithoutTerminal(simulator);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, AllOf(HasSubstr("qldapx: bind admin\n"),
                                  HasSubstr("the server offers \"one\", \"two\","),
                                  HasSubstr("try:          name the realm with -R")));
    const Result json = whoamiWithoutTerminal(simulator, "--json");
    EXPECT_EQ(json.error()["reason"],
              "the server offers \"one\", \"two\", and there is no terminal free to ask on");
}

TEST(SaslRealm, NoneIsAFailure) {
    const Simulator simulator({"--fault", "digest-md5-challenge=no-realm"});
    for (const Arguments &more : {Arguments{}, Arguments{"-R", "strata"}}) {
        const Result result = whoami(simulator, more);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, AllOf(HasSubstr("the server offers no realm"), HasSubstr("-D")));
    }
}

TEST(SaslRealm, ManyAreNotAllSaid) {
    const Simulator simulator({"--fault", "digest-md5-challenge=realms:60"});
    const Result result = whoamiWithoutTerminal(simulator, "--json");
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error()["reason"].get<std::string>(),
                HasSubstr("\"realm50\", and 10 more, and"));
    expectBound(whoami(simulator, {"-R", "realm60"}));
}

/** A challenge with these realms. */
Arguments challenge(const std::string &realms) {
    return {"--fault", "digest-md5-challenge=text:" + realms +
                           R"(nonce="abc",qop="auth",charset=utf-8,algorithm=md5-sess)"};
}

TEST(SaslRealm, TheSameOneTwiceIsOne) {
    const Simulator simulator(challenge(R"(realm="a",realm="a",)"));
    expectBound(whoamiWithoutTerminal(simulator));
    expectBound(whoami(simulator, {"-R", "a"}));
}

TEST(SaslRealm, NamesDoNotSteerTheTerminal) {
    const Simulator simulator(challenge("realm=\"a\x1b[31m\",realm=\"\xe2\x80\xae"
                                        "b\","));
    const Result result = whoamiWithoutTerminal(simulator);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err,
                AllOf(HasSubstr("\"a\\x1b[31m\", \"\\xe2\\x80\\xaeb\""), Not(HasSubstr("\x1b"))));
}

class RealmQuestion : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(terminal.waitFor(question)); }
    void type(const std::string &keys) const { terminal.type(keys); }
    /** Answers wrongly; the question comes again. */
    void typeWrongly(const std::string &keys) {
        type(keys);
        const std::size_t before = asked_++;
        ASSERT_TRUE(terminal.waitUntil(
            [&](const std::string &screen) { return countOf(screen, question) > before; }));
    }
    static std::size_t countOf(const std::string &text, const std::string &part) {
        std::size_t count = 0;
        for (std::size_t at = text.find(part); at != std::string::npos;
             at = text.find(part, at + 1))
            ++count;
        return count;
    }
    void expectBound() {
        const Result result = terminal.finish();
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.out, HasSubstr(adminDn));
    }
    void expectRefused() {
        const Result result = terminal.finish();
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.out,
                    AllOf(HasSubstr("no realm was chosen"), HasSubstr("-R"), HasSubstr("\"two\"")));
        EXPECT_EQ(countOf(result.out, question), asked_);
    }

    static constexpr const char *question = "Realm (number or name): ";
    const Simulator simulator{realmOptions({"one", "two", "1"})};
    Terminal terminal{digestBind("admin", adminPassword, {"whoami"}), losingBind(simulator.uri())};
    std::size_t asked_ = 1;
};

TEST_F(RealmQuestion, ListsThemAsTheServerDoes) {
    type("2\n");
    const Result result = terminal.finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("  1  \"one\"\r\n  2  \"two\"\r\n  3  \"1\"\r\n"));
    EXPECT_EQ(countOf(result.out, question), 1U);
}

TEST_F(RealmQuestion, TakesAName) {
    type("two\n");
    expectBound();
}

TEST_F(RealmQuestion, AsksThreeTimesMore) {
    for (const char *wrong : {"\n", "4\n", "0\n"})
        typeWrongly(wrong);
    type("3\n");
    expectBound();
}

TEST_F(RealmQuestion, GivesUpThen) {
    for (const char *wrong : {"three\n", "-1\n", "2x\n"})
        typeWrongly(wrong);
    type("99999999999999999999\n");
    expectRefused();
}

TEST_F(RealmQuestion, NoAnswerIsARefusal) {
    type("\x04");
    expectRefused();
}

TEST_F(RealmQuestion, CtrlCEndsIt) {
    type("tw\x03");
    const Result result = terminal.finish();
    EXPECT_EQ(result.status, 128 + SIGINT);
    EXPECT_THAT(result.out, Not(HasSubstr("qldapx:")));
    EXPECT_TRUE(terminal.echoes());
}

} // namespace
} // namespace test
