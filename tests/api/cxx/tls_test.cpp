// TLS: the context, sessions over it, and certificates that a callback is asked about.
#include "answers.h"
#include "support/expected_leak.h"
#include "system/simulator.h"

#include <openssl/x509_vfy.h>

namespace api_test {
namespace {

namespace tls = qldapx::tls;

/** What the callback was told of the last certificate. */
struct Seen {
    int fault = 0;
    std::string subject, issuer, notAfter, pem, der;
};
Seen seen;

int acceptExpired(x509_store_ctx_st *store) {
    const tls::offered_certificate certificate(store);
    seen.fault = *certificate.fault();
    seen.subject = *certificate.subject();
    seen.issuer = *certificate.issuer();
    seen.notAfter = certificate.validity()->notAfter;
    seen.pem = *certificate.encoded(tls::encoding::pem);
    seen.der = *certificate.encoded(tls::encoding::der);
    return seen.fault == X509_V_ERR_CERT_HAS_EXPIRED ? 0 : 1;
}

class CxxTls : public testing::Test {
  protected:
    const test::TemporaryFolder folder;
    const std::string ca = folder.path("ca.pem"), client = folder.path("client.pem");
    const test::Simulator simulator{{"--tls", "auto", "--tls-auto-cert", "expired", "--tls-ca-file",
                                     ca, "--tls-client-file", client}};
    const ExpectedLeak url; // ldapssl_init loses that of its session

    [[nodiscard]] int port() const {
        return std::stoi(simulator.uri().substr(simulator.uri().rfind(':') + 1));
    }
    [[nodiscard]] std::string bound() const {
        const auto session = tls::open("localhost", port());
        return session ? describe(session->bind_simple("", "")) : describe(session.error());
    }
};

TEST_F(CxxTls, AsksTheCallbackAboutACertificate) {
    const auto context = tls::start();
    ASSERT_TRUE(context);
    EXPECT_EQ(context->get(), g_CryptCtx);
    EXPECT_EQ(describe(context->add_trusted(tls::source::file(ca, tls::format::pem))), "done");
    EXPECT_NE(bound().find("certificate has expired"), std::string::npos);
    EXPECT_EQ(describe(context->set_verify_callback(acceptExpired)), "done");
    EXPECT_EQ(bound(), "done");
    EXPECT_EQ(seen.fault, X509_V_ERR_CERT_HAS_EXPIRED);
    EXPECT_EQ(seen.subject, "/CN=strata-sim");
    EXPECT_EQ(seen.issuer.substr(0, 4), "/CN=");
    EXPECT_EQ(seen.notAfter.back(), 'Z');
    EXPECT_EQ(seen.pem.substr(0, 31), "-----BEGIN TRUSTED CERTIFICATE-");
    EXPECT_EQ(seen.der.substr(0, 1), "\x30");
}

TEST_F(CxxTls, TakesWhatItIsToShow) {
    const auto context = tls::start(ca);
    ASSERT_TRUE(context);
    const std::string bytes = test::readFile(client);
    const auto certificate = tls::source::memory(bytes, tls::format::pem);
    EXPECT_EQ(describe(context->set_client_certificate(certificate)), "done");
    EXPECT_EQ(describe(context->set_client_key(certificate)), "done");
    EXPECT_EQ(describe(context->set_client_key(tls::source::file(client, tls::format::der))),
              "-2||");
    EXPECT_EQ(describe(context->set_client_certificate(
                  tls::source::memory("nonsense", tls::format::pkcs12), "secret")),
              "-2||");
    EXPECT_EQ(describe(context->add_trusted(tls::source::memory("nonsense", tls::format::der))),
              "-2||");
}

TEST_F(CxxTls, VerifiesUnlessItIsToldNot) {
    const auto context = tls::start(ca);
    ASSERT_TRUE(context);
    EXPECT_TRUE(*context->verifies());
    EXPECT_EQ(describe(context->set_verification(false)), "done");
    EXPECT_FALSE(*context->verifies());
    EXPECT_EQ(bound(), "done");
    EXPECT_EQ(describe(context->set_verification(true)), "done");
    EXPECT_TRUE(*context->verifies());
}

TEST(CxxTlsContext, IsNeeded) {
    const test::TemporaryFolder folder;
    EXPECT_EQ(describe(tls::start(folder.write("empty", "")).transform([](const auto &) {})),
              "-2||");
    const tls::context_ref none;
    EXPECT_EQ(describe(none.set_verification(true)), "-2||");
    EXPECT_EQ(describe(none.verifies().transform([](bool) {})), "-2||");
    EXPECT_EQ(describe(none.set_verify_callback(acceptExpired)), "-2||");
}

TEST(CxxTlsContext, IsKeptWhenReleased) {
    {
        auto context = tls::start();
        ASSERT_TRUE(context);
        EXPECT_EQ(context->release(), g_CryptCtx);
    }
    EXPECT_NE(g_CryptCtx, nullptr);
    { const tls::context again(qldapx::adopt, g_CryptCtx); }
    EXPECT_EQ(g_CryptCtx, nullptr);
}

TEST(CxxTlsSource, SaysWhatItIs) {
    EXPECT_EQ(tls::source::file("f", tls::format::pem).type(), QLDAPX_TLS_FILE_PEM);
    EXPECT_EQ(tls::source::file("f", tls::format::der).type(), QLDAPX_TLS_FILE_DER);
    EXPECT_EQ(tls::source::file("f", tls::format::pkcs12).type(), QLDAPX_TLS_FILE_PKCS12);
    EXPECT_EQ(tls::source::memory("b", tls::format::pem).type(), QLDAPX_TLS_BUFFER_PEM);
    EXPECT_EQ(tls::source::memory("b", tls::format::der).type(), QLDAPX_TLS_BUFFER_DER);
    EXPECT_EQ(tls::source::memory("b", tls::format::pkcs12).type(), QLDAPX_TLS_BUFFER_PKCS12);
}

TEST(CxxTlsSession, IsMadeWithoutTlsToo) {
    const ExpectedLeak url;
    const auto session = tls::open("localhost", 0, tls::security::none);
    ASSERT_TRUE(session);
    EXPECT_EQ(describe(session->uri()), "ldap://localhost:389");
    EXPECT_EQ(tls::open("localhost", -1).error().code(), LDAP_LOCAL_ERROR);
}

TEST(CxxCertificate, OfNothingIsAnError) {
    const tls::offered_certificate none(nullptr);
    EXPECT_FALSE(none.fault());
    EXPECT_FALSE(none.subject());
    EXPECT_FALSE(none.issuer());
    EXPECT_FALSE(none.validity());
    EXPECT_FALSE(none.encoded(tls::encoding::pem));
}

} // namespace
} // namespace api_test
