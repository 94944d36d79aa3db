// socket_bio.h - a BIO on a socket of libldap's.
#pragma once

#include <openssl/ssl.h>

namespace qldapx {

// ssl reads and writes the socket without blocking, whatever the socket's own mode, which libldap
// changes as it goes, and without SIGPIPE. The socket stays its owner's. False: memory ran out.
[[nodiscard]] bool useSocket(SSL *ssl, int socket);

} // namespace qldapx
