// tls_layer.h - TLS between libldap and its socket.
#pragma once

#include "ssl/tls_connection.h"

namespace qldapx {

// False: memory ran out.
[[nodiscard]] bool pushTls(Sockbuf *sockbuf, TlsConnectionPtr connection);

// Ends what pushTls put there, without a word to the other side.
void removeTls(Sockbuf *sockbuf);

// Whether libldap has put its own TLS there.
[[nodiscard]] bool hasOtherTls(Sockbuf *sockbuf);

} // namespace qldapx
