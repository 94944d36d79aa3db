// carrier.h - TLS for a libldap that does not speak it with OpenSSL.
#pragma once

#include <openssl/ssl.h>

namespace qldapx {

// Connections of the process to "ldaps" URLs get their TLS here, on this context, of which a
// reference is taken. g_Sync is held. False: memory ran out, and all is as it was.
[[nodiscard]] bool carry(SSL_CTX *context);

} // namespace qldapx
