#include "system/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;

TEST(EventOptions, MistakesAreNamedBeforeAnythingIsSent) {
    const std::pair<Arguments, const char *> cases[] = {
        {{}, "--type is required"},
        {{"--type", ""}, "\"\" is no event"},
        {{"--type", "1,x"}, "\"x\" is no event"},
        {{"--type", "1:"}, "\"1:\" is no event"},
        {{"--type", ":1"}, "\":1\" is no event"},
        {{"--type", "1:2:3"}, "\"1:2:3\" is no event"},
        {{"--type", "2147483648"}, "\"2147483648\" is no event"},
        {{"--type", "0x"}, "\"0x\" is no event"},
        {{"--type", "1", "--filter", "(cn=a"}, "\"(cn=a\" is no filter"},
        {{"--type", "1", "--filter", ""}, "\"\" is no filter"},
        {{"--type", "1", "--count", "0"}, "--count"},
        {{"--type", "1", "--for", "0"}, "--for"},
        {{"--type", "1", "--for", "-1"}, "--for"},
        {{"--type", "1", "--for", "x"}, "--for x: no time"},
        {{"--type", "1", "--for", "1s"}, "--for 1s: no time"},
        {{"--type", "1", "--for", ""}, "--for : no time"},
        {{"--type", "1", "--for", "nan"}, "--for nan: no time"},
        {{"--type", "1", "--for", "inf"}, "--for inf: no time"},
        {{"--type", "1", "--for", "1e9"}, "--for 1e9: no time"},
        {{"--type", "1", "7"}, "\"7\" is one argument too many"},
    };
    for (const auto &[options, message] : cases) {
        Arguments all = {"events", "watch", "-H", "ldap://127.0.0.1:1"};
        all.insert(all.end(), options.begin(), options.end());
        const Result result = runTool(all);
        EXPECT_EQ(result.status, 2) << message;
        EXPECT_THAT(result.err, HasSubstr(message));
        EXPECT_EQ(result.out, "");
    }
}

TEST(EventOptions, TopNeedsATerminal) {
    const std::pair<Arguments, const char *> cases[] = {{{}, "qldapx events watch"},
                                                        {{"--json"}, "qldapx events watch --json"}};
    for (const auto &[more, hint] : cases) {
        Arguments all = {"events", "top", "-H", "ldap://127.0.0.1:1", "--type", "1"};
        all.insert(all.end(), more.begin(), more.end());
        const Result result = runTool(all);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.err, HasSubstr(hint));
        EXPECT_EQ(result.out, "");
    }
}

TEST(EventOptions, ReconnectingNeedsAPasswordAtOnce) {
    const Arguments watch = {"events", "watch", "-H",         "ldap://127.0.0.1:1",
                             "--type", "1",     "--reconnect"};
    for (const Arguments &more : {Arguments{"-D", adminDn}, Arguments{"-D", adminDn, "-w", ""},
                                  Arguments{"-y", "/nonexistent"}}) {
        Arguments all = watch;
        all.insert(all.end(), more.begin(), more.end());
        EXPECT_EQ(runTool(all).status, 2);
    }
}

} // namespace
} // namespace test
