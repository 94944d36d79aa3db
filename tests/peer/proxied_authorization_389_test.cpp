// Proxied authorisation against a server that knows it. Its access rules tell who an operation is
// carried out as; its who-am-i operation and creatorsName name the identity that is bound.
#include "directory.h"
#include "environment_389.h"
#include "proxied_authorization.h"
#include "support/ber.h"
#include "support/case_name.h"

#include <ostream>
#include <qldapx.h>

namespace {

using namespace qldapx_test;
using test::ControlPtr;
using test::proxyControl;
using Server = test::DirectoryServer389;

constexpr char asWriter[] = "dn:uid=writer,ou=people,dc=example,dc=com";

class ProxiedAuthorization389 : public test::With389 {
  protected:
    // Instead of the administrator.
    void bindAs(const char *dn) {
        ASSERT_EQ(test::simpleBind(ld, dn, Server::password), LDAP_SUCCESS);
    }
    int add(LDAPControl **controls) {
        return test::addEntry(ld, below("cn=Ada"), {{"objectClass", {"device"}}}, controls);
    }
};

struct Identity {
    const char *name;
    const char *bound;
    const char *text;
    int added;    // the result of adding an entry
    int searched; // the result of a search
    int seen;     // the entries that it found
};

std::ostream &operator<<(std::ostream &stream, const Identity &row) {
    return stream << row.name;
}

const Identity identities[] = {
    {"AgentAsWriter", Server::agentDn, asWriter, LDAP_SUCCESS, LDAP_SUCCESS, 1},
    {"AgentAsReader", Server::agentDn, "dn:uid=reader,ou=people,dc=example,dc=com",
     LDAP_INSUFFICIENT_ACCESS, LDAP_SUCCESS, 1},
    {"AgentAsNobody", Server::agentDn, "dn:", LDAP_INSUFFICIENT_ACCESS, LDAP_SUCCESS, 0},
    {"AdministratorAsWriter", Server::adminDn, asWriter, LDAP_SUCCESS, LDAP_SUCCESS, 1},
    {"AdministratorAsReader", Server::adminDn, "dn:uid=reader,ou=people,dc=example,dc=com",
     LDAP_INSUFFICIENT_ACCESS, LDAP_SUCCESS, 1},
    // Who has no right to stand for others may do nothing that way, not even as oneself.
    {"ReaderAsWriter", Server::readerDn, asWriter, LDAP_INSUFFICIENT_ACCESS, LDAP_SUCCESS, 0},
    {"WriterAsWriter", Server::writerDn, asWriter, LDAP_INSUFFICIENT_ACCESS, LDAP_SUCCESS, 0},
    // 389-ds wants an authzId (RFC 4370), of which it knows the form with a DN only, and lets
    // nobody be its administrator.
    {"BareDn", Server::agentDn, Server::writerDn, LDAP_UNAVAILABLE_CRITICAL_EXTENSION,
     LDAP_UNAVAILABLE_CRITICAL_EXTENSION, 0},
    {"UserName", Server::agentDn, "u:writer", LDAP_UNAVAILABLE_CRITICAL_EXTENSION,
     LDAP_UNAVAILABLE_CRITICAL_EXTENSION, 0},
    {"Empty", Server::agentDn, "", LDAP_UNAVAILABLE_CRITICAL_EXTENSION,
     LDAP_UNAVAILABLE_CRITICAL_EXTENSION, 0},
    {"Administrator", Server::agentDn, "dn:cn=admin", LDAP_UNAVAILABLE_CRITICAL_EXTENSION,
     LDAP_UNAVAILABLE_CRITICAL_EXTENSION, 0},
};

class Identity389 : public ProxiedAuthorization389, public testing::WithParamInterface<Identity> {};

TEST_P(Identity389, DecidesWhatTheOperationMayDo) {
    bindAs(GetParam().bound);
    ControlPtr control = proxyControl(ld, GetParam().text);
    LDAPControl *controls[] = {control.get(), nullptr};
    EXPECT_EQ(add(controls), GetParam().added);
    LDAPMessage *answer = nullptr;
    EXPECT_EQ(ldap_search_ext_s(ld, base.c_str(), LDAP_SCOPE_BASE, nullptr, nullptr, 0, controls,
                                nullptr, nullptr, LDAP_NO_LIMIT, &answer),
              GetParam().searched);
    test::MessagePtr owner(answer);
    EXPECT_EQ(ldap_count_entries(ld, answer), GetParam().seen);
}

INSTANTIATE_TEST_SUITE_P(Each, Identity389, testing::ValuesIn(identities), caseName<Identity>);

TEST_F(ProxiedAuthorization389, EveryWritingOperationTakesTheControl) {
    bindAs(Server::agentDn);
    ControlPtr control = proxyControl(ld, asWriter);
    LDAPControl *with[] = {control.get(), nullptr};
    LDAPControl *without[] = {nullptr};
    char attribute[] = "description";
    LDAPMod mod{LDAP_MOD_DELETE, attribute, {nullptr}};
    LDAPMod *mods[] = {&mod, nullptr};
    std::string dn = below("cn=Ada");
    std::string newDn = below("cn=Ben");
    test::Attributes entry = {{"objectClass", {"device"}}, {"description", {"a person"}}};

    EXPECT_EQ(test::addEntry(ld, dn, entry, without), LDAP_INSUFFICIENT_ACCESS);
    EXPECT_EQ(test::addEntry(ld, dn, entry, with), LDAP_SUCCESS);
    EXPECT_EQ(ldap_modify_ext_s(ld, dn.c_str(), mods, without, nullptr), LDAP_INSUFFICIENT_ACCESS);
    EXPECT_EQ(ldap_modify_ext_s(ld, dn.c_str(), mods, with, nullptr), LDAP_SUCCESS);
    EXPECT_EQ(ldap_rename_s(ld, dn.c_str(), "cn=Ben", nullptr, 1, without, nullptr),
              LDAP_INSUFFICIENT_ACCESS);
    EXPECT_EQ(ldap_rename_s(ld, dn.c_str(), "cn=Ben", nullptr, 1, with, nullptr), LDAP_SUCCESS);
    EXPECT_EQ(ldap_delete_ext_s(ld, newDn.c_str(), without, nullptr), LDAP_INSUFFICIENT_ACCESS);
    EXPECT_EQ(ldap_delete_ext_s(ld, newDn.c_str(), with, nullptr), LDAP_SUCCESS);
}

TEST_F(ProxiedAuthorization389, ForAllOperationsOfASession) {
    bindAs(Server::agentDn);
    ControlPtr control = proxyControl(ld, asWriter);
    LDAPControl *controls[] = {control.get(), nullptr};
    ASSERT_EQ(ldap_set_option(ld, LDAP_OPT_SERVER_CONTROLS, controls), LDAP_OPT_SUCCESS);
    EXPECT_EQ(add(nullptr), LDAP_SUCCESS);
    EXPECT_EQ(ldap_delete_ext_s(ld, below("cn=Ada").c_str(), nullptr, nullptr), LDAP_SUCCESS);
    ASSERT_EQ(ldap_set_option(ld, LDAP_OPT_SERVER_CONTROLS, nullptr), LDAP_OPT_SUCCESS);
    EXPECT_EQ(add(nullptr), LDAP_INSUFFICIENT_ACCESS);
}

TEST_F(ProxiedAuthorization389, WhoAmINamesTheBoundIdentity) {
    bindAs(Server::agentDn);
    ControlPtr control = proxyControl(ld, asWriter);
    EXPECT_EQ(test::identityWith(ld, control.get()), std::string("dn: ") + Server::agentDn);
}

TEST_F(ProxiedAuthorization389, TheControlIsTheOneMadeByHand) {
    const std::pair<const char *, const char *> values[] = {
        {"", ""}, {"cn=A", "63 6e 3d 41"}, {"dn:cn=\xc3\x84", "64 6e 3a 63 6e 3d c3 84"}};
    for (const auto &[text, bytes] : values) {
        ControlPtr control = proxyControl(ld, text);
        EXPECT_STREQ(control->ldctl_oid, "2.16.840.1.113730.3.4.18");
        EXPECT_EQ(control->ldctl_iscritical, 1);
        EXPECT_EQ(toHex({control->ldctl_value.bv_val, control->ldctl_value.bv_len}), bytes);
    }
}

} // namespace
