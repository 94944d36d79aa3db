// Binds into OpenLDAP's server, whose DIGEST-MD5 is cyrus-sasl's.
#include "peer/directory.h"
#include "peer/slapd_server.h"
#include "system/sasl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr const char *settings =
    "password-hash {CLEARTEXT}\n"
    "sasl-realm example.com\n"
    "sasl-host localhost\n"
    "authz-regexp \"uid=([^,]*),cn=.*,cn=digest-md5,cn=auth\" "
    "\"uid=$1,ou=people,dc=example,dc=com\"\n"
    "access to attrs=userPassword by anonymous auth by * none\n"
    "access to dn.regex=\"^cn=of ([^,]*),ou=people,dc=example,dc=com$\" attrs=description "
    "by dn.exact,expand=\"uid=$1,ou=people,dc=example,dc=com\" read by * none\n"
    "access to * by * read\n";

struct User {
    const char *name, *password;
};

constexpr User users[] = {{"ada", "secret"},
                          {"iso", "gr\xc3\xbc\xc3\x9f"}, // in ISO 8859-1
                          {"greek", "\xce\xb1\xce\xb2"}, // not there
                          {"both", "\xc3\xbc\xce\xb1"}};

class SaslSlapd : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        server = std::make_unique<SlapdServer>(SlapdServer::Transport::tcp, "",
                                               SlapdServer::usualSchemas, settings);
        LDAP *ld = server->session();
        for (const User &user : users) {
            mustAdd(ld, dn("uid=" + std::string(user.name)),
                    {{"objectClass", {"inetOrgPerson"}},
                     {"uid", {user.name}},
                     {"cn", {user.name}},
                     {"sn", {user.name}},
                     {"userPassword", {user.password}}});
            mustAdd(ld, dn("cn=of " + std::string(user.name)),
                    {{"objectClass", {"person"}},
                     {"cn", {"of " + std::string(user.name)}},
                     {"sn", {"x"}},
                     {"description", {"only for " + std::string(user.name)}}});
        }
        ldap_unbind_ext_s(ld, nullptr, nullptr);
    }
    static void TearDownTestSuite() { server.reset(); }

    static std::string dn(const std::string &rdn) { return rdn + ",ou=people,dc=example,dc=com"; }
    /** Reads what only this user may read. */
    static Result readAs(const User &user, const Arguments &more = {}) {
        Arguments all = {
            "search",          "-H",         server->uri(), "-b", "ou=people,dc=example,dc=com",
            "(description=*)", "description"};
        all.insert(all.end(), more.begin(), more.end());
        return runTool(digestBind(user.name, user.password, all), losingBind(server->uri()));
    }

    static inline std::unique_ptr<SlapdServer> server;
};

TEST_F(SaslSlapd, EachUserIsBoundAsHimself) {
    for (const User &user : users) {
        const Result result = readAs(user);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, "dn: " + dn("cn=of " + std::string(user.name)) +
                                  "\ndescription: only for " + user.name + "\n\n");
    }
}

TEST_F(SaslSlapd, ItsRealmIsTheOnlyOne) {
    EXPECT_EQ(readAs(users[0], {"-R", "example.com"}).status, 0);
    const Result other = readAs(users[0], {"-R", "example.org"});
    EXPECT_EQ(other.status, 1);
    EXPECT_THAT(other.err, HasSubstr("the server offers \"example.com\""));
}

TEST_F(SaslSlapd, AWrongPasswordIsRefused) {
    const Result result = readAs({"ada", "Secret"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, AllOf(HasSubstr("bind ada: Invalid credentials (49)"),
                                  HasSubstr("server says:"), HasSubstr("(-R)")));
}

TEST_F(SaslSlapd, AnUnknownUserIsRefused) {
    const Result result = readAs({"nobody", "secret"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, AllOf(HasSubstr("bind nobody: "), HasSubstr("(-U)")));
}

TEST_F(SaslSlapd, ActsAsAnotherOnlyWhereItMay) {
    EXPECT_EQ(readAs(users[0], {"--as", "dn:" + dn("uid=iso"), "--json"}).error()["code"], 123);
    EXPECT_EQ(readAs(users[0], {"--as", "dn:" + dn("uid=ada")}).status, 0);
}

} // namespace
} // namespace test
