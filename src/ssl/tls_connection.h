// tls_connection.h - TLS on one socket of libldap's.
#pragma once

#include "ssl/handles.h"
#include "ssl/socket_bio.h"

namespace qldapx {

struct TlsConnection {
    SSL *ssl;
    char *peer;    // host and port, which sessions are resumed for
    SocketUse use; // of libldap's, which closes it
    int patience;  // for a write, in milliseconds, or noLimit
};

void releaseTlsConnection(TlsConnection *connection);
using TlsConnectionPtr = std::unique_ptr<TlsConnection, Releaser<releaseTlsConnection>>;

// A connection to this host, whose handshake is to come. Takes ssl. NULL: memory ran out.
[[nodiscard]] TlsConnectionPtr newTlsConnection(SslPtr ssl, int socket, const char *host, int port,
                                                int patience);

// False with errno, and OpenSSL's errors in the queue. The handshake has a time of its own.
[[nodiscard]] bool handshake(TlsConnection &connection, OnSignal onSignal);

// The words for a handshake that failed with this errno.
void explainFailure(const TlsConnection &connection, int error, char *text, std::size_t size);

// Like read(2) on a socket that does not block; 0 after the server's close_notify.
[[nodiscard]] ssize_t receive(TlsConnection &connection, void *buffer, std::size_t size);

// All of it, or -1 with errno.
[[nodiscard]] ssize_t send(TlsConnection &connection, const void *data, std::size_t size);

// Sends close_notify, if that goes without waiting.
void sayGoodbye(TlsConnection &connection);

} // namespace qldapx
