// socket_bio.h - a BIO on a socket of libldap's.
#pragma once

#include "ssl/deadline.h"

#include <openssl/ssl.h>

namespace qldapx {

struct SocketUse {
    int socket;               // its owner's
    const Deadline *deadline; // after which nothing is read; NULL: there is none
};

// ssl reads and writes the socket without blocking, whatever the socket's own mode, which libldap
// changes as it goes, and without SIGPIPE. False: memory ran out.
[[nodiscard]] bool useSocket(SSL *ssl, SocketUse &use);

} // namespace qldapx
