// resumption.h - TLS sessions are taken up again (RFC 8446, 2.2; RFC 5077), which saves the server
// a signature and both sides the certificates.
#pragma once

#include <openssl/ssl.h>

namespace qldapx {

// From now on connections of the context leave sessions behind that others can take up.
void allowResumption(SSL_CTX *context);

// Takes one up that was left by a connection with this peer, and says whose this connection is.
// The text lives as long as ssl.
void resume(SSL *ssl, const char *peer);

} // namespace qldapx
