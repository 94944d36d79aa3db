#include "system/process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

/** What bash offers for the last of these words. */
std::vector<std::string> complete(const std::string &words) {
    const std::string script = std::string("source <(") + QLDAPX_PATH +
                               " completion bash) || exit 3\n"
                               "complete -p qldapx >/dev/null || exit 4\n"
                               "COMP_WORDS=(" +
                               words +
                               ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_qldapx\n"
                               "printf '%s\\n' \"${COMPREPLY[@]}\"";
    const Result result = runShell(script);
    EXPECT_EQ(result.status, 0) << words;
    EXPECT_EQ(result.err, "") << words;
    std::vector<std::string> offers;
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty())
            offers.push_back(line);
    return offers;
}

TEST(Completion, OffersCommands) {
    EXPECT_THAT(complete("qldapx pa"), ElementsAre("partition"));
    EXPECT_THAT(complete("qldapx ''"), Contains("trigger"));
    EXPECT_THAT(complete("qldapx cert s"), ElementsAre("show"));
    EXPECT_THAT(complete("qldapx trigger j"), ElementsAre("janitor"));
    EXPECT_THAT(complete("qldapx partition split-"), ElementsAre("split-orphan"));
    EXPECT_THAT(complete("qldapx completion ''"), Not(Contains("man")));
}

TEST(Completion, OffersOptions) {
    EXPECT_THAT(complete("qldapx replica add --t"),
                ElementsAre("--type", "--tls-verify", "--timeout"));
    EXPECT_THAT(complete("qldapx replica list --t"), ElementsAre("--tls-verify", "--timeout"));
    EXPECT_THAT(complete("qldapx --j"), ElementsAre("--json"));
    EXPECT_THAT(complete("qldapx whoami -U"), ElementsAre("-U"));
    EXPECT_THAT(complete("qldapx whoami --ce"), ElementsAre("--cert"));
    EXPECT_THAT(complete("qldapx cert show --p"), ElementsAre("--pem", "--p12"));
}

TEST(Completion, KnowsOptionsBeforeTheCommand) {
    EXPECT_THAT(complete("qldapx -D cn = name -x replica re"),
                ElementsAre("remove", "retype", "receive-updates"));
    EXPECT_THAT(complete("qldapx -H ldap : //host : 389 -w partition filter g"),
                ElementsAre("get"));
    EXPECT_THAT(complete("qldapx -Y DIGEST-MD5 -U partition -R replica filter g"),
                ElementsAre("get"));
}

TEST(Completion, OffersNothingForAValue) {
    EXPECT_THAT(complete("qldapx -D ''"), IsEmpty());
    for (const char *option : {"-Y", "-U", "-R"})
        EXPECT_THAT(complete(std::string("qldapx ") + option + " ''"), IsEmpty());
    EXPECT_THAT(complete("qldapx -D cn = ''"), IsEmpty());
    EXPECT_THAT(complete("qldapx replica add --type ''"), IsEmpty());
    EXPECT_THAT(complete("qldapx --tls-verify ''"), IsEmpty());
}

TEST(Completion, OffersFilesWhereAFileIsNamed) {
    for (const char *option :
         {"whoami -y", "whoami --cacert", "whoami --p12", "--key-password-file", "backup cn=a -o",
          "restore --check", "restore cn=a --password-file"})
        EXPECT_THAT(complete(std::string("qldapx ") + option + " /etc/pass"),
                    Contains("/etc/passwd"));
}

} // namespace
} // namespace test
