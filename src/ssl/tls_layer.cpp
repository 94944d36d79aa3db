#include "ssl/tls_layer.h"

namespace qldapx {
namespace {

TlsConnection &connectionOf(Sockbuf_IO_Desc *layer) {
    return *static_cast<TlsConnection *>(layer->sbiod_pvt);
}

int setUp(Sockbuf_IO_Desc *layer, void *connection) {
    layer->sbiod_pvt = connection;
    return 0;
}

int remove(Sockbuf_IO_Desc *layer) {
    releaseTlsConnection(&connectionOf(layer));
    return 0;
}

// Bytes that OpenSSL has read already are not seen by a poll of the socket. There is no answer to
// LBER_SB_OPT_GET_SSL: libldap would take it for an object of its own TLS library.
int control(Sockbuf_IO_Desc *layer, int option, void *argument) {
    if (option == LBER_SB_OPT_DATA_READY && SSL_pending(connectionOf(layer).ssl) > 0)
        return 1;
    return LBER_SBIOD_CTRL_NEXT(layer, option, argument);
}

ber_slen_t read(Sockbuf_IO_Desc *layer, void *buffer, ber_len_t size) {
    return receive(connectionOf(layer), buffer, size);
}

ber_slen_t write(Sockbuf_IO_Desc *layer, void *data, ber_len_t size) {
    return send(connectionOf(layer), data, size);
}

// libldap puts its own layer below once a connection stands. Where there is none, an application's
// callback has refused it, and the socket is closed already: its number may be another file's.
int close(Sockbuf_IO_Desc *layer) {
    if (layer->sbiod_next != nullptr)
        sayGoodbye(connectionOf(layer));
    return 0;
}

Sockbuf_IO tls = {setUp, remove, control, read, write, close};

} // namespace

bool pushTls(Sockbuf *sockbuf, TlsConnectionPtr connection) {
    if (ber_sockbuf_add_io(sockbuf, &tls, LBER_SBIOD_LEVEL_TRANSPORT, connection.get()) != 0)
        return false;
    static_cast<void>(connection.release()); // the layer's
    return true;
}

void removeTls(Sockbuf *sockbuf) {
    while (ber_sockbuf_ctrl(sockbuf, LBER_SB_OPT_HAS_IO, &tls) == 1)
        ber_sockbuf_remove_io(sockbuf, &tls, LBER_SBIOD_LEVEL_TRANSPORT);
}

// A socket buffer without any layer takes no such question.
bool hasOtherTls(Sockbuf *sockbuf) {
    void *session = nullptr;
    return ber_sockbuf_ctrl(sockbuf, LBER_SB_OPT_HAS_IO, &ber_sockbuf_io_tcp) == 1 &&
           ber_sockbuf_ctrl(sockbuf, LBER_SB_OPT_GET_SSL, &session) == 1;
}

} // namespace qldapx
