#pragma once

#include "tls/openssl.h"

#include <optional>
#include <string>

namespace stratasim::tls {

/** The subject of a certificate as RFC 4514 writes it; empty when it cannot be written so. */
std::string subjectOf(const X509 *certificate);

/** Version, cipher, session and client of a connection whose handshake is done. */
std::string describe(SSL *ssl, const std::optional<std::string> &subject);

/** Why OpenSSL's last call for that connection has failed; OpenSSL forgets it. */
std::string problemOf(SSL *ssl);

} // namespace stratasim::tls
