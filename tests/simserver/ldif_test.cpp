#include "ldif.h"

#include "directory.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using namespace stratasim;

std::string problemOf(const std::string &text) {
    std::istringstream in(text);
    Tree tree;
    try {
        loadLdif(in, tree);
    } catch (const LdifError &error) {
        return error.what();
    }
    return "none";
}

TEST(Ldif, ReadsRecords) {
    std::istringstream in("version: 1\n"
                          "# a comment\n"
                          "#  that goes\n"
                          "  on\n"
                          "dn: dc=com\r\n"
                          "objectClass: top\r\n"
                          "dc: com\r\n"
                          "\r\n"
                          "dn:: Y249QWRhLGRjPWNvbQ==\n"
                          "cn:Ada\n"
                          "description: one\n"
                          "  two\n"
                          "description::  VGhyZWU=\n"
                          "title:\n"
                          "\n\n\n");
    Tree tree;
    loadLdif(in, tree);
    EXPECT_EQ(tree.size(), 2U);
    const auto ada = tree.find("cn=ada,dc=com");
    ASSERT_TRUE(ada);
    EXPECT_EQ(ada->dn, "cn=Ada,dc=com");
    EXPECT_EQ(ada->entry.find("description")->values,
              (std::vector<std::string>{"one two", "Three"}));
    EXPECT_EQ(ada->entry.find("title")->values, std::vector<std::string>{""});
}

TEST(Ldif, SaysInWhichLineTheProblemIs) {
    const std::pair<const char *, const char *> cases[] = {
        {"dn: dc=com\nwrong\n", "line 2: no colon in \"wrong\""},
        {"\n\ncn: x\n", "line 3: \"cn\" where a record's \"dn:\" is due"},
        {"dn: com\n", "line 1: \"com\" is not a distinguished name"},
        {"dn:\n", "line 1: \"\" is not a distinguished name"},
        {"dn: dc=a\ncn:: *\n", "line 2: the value of cn is not base64"},
        {"dn: dc=a\ncn:< file:///x\n",
         "line 2: values from URLs (\":<\") are not read: put the value itself there"},
        {"dn: dc=a\nchangetype: add\n",
         "line 2: change records are not read: send them with ldapmodify"},
        {"dn: dc=a\n\ndn: DC=A\n", "line 3: \"DC=A\" exists already"},
        {"dn: dc=a\n: x\n", "line 2: \"\" is no attribute"},
    };
    for (const auto &[text, problem] : cases)
        EXPECT_EQ(problemOf(text), problem) << text;
}

TEST(Ldif, BecomesNamingContextsAndPartitions) {
    std::istringstream in("dn: o=One\nobjectClass: top\no: One\n\n"
                          "dn: ou=servers,o=One\nou: servers\n\n"
                          "dn: cn=a,ou=servers,o=One\ncn: a\n\n"
                          "dn: cn=b,ou=servers,o=One\ncn: b\n\n"
                          "dn: o=Two\no: Two\n");
    Directory directory(
        {}, [] { return 5; }, in);
    EXPECT_EQ(directory.namingContexts(), (std::vector<std::string>{"o=One", "o=Two"}));
    EXPECT_EQ(directory.topology.replicaServers(requireDn("o=one")),
              (std::vector<std::string>{"cn=a,ou=servers,o=One", "cn=b,ou=servers,o=One"}));
    EXPECT_EQ(directory.topology.entryCount(requireDn("o=One")), 4);
    EXPECT_EQ(directory.topology.entryCount(requireDn("o=Two")), 1);
}

TEST(Sample, IsTheSameEveryTime) {
    Directory one({}, [] { return 5; });
    Directory two({}, [] { return 6; });
    EXPECT_EQ(one.tree.size(), 339U);
    const auto a = one.tree.find("cn=ada brandt,ou=people,dc=example,dc=com");
    const auto b = two.tree.find("cn=ada brandt,ou=people,dc=example,dc=com");
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->entry.find("entryuuid")->values, b->entry.find("entryuuid")->values);
    EXPECT_EQ(a->entry.find("mail")->values, std::vector<std::string>{"ada.brandt@example.com"});
}

} // namespace
