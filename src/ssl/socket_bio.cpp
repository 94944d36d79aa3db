#include "ssl/socket_bio.h"

#include <openssl/bio.h>
#include <pthread.h>
#include <sys/socket.h>

namespace qldapx {
namespace {

int socketOf(BIO *bio) {
    return static_cast<int>(reinterpret_cast<intptr_t>(BIO_get_data(bio)));
}

int readSocket(BIO *bio, char *buffer, int size) {
    BIO_clear_retry_flags(bio);
    const ssize_t count = recv(socketOf(bio), buffer, static_cast<std::size_t>(size), MSG_DONTWAIT);
    if (count < 0 && BIO_sock_should_retry(-1) != 0)
        BIO_set_retry_read(bio);
    if (count == 0)
        BIO_set_flags(bio, BIO_FLAGS_IN_EOF);
    return static_cast<int>(count);
}

int writeSocket(BIO *bio, const char *data, int size) {
    BIO_clear_retry_flags(bio);
    const ssize_t count =
        send(socketOf(bio), data, static_cast<std::size_t>(size), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count < 0 && BIO_sock_should_retry(-1) != 0)
        BIO_set_retry_write(bio);
    return static_cast<int>(count);
}

long controlSocket(BIO *bio, int command, long /*number*/, void * /*argument*/) {
    switch (command) {
    case BIO_CTRL_FLUSH:
        return 1;
    case BIO_CTRL_EOF:
        return BIO_test_flags(bio, BIO_FLAGS_IN_EOF) != 0 ? 1 : 0;
    default:
        return 0;
    }
}

BIO_METHOD *newMethod() {
    BIO_METHOD *method =
        BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "socket of libldap");
    if (method == nullptr)
        return nullptr;
    BIO_meth_set_read(method, readSocket);
    BIO_meth_set_write(method, writeSocket);
    BIO_meth_set_ctrl(method, controlSocket);
    return method;
}

// One for the process.
const BIO_METHOD *socketMethod() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    static BIO_METHOD *method = nullptr;
    pthread_once(&once, [] { method = newMethod(); });
    return method;
}

} // namespace

bool useSocket(SSL *ssl, int socket) {
    const BIO_METHOD *method = socketMethod();
    BIO *bio = method != nullptr ? BIO_new(method) : nullptr;
    if (bio == nullptr)
        return false;
    BIO_set_data(bio, reinterpret_cast<void *>(static_cast<intptr_t>(socket)));
    BIO_set_init(bio, 1);
    SSL_set_bio(ssl, bio, bio);
    return true;
}

} // namespace qldapx
