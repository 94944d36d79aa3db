#include "system/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;
using testing::Not;

/** Options of a bind that are wrong, and what the message and the way out have to name. */
struct Mistake {
    Arguments options;
    const char *message;
    const char *hint;
};

const std::vector<Mistake> mistakes = {
    {{"-Y", "PLAIN", "-U", "ada", "-w", "a"}, "-Y PLAIN", "DIGEST-MD5"},
    {{"-Y", "", "-U", "ada", "-w", "a"}, "-Y", "DIGEST-MD5"},
    {{"-Y", "DIGEST-MD5\x1b", "-U", "ada", "-w", "a"}, "DIGEST-MD5\\x1b", "the only ones"},
    {{"-Y", "DIGEST-MD5", "-w", "a"}, "-Y needs a user", "-U USER"},
    {{"-Y", "DIGEST-MD5", "-U", "", "-w", "a"}, "-U is empty", "-U USER"},
    {{"-Y", "DIGEST-MD5", "-U", "ada"},
     "-Y needs a password: add -W (asks for it), -y FILE or "
     "-w PASSWORD",
     "--help"},
    {{"-Y", "DIGEST-MD5", "-U", "ada", "-w", ""}, "the password is empty", "--help"},
    {{"-Y", "DIGEST-MD5", "-U", "ada", "-w", "a", "-W"}, "give the password once", "--help"},
    {{"-Y", "DIGEST-MD5", "-U", "ada", "-w", "a", "-D", "cn=a"}, "-D is for a simple bind", "-U"},
    {{"-Y", "DIGEST-MD5", "-U", "ada", "-w", "a", "-D", ""}, "-D is for a simple bind", "-U"},
    {{"-Y", "DIGEST-MD5", "-U", "ada", "-w", "a", "-x"}, "-x is for a simple bind", "-U"},
    {{"-Y", "DIGEST-MD5", "-D", "cn=a", "-w", "a"}, "-D is for a simple bind", "-U"},
    {{"-U", "ada", "-w", "a"}, "-U is for binds by SASL", "add -Y DIGEST-MD5"},
    {{"-R", "strata"}, "-R is for binds by SASL", "add -Y DIGEST-MD5"},
    {{"-U", "ada", "-R", "strata", "-D", "cn=a", "-w", "a"}, "SASL", "add -Y DIGEST-MD5"},
    {{"-Y", "DIGEST-MD5", "-U", "a\"b", "-w", "a"}, "-U \"a\"b\": a name with a quot", "another"},
    {{"-Y", "DIGEST-MD5", "-U", "a\\b", "-w", "a"}, "a backslash", "another name"},
    {{"-Y", "DIGEST-MD5", "-U", "a\nb", "-w", "a"}, "-U \"a\\x0ab\"", "another name"},
    {{"-Y", "DIGEST-MD5", "-U", "a\x7f", "-w", "a"}, "-U \"a\\x7f\"", "another name"},
    {{"-Y", "DIGEST-MD5", "-U", "\xfc\xc2\x85", "-w", "a"}, "-U \"\\xfc\\xc2\\x85\"", "another"},
    {{"-Y", "DIGEST-MD5", "-U", "ada", "-R", "a\"", "-w", "a"}, "-R \"a\"\"", "another name"},
    {{"-Y", "DIGEST-MD5", "-U", "ada", "-R", "\\", "-w", "a"}, "-R \"\\\"", "another name"},
    {{"-Y", "DIGEST-MD5", "-U", "ada", "-R", "\t", "-w", "a"}, "-R \"\\x09\"", "another name"},
    {{"-Y"}, "-Y", "--help"},
    {{"-I"}, "no option -I", "--help"},
    {{"-O", "none"}, "no option -O", "--help"},
    {{"-X", "u:ada"}, "no option -X", "--help"},
};

TEST(SaslUsage, MistakesAreNamedAndNothingIsSent) {
    // Nothing listens there: whoever connects gets another status.
    const Surroundings nowhere = {{{"LDAPURI", "ldap://127.0.0.1:1"}}, {}, {}};
    for (const Mistake &mistake : mistakes) {
        SCOPED_TRACE(mistake.message);
        Arguments arguments = {"whoami", "--json"};
        arguments.insert(arguments.end(), mistake.options.begin(), mistake.options.end());
        const Result result = runTool(arguments, nowhere);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.error()["operation"], "command line");
        EXPECT_THAT(result.error()["reason"].get<std::string>(), HasSubstr(mistake.message));
        EXPECT_THAT(result.error()["hint"].get<std::string>(), HasSubstr(mistake.hint));
    }
}

TEST(SaslUsage, EveryCommandTakesTheOptions) {
    const Surroundings nowhere = {{{"LDAPURI", "ldap://127.0.0.1:1"}}, {}, {}};
    for (const Arguments &command :
         {Arguments{"status"}, Arguments{"partition", "count", "dc=x"}, Arguments{"search"}}) {
        Arguments before = {"-Y", "DIGEST-MD5", "-U", "ada", "-R", "r", "-w", "a"};
        Arguments after = command;
        after.insert(after.end(), before.begin(), before.end());
        before.insert(before.end(), command.begin(), command.end());
        for (const Arguments &arguments : {before, after})
            EXPECT_THAT(runTool(arguments, nowhere).err, HasSubstr("bind ada: "));
    }
}

TEST(SaslUsage, PasswordInAMistakenCommandLineIsNotShown) {
    for (const char *flag : {"-x", "-Z"}) {
        const Result result =
            runTool({"whoami", "-Y", "PLAIN", "-U", "ada", flag + std::string("wZebra")});
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.out + result.err, Not(HasSubstr("Zebra")));
    }
}

} // namespace
} // namespace test
