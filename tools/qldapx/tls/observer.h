#pragma once

#include "tls/fault_words.h"

#include <functional>
#include <openssl/ssl.h>
#include <optional>

namespace qldapx {

/** What OpenSSL tells of the handshakes of this process: one at a time. */
struct Observation {
    std::optional<CertificateFault> fault;    // that the server was refused for
    std::optional<CertificateFacts> accepted; // the server's certificate, which was fine
    std::optional<int> alert;                 // that the server sent
    bool reached = false;                     // a server of an ldaps URL
};

Observation &observation();

/** Lets the context tell. What a verification callback is asked about is refused, and noted. */
void observe(SSL_CTX *context);
int refuseFault(X509_STORE_CTX *context);

} // namespace qldapx
