// host_name.h - whose certificate a server must have.
#pragma once

#include <openssl/ssl.h>

namespace qldapx {

// The certificate must be this host's: a name, or an address as text. False: memory ran out.
[[nodiscard]] bool requireHost(X509_VERIFY_PARAM *parameters, const char *host);

[[nodiscard]] bool isAddress(const char *host);

// Connections of this context that name their server (RFC 6066, 3) require its name.
void checkHostNames(SSL_CTX *context);

} // namespace qldapx
