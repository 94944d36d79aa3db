#include "tls/client.h"

#include "errors.h"
#include "text.h"
#include "tls/file.h"
#include "tls/handshake_words.h"
#include "tls/identity.h"
#include "tls/observer.h"
#include "tls/trust.h"
#include "tls/watchdog.h"

#include <fmt/format.h>
#include <mutex>
#include <new>
#include <pthread.h>
#include <qldapx.h>

namespace qldapx {
namespace {

/** Holds the lock that guards the context. */
class ContextLock {
  public:
    ContextLock() { pthread_mutex_lock(&g_Sync); }
    ~ContextLock() { pthread_mutex_unlock(&g_Sync); }
    ContextLock(const ContextLock &) = delete;
    ContextLock &operator=(const ContextLock &) = delete;
};

// What was read was in order: what fails now is OpenSSL itself.
void require(int result, const char *what) {
    if (result == 0)
        return;
    Problem problem;
    problem.operation = "connect";
    problem.reason = fmt::format("OpenSSL fails: {}", what);
    problem.hint = "check openssl.cnf, and whether there is memory left";
    throw Failure(std::move(problem));
}

berval asBytes(Secret &secret) {
    return {secret.size(), secret.data()};
}

void setIdentity(const TlsOptions &options, bool json) {
    ClientIdentity identity = readIdentity(options, json);
    unsigned char *encoded = nullptr;
    const int size = i2d_X509(identity.certificates.front().get(), &encoded);
    berval certificate = {static_cast<ber_len_t>(size), reinterpret_cast<char *>(encoded)};
    const int result = ldapssl_set_client_cert(&certificate, QLDAPX_TLS_BUFFER_DER, nullptr);
    OPENSSL_free(encoded);
    require(result, "it does not take the client's certificate");
    berval key = asBytes(identity.keyPem);
    const char *password = identity.password.empty() ? nullptr : identity.password.data();
    require(ldapssl_set_client_private_key(&key, QLDAPX_TLS_BUFFER_PEM, password),
            "it does not take the client's key");
    const ContextLock lock;
    for (std::size_t i = 1; i < identity.certificates.size(); ++i)
        SSL_CTX_add1_chain_cert(g_CryptCtx, identity.certificates[i].get());
}

void setTrust(const TlsOptions &options) {
    if (!options.verifies()) {
        require(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_NONE), "no mode of verification");
        return;
    }
    const Trust trust(options);
    if (trust.isEmpty())
        throw UsageError(
            fmt::format("there is nobody to trust: the system has neither {} nor certificates in "
                        "{}",
                        printable(systemTrustFile()), printable(systemTrustFolder())),
            "--cacert FILE with the CA's certificate, or install ca-certificates");
    require(ldapssl_set_verify_callback(refuseFault), "no verification");
    const ContextLock lock;
    trust.addTo(SSL_CTX_get_cert_store(g_CryptCtx));
}

/** The host of a URL, as the server's certificate should have it. */
std::string hostOf(const std::string &uri) {
    LDAPURLDesc *url = nullptr;
    if (ldap_url_parse(uri.c_str(), &url) != LDAP_URL_SUCCESS)
        return uri;
    const std::string host = url->lud_host == nullptr ? "" : url->lud_host;
    ldap_free_urldesc(url);
    return host;
}

constexpr const char *localToLibldap = "localhost, which libldap takes for this machine's own name";

// libldap's own check, which no callback is asked about.
std::optional<CertificateFault> wrongName(const std::string &diagnostic) {
    const auto &accepted = observation().accepted;
    if (!accepted || diagnostic.find("hostname does not match") == std::string::npos)
        return std::nullopt;
    return CertificateFault{X509_V_ERR_HOSTNAME_MISMATCH, *accepted};
}

} // namespace

void prepareTls(TlsOptions &options, bool json) {
    if (options.contextIsReady)
        return;
    warnUnverified(options, json);
    require(ldapssl_client_init(nullptr), "there is no context");
    setTrust(options);
    if (options.hasIdentity())
        setIdentity(options, json);
    const ContextLock lock;
    observe(g_CryptCtx);
    options.contextIsReady = true;
}

void forgetHandshake() {
    observation() = {};
}

std::optional<Words> explainTls(const TlsFailure &failure) {
    const Observation &seen = observation();
    const std::string host = hostOf(failure.uri);
    if (seen.fault)
        return faultWords(*seen.fault, host);
    if (const auto fault = wrongName(failure.diagnostic))
        return faultWords(*fault, host == "localhost" ? localToLibldap : host);
    const bool timedOut = Watchdog::hasBitten() ||
                          failure.diagnostic.find("handshake timed out") != std::string::npos;
    return explainHandshake({printable(failure.uri), seen.alert, failure.diagnostic, timedOut,
                             failure.timeout, failure.hasIdentity,
                             !seen.reached || !failure.ended ? Reached::Nothing
                             : seen.accepted                 ? Reached::Encryption
                                                             : Reached::Server});
}

} // namespace qldapx
