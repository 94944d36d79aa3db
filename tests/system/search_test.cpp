#include "system/simulator.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char *ada = "cn=Ada Brandt,ou=people,dc=example,dc=com";

/** A tree of its own: the naming context and these records below it. */
std::string tree(const std::string &records) {
    return "dn: dc=example,dc=com\nobjectClass: top\nobjectClass: dcObject\ndc: example\n\n" +
           records;
}

Arguments searchBase(const std::string &dn, const Arguments &more) {
    Arguments all = {"search", "-b", dn, "-s", "base"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

TEST(Search, PrintsLdif) {
    const Simulator simulator;
    const Result result =
        simulator.run({"search", "-b", "dc=example,dc=com", "(cn=Ada Brandt)", "mail", "sn"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out,
                testing::AnyOf(
                    std::string("dn: ") + ada + "\nsn: Brandt\nmail: ada.brandt@example.com\n\n",
                    std::string("dn: ") + ada + "\nmail: ada.brandt@example.com\nsn: Brandt\n\n"));
}

TEST(Search, PrintsJson) {
    const Simulator simulator;
    const Result result = simulator.run(searchBase(ada, {"mail", "sn", "--json"}));
    EXPECT_EQ(result.status, 0);
    const Json expected = {
        {{"dn", ada}, {"attributes", {{"mail", {"ada.brandt@example.com"}}, {"sn", {"Brandt"}}}}}};
    EXPECT_EQ(result.json(), expected);
}

TEST(Search, EachScopeFindsItsOwn) {
    const Simulator simulator;
    const std::pair<const char *, std::size_t> cases[] = {{"base", 1}, {"one", 120}, {"sub", 121}};
    for (const auto &[scope, entries] : cases)
        EXPECT_EQ(
            simulator
                .run({"search", "-b", "ou=people,dc=example,dc=com", "-s", scope, "1.1", "--json"})
                .json()
                .size(),
            entries);
}

TEST(Search, NothingFoundIsNoFailure) {
    const Simulator simulator;
    EXPECT_EQ(simulator.run({"search", "-b", "dc=example,dc=com", "cn=none"}).out, "");
    const Result json = simulator.run({"search", "-b", "dc=example,dc=com", "cn=none", "--json"});
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.json(), Json::array());
}

TEST(Search, WhatCameBeforeAFailureIsPrinted) {
    const Simulator simulator;
    const Arguments limited = {"search", "-b", "dc=example,dc=com", "-s", "sub", "-z2",
                               "--json", "1.1"};
    const Result result = simulator.run(limited);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.json().size(), 2U);
    EXPECT_EQ(result.error()["code"], 4);
    const Result none = simulator.run({"search", "-b", "ou=none"});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, HasSubstr("search ou=none: No such object (32)"));
}

TEST(Search, TypesOnly) {
    const Simulator simulator;
    EXPECT_EQ(simulator.run(searchBase(ada, {"-A", "mail"})).out,
              std::string("dn: ") + ada + "\nmail:\n\n");
    EXPECT_EQ(
        simulator.run(searchBase(ada, {"-A", "mail", "--json"})).json()[0]["attributes"]["mail"],
        Json::array());
}

TEST(Search, ValuesThatAreNoTextAreEncoded) {
    const TemporaryFolder folder;
    const std::string file = folder.write("tree.ldif", tree("dn: cn=odd,dc=example,dc=com\n"
                                                            "objectClass: person\ncn: odd\nsn: x\n"
                                                            "description: :colon\n"
                                                            "description:: G1szMW0=\n"
                                                            "jpegPhoto:: /9j/AA==\n"));
    const Simulator simulator({"--ldif", file});
    const Arguments search = searchBase("cn=odd,dc=example,dc=com", {"description", "jpegPhoto"});
    const Result text = simulator.run(search);
    // ":colon", an escape sequence, and bytes that are not UTF-8
    EXPECT_THAT(text.out, HasSubstr("\ndescription:: OmNvbG9u\n"));
    EXPECT_THAT(text.out, HasSubstr("\ndescription:: G1szMW0=\n"));
    EXPECT_THAT(text.out, HasSubstr("\njpegPhoto:: /9j/AA==\n"));
    Arguments asJson = search;
    asJson.emplace_back("--json");
    const Json attributes = simulator.run(asJson).json()[0]["attributes"];
    EXPECT_THAT(attributes["description"], ElementsAre(":colon", "\x1b[31m"));
    EXPECT_EQ(attributes["jpegPhoto"], Json::array({{{"base64", "/9j/AA=="}}}));
}

TEST(Search, LongLinesAreFolded) {
    const TemporaryFolder folder;
    const std::string value(500, 'v');
    const std::string file =
        folder.write("tree.ldif", tree("dn: cn=long,dc=example,dc=com\nobjectClass: person\n"
                                       "cn: long\nsn: x\ndescription: " +
                                       value + "\n"));
    const Simulator simulator({"--ldif", file});
    std::istringstream lines(simulator.run(searchBase("cn=long,dc=example,dc=com", {})).out);
    std::string unfolded;
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 78U);
        unfolded += line.starts_with(' ') ? line.substr(1) : "\n" + line;
    }
    EXPECT_THAT(unfolded, HasSubstr("description: " + value));
}

constexpr int manyEntries = 8000;
constexpr std::size_t entrySize = 4000;

// Row by row: what this process takes at its forks would count as its children's.
void writeManyEntries(const std::string &path) {
    const std::string text(entrySize, 'y');
    std::ofstream file(path);
    file << tree("");
    for (int i = 0; i < manyEntries; ++i)
        file << "dn: cn=e" << i << ",dc=example,dc=com\nobjectClass: person\ncn: e" << i
             << "\nsn: x\ndescription: " << text << "\n\n";
}

TEST(Search, ManyEntriesNeedNoMemory) {
    const TemporaryFolder folder;
    writeManyEntries(folder.path("tree.ldif"));
    const Simulator simulator({"--ldif", folder.path("tree.ldif")});
    const auto searchInto = [&](const Arguments &more) {
        Arguments all = {"search", "-H", simulator.uri(), "-b", "dc=example,dc=com"};
        all.insert(all.end(), more.begin(), more.end());
        return runTool(all, {{}, folder.write("out", ""), {}});
    };
    [[maybe_unused]] const long few = searchInto({"-s", "base"}).peakKiB;
    for (const Arguments &format : {Arguments{}, Arguments{"--json"}}) {
        const Result many = searchInto(format);
        EXPECT_EQ(many.status, 0);
        EXPECT_GT(std::filesystem::file_size(folder.path("out")), manyEntries * entrySize);
#ifndef __SANITIZE_ADDRESS__ // which keeps what is released for a while
        constexpr long tenth = manyEntries * entrySize / 10 / 1024;
        EXPECT_LT(many.peakKiB - few, tenth);
#endif
    }
}

TEST(Search, AClosedReaderEndsItQuietly) {
    const Simulator simulator;
    const Result result =
        runShell(std::string(QLDAPX_PATH) + " search -b dc=example,dc=com | head -n 1; exit "
                                            "${PIPESTATUS[0]}",
                 {{{"LDAPURI", simulator.uri()}}, {}, {}});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "dn: dc=example,dc=com\n");
}

TEST(Search, AFilterThatIsNoneIsRefusedBeforeAnythingIsSent) {
    const Surroundings nowhere = {{{"LDAPURI", "ldap://127.0.0.1:1"}}, {}, {}};
    for (const char *filter : {"(cn=x", "(&(cn=x)", "cn=\\zz", "(=)"}) {
        const Result result = runTool({"search", filter}, nowhere);
        EXPECT_EQ(result.status, 2) << filter;
        EXPECT_THAT(result.err, HasSubstr("is no filter"));
    }
}

} // namespace
} // namespace test
