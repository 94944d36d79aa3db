#include "tls/context.h"
#include "tls_client.h"
#include "tls_server.h"

#include <gtest/gtest.h>

namespace {

/** What the openssl command sees of a server, and thinks of its certificate. */
std::string look(const std::string &address, const std::string &ca,
                 const std::string &name = "localhost") {
    return runCommand({"openssl", "s_client", "-connect", address, "-CAfile", ca,
                       "-verify_hostname", name, "-verify_return_error", "-showcerts"})
        .output;
}

/** The first certificate of a text, as the openssl command prints it. */
std::string print(const std::string &pem, std::vector<std::string> what) {
    what.insert(what.begin(), {"openssl", "x509", "-noout"});
    return runCommand(what, pem).output;
}

/** Has the openssl command make a key and a certificate, which its own key signs or another. */
void makeCertificate(const std::string &path, const std::string &subject,
                     const std::vector<std::string> &more = {}) {
    std::vector<std::string> all = {"openssl", "req",      "-x509",
                                    "-newkey", "ec",       "-days",
                                    "2",       "-pkeyopt", "ec_paramgen_curve:P-256",
                                    "-nodes",  "-keyout",  path + ".key",
                                    "-out",    path,       "-subj",
                                    subject};
    all.insert(all.end(), more.begin(), more.end());
    const auto made = runCommand(all);
    ASSERT_EQ(made.code, 0) << made.output;
}

/** A certificate and its key in two files. */
struct MadeCertificate {
    explicit MadeCertificate(const std::string &name, const std::string &subject = "/CN=made",
                             const std::vector<std::string> &more = {})
        : certificate(name), key(name + ".key") {
        makeCertificate(certificate.path(), subject, more);
    }
    TestFile certificate;
    TestFile key;
};

TEST(TlsCertificate, AutoIsTrustedByItsCa) {
    const TlsServer server;
    const std::string seen = look(server.openssl(), server.ca());
    EXPECT_TRUE(contains(seen, "Verify return code: 0 (ok)")) << seen;
    EXPECT_TRUE(contains(seen, "Verification: OK")) << seen;
    const std::string names = print(seen, {"-ext", "subjectAltName"});
    char machine[256];
    ASSERT_EQ(gethostname(machine, sizeof machine), 0);
    for (const std::string &name :
         {std::string("DNS:localhost"), "DNS:" + std::string(machine),
          std::string("IP Address:127.0.0.1"), std::string("IP Address:0:0:0:0:0:0:0:1")})
        EXPECT_TRUE(contains(names, name)) << names;
    const std::string text = print(seen, {"-text"});
    for (const char *part : {"CA:FALSE", "Digital Signature", "TLS Web Server Authentication",
                             "NIST CURVE: P-256", "X509v3 Authority Key Identifier"})
        EXPECT_TRUE(contains(text, part)) << part << text;
    EXPECT_FALSE(contains(seen, "Acceptable client certificate CA names"));
}

TEST(TlsCertificate, AutoHasTheAddressThatItListensAt) {
    const std::pair<const char *, const char *> cases[] = {
        {"192.0.2.7", "IP Address:192.0.2.7"},
        {"2001:db8::7", "IP Address:2001:DB8:0:0:0:0:0:7"},
        {"strata.example.net", "DNS:strata.example.net"},
    };
    for (const auto &[host, name] : cases) {
        stratasim::tls::Settings settings;
        settings.certificate = stratasim::tls::kAuto;
        const stratasim::tls::Context context(settings, host);
        const auto ssl = context.accept(STDIN_FILENO); // which nobody reads
        const std::string pem = stratasim::tls::pemOf(SSL_get_certificate(ssl.get()));
        const std::string names = print(pem, {"-ext", "subjectAltName"});
        EXPECT_TRUE(contains(names, name)) << names;
        EXPECT_TRUE(contains(names, "DNS:localhost")) << names;
    }
}

TEST(TlsCertificate, TheCaIsOfThisRunAlone) {
    const TlsServer server;
    const std::string text = print(contentOf(server.ca()), {"-text"});
    for (const char *part : {"CA:TRUE", "Certificate Sign, CRL Sign", "Subject: CN = strata-sim CA",
                             "NIST CURVE: P-256"})
        EXPECT_TRUE(contains(text, part)) << part << text;
    const TestFile other("other-ca.pem");
    const SimProgram second({"--tls", "auto", "--tls-ca-file", other.path()});
    EXPECT_FALSE(contains(look(server.openssl(), other.path()), "Verify return code: 0 (ok)"));
    EXPECT_FALSE(contains(other.read(), "PRIVATE KEY"));
}

TEST(TlsCertificate, FlawsAreThoseAskedFor) {
    const std::pair<const char *, const char *> cases[] = {
        {"expired", "verify error:num=10:certificate has expired"},
        {"not-yet-valid", "verify error:num=9:certificate is not yet valid"},
        {"wrong-name", "verify error:num=62:hostname mismatch"},
        {"self-signed", "verify error:num=18:self-signed certificate"},
    };
    for (const auto &[flaw, problem] : cases) {
        const TlsServer server({"--tls-auto-cert", flaw});
        const std::string seen = look(server.openssl(), server.ca());
        EXPECT_TRUE(contains(seen, problem)) << seen;
        EXPECT_EQ(contains(look(server.openssl(), server.ca(), "elsewhere.example.com"),
                           "Verify return code: 0 (ok)"),
                  std::string(flaw) == "wrong-name");
        // And nothing but that is wrong.
        EXPECT_EQ(TlsClient(server.port()).ask(kAnonymousBind), kBoundAnonymously);
    }
}

TEST(TlsCertificate, OfFilesWithItsChain) {
    const MadeCertificate root("root.pem", "/CN=root");
    const MadeCertificate middle("middle.pem", "/CN=middle",
                                 {"-CA", root.certificate.path(), "-CAkey", root.key.path()});
    const MadeCertificate leaf("leaf.pem", "/CN=leaf",
                               {"-CA", middle.certificate.path(), "-CAkey", middle.key.path(),
                                "-addext", "subjectAltName=DNS:localhost"});
    const std::string chain = leaf.certificate.read() + middle.certificate.read();
    const TestFile apart("chain.pem", chain);
    const TestFile together("all.pem", chain + leaf.key.read());
    for (const std::vector<std::string> &arguments :
         {std::vector<std::string>{"--tls", apart.path(), "--tls-key", leaf.key.path()},
          std::vector<std::string>{"--tls", together.path()}}) {
        const SimProgram server(arguments);
        const std::string seen =
            look("127.0.0.1:" + std::to_string(server.port()), root.certificate.path());
        EXPECT_TRUE(contains(seen, "Verify return code: 0 (ok)")) << seen;
        TlsClient client(server.port(), {.ca = root.certificate.path()});
        EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously) << client.problem();
    }
}

TEST(TlsCertificate, FilesThatCannotBeUsedAreExplained) {
    const MadeCertificate made("made.pem");
    const MadeCertificate other("another.pem");
    const TestFile empty("empty.pem", "");
    const TestFile broken("broken.pem", "-----BEGIN CERTIFICATE-----\nAAAA\n"
                                        "-----END CERTIFICATE-----\n");
    const TestFile locked("locked.key");
    EXPECT_EQ(runCommand({"openssl", "pkey", "-in", made.key.path(), "-aes256", "-passout",
                          "pass:x", "-out", locked.path()})
                  .code,
              0);
    const std::string &own = made.certificate.path();
    struct Case {
        std::vector<std::string> arguments;
        std::string names;
        const char *wayOut;
    };
    const Case cases[] = {
        {{"--tls", "/no/such.pem"}, "cannot read /no/such.pem: No such file", "see --tls"},
        {{"--tls", empty.path()}, empty.path() + " holds no certificate", "--tls auto"},
        {{"--tls", broken.path()}, broken.path() + " holds no certificate", "--tls auto"},
        {{"--tls", TEST_DIR}, "holds no certificate", "--tls auto"},
        {{"--tls", own}, own + " holds no private key", "with --tls-key"},
        {{"--tls", own, "--tls-key", "/no/key"}, "cannot read /no/key: No such", "see --tls-key"},
        {{"--tls", own, "--tls-key", empty.path()},
         empty.path() + " holds no private",
         "--tls-key"},
        {{"--tls", own, "--tls-key", other.key.path()},
         other.key.path() + " is not that",
         "--tls-key"},
        {{"--tls", own, "--tls-key", locked.path()},
         locked.path() + " has a password",
         "openssl pkey"},
        {{"--tls", "auto", "--tls-client-ca", "/no/ca"}, "cannot read /no/ca", "--tls-client-ca"},
        {{"--tls", "auto", "--tls-client-ca", empty.path()}, empty.path(), "--tls-client-ca"},
        {{"--tls", "auto", "--tls-ca-file", "/no/dir/ca"},
         "cannot write /no/dir/ca",
         "No such file"},
        {{"--tls", "auto", "--tls-client-file", "/no/dir/c"}, "cannot write /no/dir/c", "No such"},
    };
    for (const Case &c : cases) {
        const auto result = startFails(c.arguments);
        EXPECT_EQ(result.code, 1) << c.names;
        EXPECT_TRUE(contains(result.output, c.names)) << result.output;
        EXPECT_TRUE(contains(result.output, c.wayOut)) << result.output;
    }
}

TEST(TlsCertificate, FilesOfARunningServerStayWhenAnotherCannotListen) {
    TlsServer server;
    const auto again = runCommand({STRATA_SIM, "--tls", "auto", "--tls-ca-file", server.ca(),
                                   "--listen", server.program().uri().substr(8)});
    EXPECT_EQ(again.code, 1);
    EXPECT_TRUE(contains(again.output, "Address already in use")) << again.output;
    EXPECT_TRUE(contains(look(server.openssl(), server.ca()), "Verify return code: 0 (ok)"));
}

} // namespace
