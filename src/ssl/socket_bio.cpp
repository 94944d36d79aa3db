#include "ssl/socket_bio.h"

#include "ssl/handles.h"

#include <sys/socket.h>

namespace qldapx {
namespace {

const SocketUse &useOf(BIO *bio) {
    return *static_cast<const SocketUse *>(BIO_get_data(bio));
}

// There are messages that OpenSSL skips as fast as a server sends them: it must come back to see
// the time.
int readSocket(BIO *bio, char *buffer, int size) {
    const SocketUse &use = useOf(bio);
    BIO_clear_retry_flags(bio);
    if (use.deadline != nullptr && use.deadline->left() == 0) {
        BIO_set_retry_read(bio);
        return -1;
    }
    const ssize_t count = ::recv(use.socket, buffer, static_cast<std::size_t>(size), MSG_DONTWAIT);
    if (count < 0 && BIO_sock_should_retry(-1) != 0)
        BIO_set_retry_read(bio);
    if (count == 0)
        BIO_set_flags(bio, BIO_FLAGS_IN_EOF);
    return static_cast<int>(count);
}

int writeSocket(BIO *bio, const char *data, int size) {
    BIO_clear_retry_flags(bio);
    const ssize_t count = ::send(useOf(bio).socket, data, static_cast<std::size_t>(size),
                                 MSG_DONTWAIT | MSG_NOSIGNAL);
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

// One for the process; where there was no memory for it, the next connection tries again.
const BIO_METHOD *socketMethod() {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static BIO_METHOD *method = nullptr;
    const Lock lock(mutex);
    if (method == nullptr)
        method = newMethod();
    return method;
}

} // namespace

bool useSocket(SSL *ssl, SocketUse &use) {
    const BIO_METHOD *method = socketMethod();
    BIO *bio = method != nullptr ? BIO_new(method) : nullptr;
    if (bio == nullptr)
        return false;
    BIO_set_data(bio, &use);
    BIO_set_init(bio, 1);
    SSL_set_bio(ssl, bio, bio);
    return true;
}

} // namespace qldapx
