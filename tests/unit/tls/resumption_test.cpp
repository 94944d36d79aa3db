// Which sessions of TLS are taken up again, where the library carries TLS.
#include "session.h"
#include "tls_server.h"

#include <gtest/gtest.h>

namespace {

using namespace test;

struct Version {
    const char *name;
    int version;
};

void PrintTo(const Version &version, std::ostream *out) {
    *out << version.name;
}

class TlsResumption : public testing::TestWithParam<Version> {
  protected:
    TlsResumption()
        : server_(authority_.issue({"s", "DNS:localhost,IP:127.0.0.1"}), [this](SSL_CTX *context) {
              SSL_CTX_set_max_proto_version(context, GetParam().version);
              SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
              X509_STORE_add_cert(SSL_CTX_get_cert_store(context),
                                  authority_.own().certificate.get());
          }) {
        trust();
    }
    ~TlsResumption() override { ldapssl_client_deinit(); }

    void trust() {
        EXPECT_EQ(ldapssl_client_init(nullptr), 0);
        const std::string bytes = authority_.own().der();
        const berval buffer = {bytes.size(), const_cast<char *>(bytes.data())};
        EXPECT_EQ(ldapssl_add_trusted_cert(&buffer, QLDAPX_TLS_BUFFER_DER), 0);
    }

    // Gives the key that belongs to it.
    std::string setCertificate() {
        const Issued client = authority_.issue({"client", ""});
        std::string certificate = client.pem();
        const berval bytes = {certificate.size(), certificate.data()};
        EXPECT_EQ(ldapssl_set_client_cert(&bytes, QLDAPX_TLS_BUFFER_PEM, nullptr), 0);
        return client.keyPem();
    }

    void setKey(std::string key) {
        const berval bytes = {key.size(), key.data()};
        EXPECT_EQ(ldapssl_set_client_private_key(&bytes, QLDAPX_TLS_BUFFER_PEM, nullptr), 0);
    }

    void showCertificate() { setKey(setCertificate()); }

    // Connects once more, and says whether a session was taken up.
    bool isResumed(const char *host = "127.0.0.1") {
        EXPECT_EQ(tryServer(server_.port(), host), LDAP_SUCCESS);
        ++connections_;
        return server_.seen(connections_).back().isResumed;
    }

    Authority authority_;
    TlsServer server_;
    std::size_t connections_ = 0;
};

TEST_P(TlsResumption, TakesUpASessionAgainAndAgain) {
    EXPECT_FALSE(isResumed());
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(isResumed());
}

TEST_P(TlsResumption, IsForTheSameHost) {
    EXPECT_FALSE(isResumed("127.0.0.1"));
    EXPECT_FALSE(isResumed("localhost"));
    EXPECT_TRUE(isResumed("127.0.0.1"));
    EXPECT_TRUE(isResumed("localhost"));
}

TEST_P(TlsResumption, IsForTheSameContext) {
    EXPECT_FALSE(isResumed());
    trust();
    EXPECT_FALSE(isResumed());
    EXPECT_TRUE(isResumed());
}

TEST_P(TlsResumption, IsForTheSameClientCertificate) {
    EXPECT_FALSE(isResumed());
    showCertificate();
    EXPECT_FALSE(isResumed());
    EXPECT_EQ(server_.seen(connections_).back().clientSubject, "/CN=client");
    EXPECT_TRUE(isResumed());
    EXPECT_EQ(server_.seen(connections_).back().clientSubject, "/CN=client");
    showCertificate(); // another one of this name
    EXPECT_FALSE(isResumed());
}

// A certificate whose key is not set yet is not shown.
TEST_P(TlsResumption, IsNotThatOfAConnectionBeforeTheKeyWasSet) {
    const std::string key = setCertificate();
    EXPECT_FALSE(isResumed());
    EXPECT_EQ(server_.seen(connections_).back().clientSubject, "");
    EXPECT_TRUE(isResumed());
    setKey(key);
    EXPECT_FALSE(isResumed());
    EXPECT_EQ(server_.seen(connections_).back().clientSubject, "/CN=client");
    EXPECT_TRUE(isResumed());
}

int acceptAll(X509_STORE_CTX * /*store*/) {
    return 0;
}

// What was never verified must not count as verified later.
TEST_P(TlsResumption, NothingIsLeftByConnectionsWithoutVerification) {
    ASSERT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_NONE), 0);
    EXPECT_FALSE(isResumed());
    EXPECT_FALSE(isResumed());
    ASSERT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_PEER), 0);
    EXPECT_FALSE(isResumed());
    EXPECT_TRUE(isResumed());
}

TEST_P(TlsResumption, NothingIsTakenUpWithACallback) {
    EXPECT_FALSE(isResumed());
    ASSERT_EQ(ldapssl_set_verify_callback(acceptAll), 0);
    EXPECT_FALSE(isResumed());
    EXPECT_FALSE(isResumed());
}

TEST_P(TlsResumption, AServerThatIsNoLongerTrustedIsRefused) {
    EXPECT_FALSE(isResumed());
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    EXPECT_EQ(tryServer(server_.port()), LDAP_SERVER_DOWN);
}

TEST_P(TlsResumption, ManyHostsAreKeptWithinBounds) {
    std::vector<std::unique_ptr<TlsServer>> servers;
    const Issued identity = authority_.issue();
    for (int i = 0; i < 70; ++i)
        servers.push_back(std::make_unique<TlsServer>(identity));
    for (int round = 0; round < 2; ++round)
        for (const auto &server : servers)
            EXPECT_EQ(tryServer(server->port()), LDAP_SUCCESS);
    for (const auto &server : servers)
        EXPECT_FALSE(server->seen(2)[1].isResumed) << "70 are more than are kept";
}

INSTANTIATE_TEST_SUITE_P(Versions, TlsResumption,
                         testing::Values(Version{"tls12", TLS1_2_VERSION},
                                         Version{"tls13", TLS1_3_VERSION}),
                         [](const auto &row) { return std::string(row.param.name); });

} // namespace
