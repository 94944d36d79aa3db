// host_name.h - whose certificate a server must have.
#pragma once

#include <openssl/ssl.h>

namespace qldapx {

// The certificate must be this host's: a name, or an address as text. False: memory ran out.
[[nodiscard]] bool requireHost(X509_VERIFY_PARAM *parameters, const char *host);

[[nodiscard]] bool isAddress(const char *host);

// Connections of this context that name their server (RFC 6066, 3) require its name, and one that
// does not, the address that was expected last in its thread.
void checkHostNames(SSL_CTX *context);

// The next handshake of this thread is with this address; NULL or another text: with none that is
// known.
void expectAddress(const char *host);

} // namespace qldapx
