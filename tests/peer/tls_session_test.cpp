// Whole sessions over TLS with OpenLDAP's server.
#include "bulk_update_refusal.h"
#include "directory.h"
#include "event_refusal.h"
#include "persistent_search.h"
#include "proxied_authorization.h"
#include "sasl_bind.h"
#include "session_check.h"
#include "tls_client.h"
#include "tls_slapd.h"

#include <qldapx.h>

namespace test {
namespace {

constexpr char ada[] = "cn=Ada,ou=people,dc=example,dc=com";

std::string settings() {
    return "sockbuf_max_incoming_auth 16777215\nsasl-host localhost\nsasl-realm example.com\n"
           "authz-regexp \"uid=(.*),cn=[^,]*,cn=digest-md5,cn=auth\""
           " \"cn=$1,ou=people,dc=example,dc=com\"\n";
}

class TlsSession : public WithTls {
  protected:
    static void SetUpTestSuite() { server = std::make_unique<TlsSlapd>("good", settings()); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        WithTls::SetUp();
        trust("ca.pem");
        session = newSession(server->tlsUri());
        ld = session.get();
        ASSERT_EQ(simpleBind(ld, SlapdServer::adminDn, SlapdServer::adminPassword), LDAP_SUCCESS)
            << diagnosticOf(ld);
    }
    void TearDown() override {
        session.reset();
        WithTls::TearDown();
    }

    [[nodiscard]] int search(int scope = LDAP_SCOPE_SUBTREE) const {
        int id = -1;
        EXPECT_EQ(ldap_search_ext(ld, "dc=example,dc=com", scope, nullptr, nullptr, 0, nullptr,
                                  nullptr, nullptr, LDAP_NO_LIMIT, &id),
                  LDAP_SUCCESS);
        return id;
    }

    // How many entries the search finds.
    [[nodiscard]] int found(int id) const {
        LDAPMessage *chain = nullptr;
        timeval patience{10, 0};
        EXPECT_GT(ldap_result(ld, id, LDAP_MSG_ALL, &patience, &chain), 0);
        MessagePtr owner(chain);
        return ldap_count_entries(ld, chain);
    }

    // The first value of the attribute.
    [[nodiscard]] std::string value(const char *dn, const char *attribute) const {
        LDAPMessage *chain = nullptr;
        EXPECT_EQ(ldap_search_ext_s(ld, dn, LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr, nullptr,
                                    nullptr, LDAP_NO_LIMIT, &chain),
                  LDAP_SUCCESS);
        MessagePtr owner(chain);
        LDAPMessage *entry = ldap_first_entry(ld, chain);
        berval **values = entry != nullptr ? ldap_get_values_len(ld, entry, attribute) : nullptr;
        std::string text =
            values != nullptr ? std::string(values[0]->bv_val, values[0]->bv_len) : "";
        ldap_value_free_len(values);
        return text;
    }

    static inline std::unique_ptr<TlsSlapd> server;
    SessionPtr session;
    LDAP *ld = nullptr;
};

TEST_F(TlsSession, FindsChangesAndKnowsItself) {
    EXPECT_EQ(found(search()), 5);
    Attributes changes = {{"description", {"changed over TLS"}}};
    Additions mods(changes);
    mods.list()[0]->mod_op = LDAP_MOD_REPLACE;
    EXPECT_EQ(ldap_modify_ext_s(ld, ada, mods.list(), nullptr, nullptr), LDAP_SUCCESS);
    EXPECT_EQ(value(ada, "description"), "changed over TLS");
    EXPECT_EQ(identityWith(ld, nullptr), std::string("dn:") + SlapdServer::adminDn);
}

// Many records of TLS, and more than a socket takes at once, in both directions.
TEST_F(TlsSession, FourMegabytesThereAndBack) {
    const char dn[] = "cn=Large,ou=people,dc=example,dc=com";
    std::string photo(4 << 20, '\0');
    for (std::size_t i = 0; i < photo.size(); ++i)
        photo[i] = static_cast<char>((i * 2654435761U) >> 13);
    berval bytes{photo.size(), photo.data()};
    berval *values[] = {&bytes, nullptr};
    Attributes attributes = {{"objectClass", {"inetOrgPerson"}}, {"cn", {"Large"}}, {"sn", {"x"}}};
    Additions usual(attributes);
    char type[] = "jpegPhoto";
    LDAPMod large{LDAP_MOD_ADD | LDAP_MOD_BVALUES, type, {}};
    large.mod_bvalues = values;
    LDAPMod *mods[] = {usual.list()[0], usual.list()[1], usual.list()[2], &large, nullptr};
    ASSERT_EQ(ldap_add_ext_s(ld, dn, mods, nullptr, nullptr), LDAP_SUCCESS) << diagnosticOf(ld);
    EXPECT_TRUE(value(dn, type) == photo);
    EXPECT_EQ(ldap_delete_ext_s(ld, dn, nullptr, nullptr), LDAP_SUCCESS);
}

TEST_F(TlsSession, ManyOperationsOutstanding) {
    std::vector<int> ids;
    for (int i = 0; i < 40; ++i)
        ids.push_back(search(i % 2 == 0 ? LDAP_SCOPE_SUBTREE : LDAP_SCOPE_BASE));
    for (int i = 39; i >= 0; --i)
        EXPECT_EQ(found(ids[static_cast<std::size_t>(i)]), i % 2 == 0 ? 5 : 1) << i;
}

TEST_F(TlsSession, AbandonedOperationsDisturbNobody) {
    for (int i = 0; i < 20; ++i) {
        int abandoned = search(), kept = search();
        EXPECT_EQ(ldap_abandon_ext(ld, abandoned, nullptr, nullptr), LDAP_SUCCESS);
        EXPECT_EQ(found(kept), 5);
    }
}

TEST_F(TlsSession, UnbindReachesTheServer) {
    expectSearchWorks(ld, ada);
    session.reset();
    const std::string log = server->logWhenIdle();
    const std::size_t connection = log.rfind(" ACCEPT ");
    EXPECT_NE(log.find(" UNBIND", connection), std::string::npos);
    EXPECT_EQ(log.find("connection lost", connection), std::string::npos) << log.substr(connection);
}

TEST_F(TlsSession, BindByDigestMd5) {
    const char dn[] = "cn=digest,ou=people,dc=example,dc=com";
    ASSERT_EQ(addEntry(ld, dn,
                       {{"objectClass", {"inetOrgPerson"}},
                        {"cn", {"digest"}},
                        {"sn", {"x"}},
                        {"userPassword", {"peer-secret"}}}),
              LDAP_SUCCESS);
    SessionPtr other = newSession(server->tlsUri());
    EXPECT_EQ(digestBind(other.get(), "digest", "peer-secret"), LDAP_SUCCESS);
    EXPECT_EQ(identityWith(other.get(), nullptr), std::string("dn:") + dn);
    EXPECT_EQ(ldap_delete_ext_s(ld, dn, nullptr, nullptr), LDAP_SUCCESS);
}

TEST_F(TlsSession, OperationsThatTheServerDoesNotKnow) {
    char dn[] = "ou=people,dc=example,dc=com";
    EXPECT_EQ(ldap_split_partition(ld, dn, 0), LDAP_PROTOCOL_ERROR);
    EXPECT_EQ(diagnosticOf(ld), "unsupported extended operation");
    expectEventsRefused(ld, "dc=example,dc=com", LDAP_PROTOCOL_ERROR,
                        "unsupported extended operation");
    expectBulkUpdateRefused(ld, "dc=example,dc=com", LDAP_PROTOCOL_ERROR,
                            "unsupported extended operation");
}

// The two handles are one session.
TEST_F(TlsSession, DuplicatedHandle) {
    LDAP *twin = ldap_dup(ld);
    ASSERT_NE(twin, nullptr);
    expectSearchWorks(twin, ada);
    expectSearchWorks(ld, ada);
    EXPECT_EQ(identityWith(twin, nullptr), std::string("dn:") + SlapdServer::adminDn);
    EXPECT_EQ(ldap_destroy(twin), LDAP_SUCCESS);
    expectSearchWorks(ld, ada);
}

TEST_F(TlsSession, DuplicatedHandleConnects) {
    SessionPtr first = newSession(server->tlsUri());
    LDAP *twin = ldap_dup(first.get());
    EXPECT_EQ(attempt(twin).result, LDAP_SUCCESS) << diagnosticOf(twin);
    expectSearchWorks(first.get(), "");
    EXPECT_EQ(ldap_destroy(twin), LDAP_SUCCESS);
}

} // namespace
} // namespace test
