#include "program.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

/** OpenLDAP's client with cyrus-sasl's mechanism. */
CommandResult whoAmI(const SimProgram &server, const std::vector<std::string> &more) {
    std::vector<std::string> all = {"ldapwhoami", "-Q", "-N",        "-H",
                                    server.uri(), "-Y", "DIGEST-MD5"};
    all.insert(all.end(), more.begin(), more.end());
    return runCommand(all);
}

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

constexpr const char *kIsAda = "dn:cn=Ada Brandt,ou=people,dc=example,dc=com\n";

TEST(SaslTool, BindsByEachName) {
    const SimProgram server;
    for (const char *name :
         {"ada.brandt", "Ada Brandt", "cn=Ada Brandt,ou=people,dc=example,dc=com"}) {
        const auto result = whoAmI(server, {"-U", name, "-w", "changeme"});
        EXPECT_EQ(result.code, 0) << result.output;
        EXPECT_EQ(result.output, kIsAda);
    }
    EXPECT_EQ(whoAmI(server, {"-U", "admin", "-w", "secret", "-O", "none"}).output,
              "dn:cn=admin,dc=example,dc=com\n");
}

TEST(SaslTool, RefusalsAreExplained) {
    const SimProgram server;
    for (const char *name : {"ada.brandt", "nobody"}) {
        const auto result = whoAmI(server, {"-U", name, "-w", "wrong"});
        EXPECT_EQ(result.code, 49);
        EXPECT_TRUE(contains(result.output, "wrong user name or password")) << result.output;
    }
    const auto other = whoAmI(server, {"-U", "ada.brandt", "-w", "changeme", "-X", "u:admin"});
    EXPECT_EQ(other.code, 49);
    EXPECT_TRUE(contains(other.output, "may not act as")) << other.output;
    const auto own = whoAmI(server, {"-U", "ada.brandt", "-w", "changeme", "-X", "u:ada.brandt"});
    EXPECT_EQ(own.output, kIsAda);
}

TEST(SaslTool, Realms) {
    const SimProgram server(
        {"--sasl-realm", "R1", "--sasl-realm", "Two words", "--sasl-realm", "[a,b]"});
    for (const char *realm : {"R1", "Two words", "[a,b]"})
        EXPECT_EQ(whoAmI(server, {"-U", "ada.brandt", "-w", "changeme", "-R", realm}).output,
                  kIsAda);
    const auto other = whoAmI(server, {"-U", "ada.brandt", "-w", "changeme", "-R", "strata"});
    EXPECT_EQ(other.code, 49);
    EXPECT_TRUE(contains(other.output, "realm")) << other.output;
}

TEST(SaslTool, PasswordsAndNamesInAnyLanguage) {
    const std::string path = std::string(TEST_DIR) + "/sasl.ldif";
    std::ofstream(path) << "dn: dc=x\nobjectClass: domain\ndc: x\n\n"
                           "dn: cn=Müller,dc=x\nobjectClass: person\ncn: Müller\nsn: M\n"
                           "userPassword: Grüße\n\n"
                           "dn: cn=Ωmega,dc=x\nobjectClass: person\ncn: Ωmega\nsn: O\n"
                           "userPassword: ü and α\n";
    const SimProgram server({"--ldif", path});
    EXPECT_EQ(whoAmI(server, {"-U", "Müller", "-w", "Grüße"}).output, "dn:cn=Müller,dc=x\n");
    EXPECT_EQ(whoAmI(server, {"-U", "Müller", "-w", "Grusse"}).code, 49);
    EXPECT_EQ(whoAmI(server, {"-U", "Ωmega", "-w", "ü and α"}).output, "dn:cn=Ωmega,dc=x\n");
}

TEST(SaslTool, AFalseProofIsNoticed) {
    const SimProgram server({"--fault", "digest-md5-proof=wrong-rspauth"});
    EXPECT_NE(whoAmI(server, {"-U", "ada.brandt", "-w", "changeme"}).code, 0);
}

} // namespace
