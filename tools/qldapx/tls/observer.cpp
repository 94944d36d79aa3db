#include "tls/observer.h"

#include "tls/watchdog.h"

namespace qldapx {
namespace {

void noteAccepted(const SSL *ssl) {
    X509 *certificate = SSL_get0_peer_certificate(ssl);
    if (certificate != nullptr)
        observation().accepted = factsOf(certificate);
}

void note(const SSL *ssl, int where, int value) {
    constexpr int fatal = SSL3_AL_FATAL << 8;
    if ((where & SSL_CB_READ_ALERT) == SSL_CB_READ_ALERT && (value & 0xff00) == fatal)
        observation().alert = value & 0xff;
    if ((where & SSL_CB_HANDSHAKE_DONE) == 0)
        return;
    Watchdog::rest();
    noteAccepted(ssl);
}

} // namespace

Observation &observation() {
    static Observation last;
    return last;
}

void observe(SSL_CTX *context) {
    SSL_CTX_set_info_callback(context, note);
}

int refuseFault(X509_STORE_CTX *context) {
    X509 *certificate = X509_STORE_CTX_get_current_cert(context);
    CertificateFault fault = {X509_STORE_CTX_get_error(context), {}};
    if (certificate != nullptr)
        fault.facts = factsOf(certificate);
    observation().fault = std::move(fault);
    return 1;
}

} // namespace qldapx
