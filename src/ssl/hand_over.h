// hand_over.h - the context goes to libldap.
#pragma once

#include <openssl/ssl.h>

namespace qldapx {

// Sessions with an "ldaps" URL that connect from now on use the context, of which a reference is
// taken. g_Sync is held. False: memory ran out, and all is as it was.
[[nodiscard]] bool handOver(SSL_CTX *context);

} // namespace qldapx
