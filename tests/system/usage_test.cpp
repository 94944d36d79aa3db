#include "system/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;

/** A command line that is wrong, and what its message has to name. Nothing is sent. */
struct Mistake {
    Arguments arguments;
    const char *message;
};

const std::vector<Mistake> mistakes = {
    {{}, "name a command"},
    {{"partition"}, "name a command of qldapx partition"},
    {{"partition", "spilt", "dc=x"}, "no command \"spilt\""},
    {{"replicas"}, "no command \"replicas\""},
    {{"partition", "split"}, "DN is required"},
    {{"partition", "split", "--"}, "DN is required"},
    {{"partition", "split", "dc=x", "dc=y"}, "\"dc=y\" is one argument too many"},
    {{"partition", "split", "dc=x", "--flag", "1"}, "no option --flag"},
    {{"partition", "split", "dc=x", "--flags", "one"}, "--flags = one"},
    {{"partition", "split", "dc=x", "--flags", "2147483648"}, "2147483648"},
    {{"partition", "split", "dc=x", "--flags"}, "--flags"},
    {{"replica", "add", "dc=x", "cn=s"}, "--type is required"},
    {{"replica", "info", "dc=x"}, "SERVER_DN is required"},
    {{"partition", "count"}, "DN is required"},
    {{"whoami", "me"}, "one argument too many"},
    {{"whoami", "--timeout", "0"}, "--timeout"},
    {{"whoami", "--timeout", "soon"}, "--timeout"},
    {{"whoami", "-H", "nonsense"}, "\"nonsense\" is no LDAP URI"},
    {{"whoami", "-H", "http://example.com"}, "is no LDAP URI"},
    {{"trigger", "janitor", "--dn", "dc=x"}, "no option --dn"},
    {{"trigger", "gardener"}, "no command \"gardener\""},
    {{"name", "from-kora", "a\xff"}, "byte 2 begins no character"},
    {{"name", "from-kora", "\xed\xa0\x80"}, "not UTF-8"},
    {{"name", "from-kora", "\xc0\x80"}, "not UTF-8"},
    {{"filter", "set", "cn=s"}, "give the filter in one way"},
    {{"filter", "set", "cn=s", "A$$$", "--clear"}, "give the filter in one way"},
    {{"filter", "set", "cn=s", "--class", "a=b", "--clear"}, "give the filter in one way"},
    {{"filter", "set", "cn=s", "A$x"}, "no \"$\" follows \"x\""},
    {{"filter", "set", "cn=s", "A"}, "no \"$\" follows \"A\""},
    {{"filter", "set", "cn=s", "A$x$y$$"}, "it ends where"},
    {{"filter", "set", "cn=s", "A$x$$$B$"}, "\"B$\" stands after the closing"},
    {{"filter", "set", "cn=s", "$$"}, "\"$\" stands after the closing"},
    {{"filter", "set", "cn=s", "--class", "=cn"}, "--class =cn"},
    {{"filter", "set", "cn=s", "--class", "a=b,,c"}, "--class a=b,,c"},
    {{"filter", "set", "cn=s", "--class", "a=b$c"}, "--class a=b$c"},
};

TEST(Usage, MistakesAreNamedAndNothingIsSent) {
    // Nothing listens there: whoever connects gets another status.
    const Surroundings nowhere = {{{"LDAPURI", "ldap://127.0.0.1:1"}}, {}, {}};
    for (const Mistake &mistake : mistakes) {
        const Result result = runTool(mistake.arguments, nowhere);
        EXPECT_EQ(result.status, 2) << mistake.message;
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr(mistake.message));
        EXPECT_THAT(result.err, HasSubstr("  try: "));
    }
}

TEST(Usage, MistakesAreJsonOnDemand) {
    for (const Mistake &mistake : mistakes) {
        Arguments arguments = {"--json"};
        arguments.insert(arguments.end(), mistake.arguments.begin(), mistake.arguments.end());
        const Result result = runTool(arguments, {{{"LDAPURI", "ldap://127.0.0.1:1"}}, {}, {}});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.error()["operation"], "command line");
        EXPECT_THAT(result.error()["reason"].get<std::string>(), HasSubstr(mistake.message));
        EXPECT_TRUE(result.error()["code"].is_null());
    }
}

TEST(Usage, WrongFilterTextIsAnsweredWithTheRightForm) {
    const Result result = runTool({"filter", "set", "cn=s", "A$x"});
    EXPECT_THAT(result.err, HasSubstr("'person$cn$sn$$device$cn$$$'"));
}

TEST(Usage, Version) {
    const Result result = runTool({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out.substr(0, 7), "qldapx ");
}

} // namespace
} // namespace test
