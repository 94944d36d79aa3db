// The ways to connect: addresses, lists of them, reconnecting, referrals, without waiting.
#include "directory.h"
#include "openssl_server.h"
#include "persistent_search.h"
#include "session_check.h"
#include "tls_client.h"
#include "tls_relay.h"
#include "tls_slapd.h"

#include <csignal>
#include <qldapx/tls.h>

namespace test {
namespace {

constexpr char ada[] = "cn=Ada,ou=people,dc=example,dc=com";

class TlsConnect : public WithTls {
  protected:
    static void SetUpTestSuite() { server = std::make_unique<TlsSlapd>(); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        WithTls::SetUp();
        trust("ca.pem");
    }

    static SessionPtr sessionWith(const char *host, int port, int secure = 1) {
        SessionPtr session(ldapssl_init(host, port, secure));
        int version = LDAP_VERSION3;
        ldap_set_option(session.get(), LDAP_OPT_PROTOCOL_VERSION, &version);
        return session;
    }

    static void expectOnlyTls(TlsRelay &relay, std::size_t connections) {
        std::vector<std::string> all = relay.fromClients();
        EXPECT_EQ(all.size(), connections);
        for (const std::string &sent : all)
            EXPECT_TRUE(isTlsOnly(sent));
    }

    static inline std::unique_ptr<TlsSlapd> server;
};

TEST_F(TlsConnect, SessionsOfTheLibrary) {
    for (const char *host : {"localhost", "127.0.0.1"}) {
        SessionPtr session = sessionWith(host, server->port());
        ASSERT_NE(session, nullptr) << host;
        EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS) << host;
        EXPECT_EQ(uriOf(session.get()), server->tlsUri(host));
        expectSearchWorks(session.get(), ada);
    }
}

TEST_F(TlsConnect, SessionByAnIpv6Address) {
    if (server->tlsUri6().empty())
        return; // the system has no IPv6
    const std::string uri = server->tlsUri6();
    SessionPtr session = sessionWith("::1", std::stoi(uri.substr(uri.rfind(':') + 1)));
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS) << diagnosticOf(session.get());
    EXPECT_EQ(uriOf(session.get()), uri);
}

TEST_F(TlsConnect, DefaultPorts) {
    EXPECT_EQ(uriOf(sessionWith("localhost", 0).get()), "ldaps://localhost");
    EXPECT_EQ(uriOf(sessionWith("localhost", 0, 0).get()), "ldap://localhost");
    EXPECT_EQ(uriOf(sessionWith("localhost", 636).get()), "ldaps://localhost:636");
}

TEST_F(TlsConnect, AddressesThatAreNone) {
    for (int port : {-1, 65536, 1 << 30})
        EXPECT_EQ(ldapssl_init("localhost", port, 1), nullptr) << port;
}

TEST_F(TlsConnect, SessionWithoutTls) {
    SlapdServer plain(SlapdServer::Transport::tcp);
    const std::string port = plain.uri().substr(plain.uri().rfind(':') + 1);
    SessionPtr session = sessionWith("localhost", std::stoi(port), 0);
    ASSERT_NE(session, nullptr);
    EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS);
    EXPECT_EQ(uriOf(session.get()), "ldap://localhost:" + port);
}

TEST_F(TlsConnect, ServerThatIsNotThere) {
    OpenSslServer gone("good");
    const std::string uri = gone.uri();
    static_cast<void>(gone.end());
    EXPECT_EQ(attempt(uri).result, LDAP_SERVER_DOWN);
}

// The list as it was given is the session's again, the server that answered first.
TEST_F(TlsConnect, ListsOfServers) {
    OpenSslServer gone("good"), refused("self-signed");
    static_cast<void>(gone.end());
    const std::string good = server->tlsUri();
    struct Row {
        std::string uris, after;
    };
    const Row rows[] = {
        {good, good},
        {gone.uri() + " " + good, good + " " + gone.uri()},
        {refused.uri() + " " + good, good + " " + refused.uri()},
        {gone.uri() + " " + refused.uri() + " " + good,
         good + " " + gone.uri() + " " + refused.uri()},
        {good + " " + gone.uri(), good + " " + gone.uri()},
    };
    for (const Row &row : rows) {
        SessionPtr session = newSession(row.uris);
        EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS) << row.uris;
        EXPECT_EQ(uriOf(session.get()), row.after);
        expectSearchWorks(session.get(), ada);
    }
    EXPECT_EQ(refused.end(), "");
}

TEST_F(TlsConnect, ListOfServersThatAllRefuse) {
    OpenSslServer first("self-signed"), second("expired");
    const std::string uris = first.uri() + " " + second.uri();
    SessionPtr session = newSession(uris);
    for (int i = 0; i < 2; ++i) {
        expectRefused(attempt(session.get()), "(certificate has expired)");
        EXPECT_EQ(uriOf(session.get()), uris);
    }
    EXPECT_EQ(first.end() + second.end(), "");
}

// A list of both kinds: TLS is used with the ldaps server only.
TEST_F(TlsConnect, ListWithAndWithoutTls) {
    SlapdServer plain(SlapdServer::Transport::tcp);
    TlsRelay relay(server->port());
    OpenSslServer gone("good");
    static_cast<void>(gone.end());
    SessionPtr first = newSession(gone.uri() + " " + plain.uri() + " " + relay.uri());
    EXPECT_EQ(attempt(first.get()).result, LDAP_SUCCESS);
    expectOnlyTls(relay, 0);
    const std::string dead = "ldap://127.0.0.1:1";
    SessionPtr second = newSession(dead + " " + relay.uri());
    EXPECT_EQ(attempt(second.get()).result, LDAP_SUCCESS);
    EXPECT_EQ(uriOf(second.get()), relay.uri() + " " + dead);
    second.reset();
    expectOnlyTls(relay, 1);
}

void expectReconnects(LDAP *ld) {
    EXPECT_EQ(bindAnonymously(ld), LDAP_SERVER_DOWN);
    EXPECT_EQ(attempt(ld).result, LDAP_SUCCESS) << diagnosticOf(ld);
    expectSearchWorks(ld, ada);
}

TEST_F(TlsConnect, ReconnectsWithTlsAfterTheServerWasRestarted) {
    TlsRelay relay(server->port());
    SessionPtr session = newSession(relay.uri());
    EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS);
    for (std::size_t connections = 2; connections < 5; ++connections) {
        server->restart();
        expectReconnects(session.get());
        EXPECT_EQ(uriOf(session.get()), relay.uri());
        expectOnlyTls(relay, connections);
    }
}

// The server that comes back is another one.
TEST_F(TlsConnect, ReconnectVerifiesToo) {
    auto real = std::make_unique<TlsSlapd>();
    TlsRelay relay(real->port());
    SessionPtr session = newSession(relay.uri());
    EXPECT_EQ(attempt(session.get()).result, LDAP_SUCCESS);
    real->interrupt(SIGKILL);
    OpenSslServer impostor("self-signed", {}, real->port());
    EXPECT_EQ(bindAnonymously(session.get()), LDAP_SERVER_DOWN);
    expectRefused(attempt(session.get()), "(self-signed certificate)");
    EXPECT_EQ(impostor.end(), "");
    for (const std::string &sent : relay.fromClients())
        EXPECT_TRUE(isTlsOnly(sent));
}

class TlsReferral : public TlsConnect {
  protected:
    // Finds an entry of the server behind the relay, to which the session's server refers.
    static void expectIsChased(LDAP *ld, TlsRelay &relay) {
        ASSERT_EQ(simpleBind(ld, SlapdServer::adminDn, SlapdServer::adminPassword), LDAP_SUCCESS);
        const std::string target = relay.uri() + "/ou=people,dc=example,dc=com";
        ASSERT_EQ(addEntry(ld, "ou=elsewhere,dc=example,dc=com",
                           {{"objectClass", {"referral", "extensibleObject"}},
                            {"ou", {"elsewhere"}},
                            {"ref", {target}}}),
                  LDAP_SUCCESS);
        expectSearchWorks(ld, "cn=Ada,ou=elsewhere,dc=example,dc=com");
    }
};

TEST_F(TlsReferral, FromAServerWithoutTls) {
    TlsRelay relay(server->port());
    SlapdServer referring;
    SessionPtr session = newSession(referring.uri());
    expectIsChased(session.get(), relay);
    session.reset();
    expectOnlyTls(relay, 1);
}

TEST_F(TlsReferral, FromAServerWithTls) {
    TlsRelay relay(server->port());
    TlsSlapd referring;
    SessionPtr session = newSession(referring.tlsUri());
    expectIsChased(session.get(), relay);
    expectSearchWorks(session.get(), ada);
    EXPECT_EQ(uriOf(session.get()), referring.tlsUri());
    session.reset();
    expectOnlyTls(relay, 1);
}

TEST_F(TlsReferral, ToAServerThatIsRefused) {
    OpenSslServer impostor("self-signed");
    TlsSlapd referring;
    SessionPtr session = newSession(referring.tlsUri());
    ASSERT_EQ(simpleBind(session.get(), SlapdServer::adminDn, SlapdServer::adminPassword),
              LDAP_SUCCESS);
    ASSERT_EQ(addEntry(session.get(), "ou=elsewhere,dc=example,dc=com",
                       {{"objectClass", {"referral", "extensibleObject"}},
                        {"ou", {"elsewhere"}},
                        {"ref", {impostor.uri() + "/ou=people,dc=example,dc=com"}}}),
              LDAP_SUCCESS);
    LDAPMessage *found = nullptr;
    EXPECT_NE(ldap_search_ext_s(session.get(), "cn=Ada,ou=elsewhere,dc=example,dc=com",
                                LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr, nullptr, nullptr,
                                LDAP_NO_LIMIT, &found),
              LDAP_SUCCESS);
    ldap_msgfree(found);
    expectSearchWorks(session.get(), ada);
    EXPECT_EQ(impostor.end(), "");
}

class TlsAsynchronous : public TlsConnect {
  protected:
    static SessionPtr sessionOf(const TlsRelay &relay) {
        SessionPtr session = newSession(relay.uri());
        ldap_set_option(session.get(), LDAP_OPT_CONNECT_ASYNC, LDAP_OPT_ON);
        return session;
    }

    // Binds, as soon as it is connected.
    static int bind(LDAP *ld) {
        int result = LDAP_X_CONNECTING;
        EXPECT_TRUE(eventually([&] {
            result = bindAnonymously(ld);
            return result != LDAP_X_CONNECTING;
        }));
        return result;
    }

    // What the session says of itself: where the library does TLS, libldap does not ask it to put
    // the scheme back.
    static std::string expectedUri(const TlsRelay &relay) {
        return (libldapHasOpenSsl() ? "" : "p") + relay.uri();
    }
};

TEST_F(TlsAsynchronous, ConnectsAndReconnectsWithTls) {
    TlsRelay relay(server->port());
    SessionPtr session = sessionOf(relay);
    EXPECT_EQ(bind(session.get()), LDAP_SUCCESS) << diagnosticOf(session.get());
    EXPECT_EQ(uriOf(session.get()), expectedUri(relay));
    expectSearchWorks(session.get(), ada);
    server->restart();
    EXPECT_EQ(bind(session.get()), LDAP_SERVER_DOWN);
    EXPECT_EQ(bind(session.get()), LDAP_SUCCESS) << diagnosticOf(session.get());
    expectSearchWorks(session.get(), ada);
    session.reset();
    expectOnlyTls(relay, 2);
}

TEST_F(TlsAsynchronous, RefusesToo) {
    OpenSslServer impostor("self-signed");
    SessionPtr session = newSession(impostor.uri());
    ldap_set_option(session.get(), LDAP_OPT_CONNECT_ASYNC, LDAP_OPT_ON);
    EXPECT_EQ(bind(session.get()), LDAP_SERVER_DOWN);
    EXPECT_NE(diagnosticOf(session.get()).find("(self-signed certificate)"), std::string::npos);
    EXPECT_EQ(impostor.end(), "");
}

} // namespace
} // namespace test
