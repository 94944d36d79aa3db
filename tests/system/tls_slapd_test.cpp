// Sessions with OpenLDAP's server: StartTLS, which is libldap's own, and ldaps.
#include "peer/slapd_server.h"
#include "system/tls_fixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

const TlsFiles &files() {
    return TlsFiles::get();
}

std::string settings() {
    return "TLSCertificateFile " + files().path("server.pem") + "\nTLSCertificateKeyFile " +
           files().path("server.key") + "\nTLSCACertificateFile " + files().path("ca.pem") +
           "\nTLSVerifyClient allow\n";
}

class TlsSlapd : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        server = std::make_unique<SlapdServer>(SlapdServer::Transport::tcp, "",
                                               SlapdServer::usualSchemas, settings());
    }
    static void TearDownTestSuite() { server.reset(); }

    /** Looks for what the server calls the session, over StartTLS. */
    static Result search(const Arguments &more) {
        Arguments all = {"search", "-H",   server->uri(), "-ZZ", "-b", "dc=example,dc=com",
                         "-s",     "base", "--timeout",   "10"};
        all.insert(all.end(), more.begin(), more.end());
        // libldap with GnuTLS does not release the client's certificate and key.
        return runTls(all, {{"LSAN_OPTIONS", "detect_leaks=0"}});
    }

    static inline std::unique_ptr<SlapdServer> server;
};

TEST_F(TlsSlapd, StartTlsTrustsTheCaThatIsNamed) {
    const Result result = search({"--cacert", files().path("ca.pem")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("dn: dc=example,dc=com"));
    EXPECT_EQ(result.err, "");
}

TEST_F(TlsSlapd, StartTlsRefusesAnotherCa) {
    const Result result = search({"--cacert", files().path("other.pem"), "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["operation"], "StartTLS");
    EXPECT_EQ(result.error()["code"], -11);
    EXPECT_THAT(result.error()["hint"].get<std::string>(), HasSubstr("--cacert FILE"));
}

TEST_F(TlsSlapd, StartTlsUnverifiedWarns) {
    const Result result = search({"--tls-verify", "off"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("THE SERVER IS NOT VERIFIED"));
}

TEST_F(TlsSlapd, StartTlsTakesWhatLdapConfTrusts) {
    const TemporaryFolder folder;
    const std::string file =
        folder.write("ldap.conf", "TLS_CACERT " + files().path("ca.pem") + "\n");
    EXPECT_EQ(
        runTls({"whoami", "-H", server->uri(), "-ZZ", "--tls-verify", "on", "--timeout", "10"},
               {{"LDAPCONF", file}})
            .err.find("StartTLS"),
        std::string::npos);
}

TEST_F(TlsSlapd, StartTlsShowsTheClientsCertificate) {
    const Result result =
        search({"--cacert", files().path("ca.pem"), "--cert", files().path("client.pem"), "--key",
                files().path("client.key"), "-Y", "EXTERNAL"});
    EXPECT_EQ(result.status, 0) << result.err;
    const Result nobody = search({"--cacert", files().path("ca.pem"), "-Y", "EXTERNAL", "--json"});
    EXPECT_EQ(nobody.status, 1);
    EXPECT_EQ(nobody.error()["operation"], "bind");
}

TEST_F(TlsSlapd, StartTlsRefusesWhatLibldapCannotUse) {
    const Result der = search({"--cacert", files().path("ca.der"), "--json"});
    EXPECT_EQ(der.status, 2);
    EXPECT_THAT(der.error()["reason"].get<std::string>(), HasSubstr("has to be PEM"));
    const Result locked = search(
        {"--cacert", files().path("ca.pem"), "--cert", files().path("locked.pem"), "--json"});
    EXPECT_EQ(locked.status, 2);
    EXPECT_THAT(locked.error()["reason"].get<std::string>(), HasSubstr("cannot be encrypted"));
}

TEST_F(TlsSlapd, ItsPlainPortIsNoLdapsPort) {
    const std::string uri = "ldaps" + server->uri().substr(4);
    const Result result = runTls({"whoami", "-H", uri, "--timeout", "10", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.error()["hint"].get<std::string>(), HasSubstr("-H ldap://HOST:PORT"));
}

} // namespace
} // namespace test
