#include "program.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

/** OpenLDAP's own clients against the program. */
class ToolsTest : public testing::Test {
  protected:
    CommandResult tool(const std::string &name, std::vector<std::string> arguments,
                       const std::string &input = {}) const {
        std::vector<std::string> all = {name, "-x", "-H", server_.uri()};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return runCommand(all, input);
    }
    CommandResult asAdmin(const std::string &name, std::vector<std::string> arguments,
                          const std::string &input = {}) const {
        arguments.insert(arguments.begin(), {"-D", "cn=admin,dc=example,dc=com", "-w", "secret"});
        return tool(name, std::move(arguments), input);
    }
    void expectFound(const std::string &base, const std::string &filter,
                     const std::string &expected) const {
        const auto result = tool("ldapsearch", {"-LLL", "-o", "ldif-wrap=no", "-b", base, filter,
                                                "cn", "mail", "description"});
        EXPECT_EQ(result.output, expected);
        EXPECT_EQ(result.code, 0);
    }

    SimProgram server_;
};

constexpr const char *kNew = "dn: cn=Nova Reyes,ou=apac,dc=example,dc=com\n"
                             "objectClass: inetOrgPerson\ncn: Nova Reyes\nsn: Reyes\n"
                             "mail: nova@example.com\n";

TEST_F(ToolsTest, Search) {
    expectFound("dc=example,dc=com", "(&(uid=ADA.BRANDT)(!(l=Tokyo))(mail=*@example.com))",
                "dn: cn=Ada Brandt,ou=people,dc=example,dc=com\ncn: Ada Brandt\n"
                "mail: ada.brandt@example.com\n\n");
    expectFound("dc=example,dc=com", "(cn:caseExactMatch:=strata2)",
                "dn: cn=strata2,ou=servers,dc=example,dc=com\ncn: strata2\n"
                "description: Directory server 2\n\n");
    const auto missing = tool("ldapsearch", {"-b", "ou=x,dc=example,dc=com"});
    EXPECT_EQ(missing.code, 32);
    EXPECT_NE(missing.output.find("matchedDN: dc=example,dc=com"), std::string::npos)
        << missing.output;
    EXPECT_EQ(tool("ldapsearch", {"-z", "3", "-b", "dc=example,dc=com"}).code, 4);
}

TEST_F(ToolsTest, WhoAmI) {
    EXPECT_EQ(tool("ldapwhoami", {}).output, "anonymous\n");
    EXPECT_EQ(asAdmin("ldapwhoami", {}).output, "dn:cn=admin,dc=example,dc=com\n");
    EXPECT_EQ(tool("ldapwhoami", {"-D", "cn=admin,dc=example,dc=com", "-w", "x"}).code, 49);
    EXPECT_EQ(tool("ldapwhoami", {"-D", "cn=admin,dc=example,dc=com"}).code, 53);
}

TEST_F(ToolsTest, ProxiedAuthorisation) {
    const std::string ada = "dn:cn=Ada Brandt,ou=people,dc=example,dc=com";
    const auto who = asAdmin("ldapwhoami", {"-e", "!authzid=" + ada});
    EXPECT_EQ(who.code, 0) << who.output;
    EXPECT_EQ(who.output, ada + "\n");
    const auto refused = asAdmin("ldapwhoami", {"-e", "!authzid=u:ada"});
    EXPECT_NE(refused.output.find("(123)"), std::string::npos) << refused.output;
    EXPECT_EQ(tool("ldapsearch", {"-e", "!authzid=" + ada, "-b", "dc=example,dc=com"}).code, 123);
}

TEST_F(ToolsTest, EffectiveRights) {
    // The value is SEQUENCE { [0] INTEGER 1 }.
    const auto result = tool("ldapsearch", {"-LLL", "-o", "ldif-wrap=no", "-b",
                                            "cn=strata1,ou=servers,dc=example,dc=com", "-E",
                                            "!2.16.840.1.907341.1.27.101.33=::MAOAAQE=", "cn"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, "dn: cn=strata1,ou=servers,dc=example,dc=com\ncn: strata1\n"
                             "entryPrivileges: 3\nattributePrivileges: objectClass: 3\n"
                             "attributePrivileges: cn: 3\nattributePrivileges: l: 3\n"
                             "attributePrivileges: description: 3\n"
                             "attributePrivileges: userPassword: 0\n\n");
}

TEST_F(ToolsTest, AnEntrysLife) {
    const std::string dn = "cn=Nova Reyes,ou=apac,dc=example,dc=com";
    EXPECT_EQ(tool("ldapadd", {}, kNew).code, 50);
    EXPECT_EQ(asAdmin("ldapadd", {}, kNew).code, 0);
    EXPECT_EQ(asAdmin("ldapadd", {}, kNew).code, 68);
    EXPECT_EQ(asAdmin("ldapmodify", {},
                      "dn: " + dn +
                          "\nchangetype: modify\nreplace: mail\nmail: nova.reyes@example.com\n-\n"
                          "add: description\ndescription: new\n-\n")
                  .code,
              0);
    expectFound("dc=example,dc=com", "(cn=nova reyes)",
                "dn: " + dn +
                    "\ncn: Nova Reyes\nmail: nova.reyes@example.com\ndescription: new\n\n");
    EXPECT_EQ(tool("ldapcompare", {dn, "description:NEW"}).code, 6);
    EXPECT_EQ(tool("ldapcompare", {dn, "description:old"}).code, 5);
    EXPECT_EQ(asAdmin("ldapmodrdn", {"-r", "-s", "ou=emea,dc=example,dc=com", dn, "cn=Nova"}).code,
              0);
    expectFound("ou=emea,dc=example,dc=com", "(mail=nova.*)",
                "dn: cn=Nova,ou=emea,dc=example,dc=com\nmail: nova.reyes@example.com\n"
                "description: new\ncn: Nova\n\n");
    EXPECT_EQ(asAdmin("ldapdelete", {"ou=emea,dc=example,dc=com"}).code, 66);
    EXPECT_EQ(asAdmin("ldapdelete", {"cn=Nova,ou=emea,dc=example,dc=com"}).code, 0);
    EXPECT_EQ(asAdmin("ldapdelete", {"cn=Nova,ou=emea,dc=example,dc=com"}).code, 32);
}

TEST_F(ToolsTest, ExtendedOperations) {
    const std::string arc = "2.16.840.1.907341.1.27.100.";
    const auto refreshed = asAdmin("ldapexop", {arc + "9"});
    EXPECT_EQ(refreshed.code, 0);
    EXPECT_NE(refreshed.output.find("oid: " + arc + "10\n"), std::string::npos) << refreshed.output;
    // The tool exits with 1 whatever the result is, and prints the result.
    EXPECT_NE(tool("ldapexop", {arc + "9"}).output.find("(50)"), std::string::npos);
    // The value is the INTEGER 0 and the OCTET STRING ou=groups,dc=example,dc=com.
    const std::string value = "AgEABBtvdT1ncm91cHMsZGM9ZXhhbXBsZSxkYz1jb20=";
    EXPECT_EQ(asAdmin("ldapexop", {arc + "3::" + value}).code, 0);
    EXPECT_NE(asAdmin("ldapexop", {arc + "3::" + value}).output.find("(68)"), std::string::npos);
    const auto unknown = tool("ldapexop", {"1.2.3"});
    EXPECT_NE(unknown.output.find("(2)"), std::string::npos);
    EXPECT_NE(unknown.output.find("1.2.3 is not served here"), std::string::npos) << unknown.output;
}

TEST_F(ToolsTest, AServedDumpCanBeServedAgain) {
    const auto dump = tool("ldapsearch", {"-LLL", "-b", "dc=example,dc=com", "*", "+"});
    ASSERT_EQ(dump.code, 0);
    const std::string path = std::string(TEST_DIR) + "/dump.ldif";
    std::ofstream(path) << dump.output;
    SimProgram again({"--ldif", path});
    const auto second = runCommand(
        {"ldapsearch", "-x", "-H", again.uri(), "-LLL", "-b", "dc=example,dc=com", "*", "+"});
    EXPECT_EQ(second.code, 0);
    EXPECT_TRUE(second.output == dump.output);
}

} // namespace
