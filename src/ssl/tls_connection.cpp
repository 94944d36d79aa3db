#include "ssl/tls_connection.h"

#include "ssl/host_name.h"
#include "ssl/resumption.h"

#include <cstdio>
#include <cstring>
#include <openssl/err.h>

namespace qldapx {
namespace {

// An errno for what OpenSSL calls a failure; of a failed system call it stays.
int errnoOf(int sslError) {
    switch (sslError) {
    case SSL_ERROR_WANT_READ:
    case SSL_ERROR_WANT_WRITE:
        return EWOULDBLOCK;
    case SSL_ERROR_SYSCALL:
        return errno != 0 ? errno : ECONNRESET;
    default:
        return ECONNABORTED;
    }
}

// Waits for what OpenSSL waits for; false with errno when it failed for another reason.
bool waitAfter(const TlsConnection &connection, int result, const Deadline &deadline,
               OnSignal onSignal) {
    const int error = SSL_get_error(connection.ssl, result);
    if (error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE) {
        errno = errnoOf(error);
        return false;
    }
    const short events = error == SSL_ERROR_WANT_READ ? POLLIN : POLLOUT;
    return waitFor(connection.use.socket, events, deadline, onSignal);
}

// OpenSSL judges a call by this thread's queue of errors, which must hold none of others.
void beginCall() {
    ERR_clear_error();
    errno = 0;
}

char *newPeer(const char *host, int port) {
    char *peer = nullptr;
    return asprintf(&peer, "%s:%d", host, port) >= 0 ? peer : nullptr;
}

bool setUp(TlsConnection &connection, const char *host, int port) {
    connection.peer = newPeer(host, port);
    if (connection.peer == nullptr || !useSocket(connection.ssl, connection.use))
        return false;
    if (!isAddress(host) && SSL_set_tlsext_host_name(connection.ssl, host) != 1)
        return false;
    return requireHost(SSL_get0_param(connection.ssl), host);
}

bool connect(const TlsConnection &connection, const Deadline &deadline, OnSignal onSignal) {
    for (;;) {
        beginCall();
        const int result = SSL_connect(connection.ssl);
        if (result == 1)
            return true;
        if (!waitAfter(connection, result, deadline, onSignal))
            return false;
    }
}

} // namespace

void releaseTlsConnection(TlsConnection *connection) {
    SSL_free(connection->ssl);
    std::free(connection->peer);
    std::free(connection);
}

TlsConnectionPtr newTlsConnection(SslPtr ssl, int socket, const char *host, int port,
                                  int patience) {
    TlsConnectionPtr connection(
        static_cast<TlsConnection *>(std::calloc(1, sizeof(TlsConnection))));
    if (!ssl || !connection)
        return nullptr;
    connection->ssl = ssl.release();
    connection->use.socket = socket;
    connection->patience = patience;
    // No server may ask for another handshake later, in the middle of a write.
    SSL_set_options(connection->ssl, SSL_OP_NO_RENEGOTIATION);
    // A read comes back after each message that is not data, so that libldap sees the time.
    SSL_clear_mode(connection->ssl, SSL_MODE_AUTO_RETRY);
    if (!setUp(*connection, host, port))
        return nullptr;
    resume(connection->ssl, connection->peer);
    return connection;
}

bool handshake(TlsConnection &connection, OnSignal onSignal) {
    const Deadline deadline(connection.patience);
    connection.use.deadline = &deadline;
    const bool isDone = connect(connection, deadline, onSignal);
    connection.use.deadline = nullptr;
    return isDone;
}

// In libldap's words where it carries TLS with OpenSSL itself, so that programs find the same.
void explainFailure(const TlsConnection &connection, int error, char *text, std::size_t size) {
    const unsigned long reason = ERR_peek_error();
    if (error == ETIMEDOUT) {
        std::snprintf(text, size, "TLS handshake timed out");
        return;
    }
    if (reason == 0) {
        std::snprintf(text, size, "TLS handshake: %s", std::strerror(error));
        return;
    }
    char words[256];
    ERR_error_string_n(reason, words, sizeof words);
    const bool isVerification = ERR_GET_LIB(reason) == ERR_LIB_SSL &&
                                ERR_GET_REASON(reason) == SSL_R_CERTIFICATE_VERIFY_FAILED;
    const long fault = SSL_get_verify_result(connection.ssl);
    if (isVerification)
        std::snprintf(text, size, "%s (%s)", words, X509_verify_cert_error_string(fault));
    else
        std::snprintf(text, size, "%s", words);
}

ssize_t receive(TlsConnection &connection, void *buffer, std::size_t size) {
    beginCall();
    std::size_t count = 0;
    const int result = SSL_read_ex(connection.ssl, buffer, size, &count);
    if (result == 1)
        return static_cast<ssize_t>(count);
    const int error = SSL_get_error(connection.ssl, result);
    errno = error == SSL_ERROR_ZERO_RETURN ? 0 : errnoOf(error);
    return error == SSL_ERROR_ZERO_RETURN ? 0 : -1;
}

// The patience is for a server that takes nothing at all.
ssize_t send(TlsConnection &connection, const void *data, std::size_t size) {
    for (;;) {
        beginCall();
        std::size_t count = 0;
        const int result = SSL_write_ex(connection.ssl, data, size, &count);
        if (result == 1)
            return static_cast<ssize_t>(count);
        if (!waitAfter(connection, result, Deadline(connection.patience), OnSignal::goOn))
            return -1;
    }
}

void sayGoodbye(TlsConnection &connection) {
    beginCall();
    SSL_shutdown(connection.ssl);
    ERR_clear_error();
}

} // namespace qldapx
