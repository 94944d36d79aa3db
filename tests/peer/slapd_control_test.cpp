// The library's controls over a session with OpenLDAP's slapd, which knows the proxied
// authorisation and not the persistent search.
#include "directory.h"
#include "proxied_authorization.h"
#include "slapd_server.h"
#include "support/case_name.h"

#include <gtest/gtest.h>
#include <ostream>
#include <qldapx.h>

namespace {

using qldapx_test::caseName;
using test::ControlPtr;
using test::PersistentSearch;
using test::proxyControl;
using test::SlapdServer;

constexpr char people[] = "ou=people,dc=example,dc=com";
constexpr char ada[] = "cn=Ada,ou=people,dc=example,dc=com";
constexpr char ben[] = "cn=Ben,ou=people,dc=example,dc=com";
constexpr char asBen[] = "dn:cn=Ben,ou=people,dc=example,dc=com";
constexpr char benItIs[] = "dn:cn=ben,ou=people,dc=example,dc=com"; // as slapd writes it
constexpr char denied[] = "result 123";                             // authorizationDenied, RFC 4370

void addValue(LDAP *ld, const char *dn, std::string attribute, std::string value) {
    char *values[] = {value.data(), nullptr};
    LDAPMod mod{LDAP_MOD_ADD, attribute.data(), {values}};
    LDAPMod *mods[] = {&mod, nullptr};
    ASSERT_EQ(ldap_modify_ext_s(ld, dn, mods, nullptr, nullptr), LDAP_SUCCESS);
}

int resultOfSearch(LDAP *ld, const std::string &dn, LDAPControl **controls) {
    LDAPMessage *answer = nullptr;
    int result = ldap_search_ext_s(ld, dn.c_str(), LDAP_SCOPE_BASE, nullptr, nullptr, 0, controls,
                                   nullptr, nullptr, LDAP_NO_LIMIT, &answer);
    ldap_msgfree(answer);
    return result;
}

class SlapdControls : public testing::Test {
  protected:
    // Ada may be Ben.
    static void SetUpTestSuite() {
        server = std::make_unique<SlapdServer>();
        LDAP *admin = server->session();
        addValue(admin, ada, "authzTo", std::string("dn.exact:") + ben);
        for (const char *dn : {ada, ben})
            addValue(admin, dn, "userPassword", SlapdServer::adminPassword);
        ldap_unbind_ext_s(admin, nullptr, nullptr);
    }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override { ld = server->session(); }
    void TearDown() override { ldap_unbind_ext_s(ld, nullptr, nullptr); }

    static inline std::unique_ptr<SlapdServer> server;
    LDAP *ld = nullptr;
};

struct Identity {
    const char *name;
    const char *bound;
    const char *text;
    const char *identity;
};

std::ostream &operator<<(std::ostream &stream, const Identity &row) {
    return stream << row.name;
}

const Identity identities[] = {
    {"AdministratorAsBen", SlapdServer::adminDn, asBen, benItIs},
    {"AdaAsBen", ada, asBen, benItIs},
    {"AdaAsCleo", ada, "dn:cn=Cleo,ou=people,dc=example,dc=com", denied},
    {"BenAsAda", ben, "dn:cn=Ada,ou=people,dc=example,dc=com", denied},
    {"Anonymous", ada, "", ""},
    {"BareDn", ada, ben, denied},
    {"UnknownUserName", ada, "u:Ben", denied},
    {"NoDn", ada, "dn:Ben", denied},
};

class SlapdIdentity : public SlapdControls, public testing::WithParamInterface<Identity> {};

TEST_P(SlapdIdentity, IsTheOneOfTheControl) {
    ASSERT_EQ(test::simpleBind(ld, GetParam().bound, SlapdServer::adminPassword), LDAP_SUCCESS);
    ControlPtr control = proxyControl(ld, GetParam().text);
    EXPECT_EQ(test::identityWith(ld, control.get()), GetParam().identity);
}

INSTANTIATE_TEST_SUITE_P(Each, SlapdIdentity, testing::ValuesIn(identities), caseName<Identity>);

TEST_F(SlapdControls, ProxiedAuthorizationOfASession) {
    ControlPtr control = proxyControl(ld, asBen);
    LDAPControl *controls[] = {control.get(), nullptr};
    ASSERT_EQ(ldap_set_option(ld, LDAP_OPT_SERVER_CONTROLS, controls), LDAP_OPT_SUCCESS);
    EXPECT_EQ(test::identityWith(ld, nullptr), benItIs);
    ASSERT_EQ(ldap_set_option(ld, LDAP_OPT_SERVER_CONTROLS, nullptr), LDAP_OPT_SUCCESS);
    EXPECT_EQ(test::identityWith(ld, nullptr), std::string("dn:") + SlapdServer::adminDn);
}

TEST_F(SlapdControls, ACriticalPersistentSearchIsRefused) {
    PersistentSearch search(ld, people, {.isCritical = 1});
    EXPECT_EQ(search.next(), "result 12");
}

TEST_F(SlapdControls, AnUncriticalPersistentSearchIsAnOrdinaryOne) {
    PersistentSearch search(ld, people, {.isCritical = 0});
    for (const char *name : {"Ada", "Ben", "Cleo"})
        EXPECT_EQ(search.next(), std::string("plain cn=") + name + "," + people);
    EXPECT_EQ(search.next(), "result 0");
}

// A control of libldap's beside the library's: each does what it does alone.
TEST_F(SlapdControls, ManageDsaItBesideProxiedAuthorization) {
    std::string dn = std::string("cn=elsewhere,") + people;
    ASSERT_EQ(test::addEntry(ld, dn,
                             {{"objectClass", {"referral", "extensibleObject"}},
                              {"cn", {"elsewhere"}},
                              {"ref", {"ldap://nowhere.invalid/"}}}),
              LDAP_SUCCESS);
    ldap_set_option(ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    ControlPtr proxy = proxyControl(ld, asBen);
    LDAPControl *manage = nullptr;
    ASSERT_EQ(ldap_control_create(LDAP_CONTROL_MANAGEDSAIT, 1, nullptr, 0, &manage), LDAP_SUCCESS);
    ControlPtr owner(manage);
    LDAPControl *one[] = {proxy.get(), nullptr};
    LDAPControl *both[] = {proxy.get(), manage, nullptr};
    EXPECT_EQ(resultOfSearch(ld, dn, one), LDAP_REFERRAL);
    EXPECT_EQ(resultOfSearch(ld, dn, both), LDAP_SUCCESS);
    EXPECT_EQ(ldap_delete_ext_s(ld, dn.c_str(), both, nullptr), LDAP_INSUFFICIENT_ACCESS);
    LDAPControl *alone[] = {manage, nullptr};
    EXPECT_EQ(ldap_delete_ext_s(ld, dn.c_str(), alone, nullptr), LDAP_SUCCESS);
}

} // namespace
