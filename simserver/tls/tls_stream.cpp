#include "tls/tls_stream.h"

#include "tls/words.h"

#include <fmt/format.h>
#include <openssl/err.h>

#include <utility>

namespace stratasim::tls {

TlsStream::TlsStream(asio::ip::tcp::socket socket, const Context &context, Fault fault)
    : TcpStream(std::move(socket)), ssl_(context.accept(this->socket().native_handle())),
      handshakeTime_(context.handshakeTime()), fault_(std::move(fault)),
      timer_(this->socket().get_executor()) {
    SSL_set_app_data(ssl_.get(), this);
    SSL_set_info_callback(ssl_.get(), onInfo);
}

/** Who asks for another handshake is told no, and might ask for ever: that is the end of it. */
void TlsStream::onInfo(const SSL *ssl, int where, int what) {
    if ((where & SSL_CB_WRITE_ALERT) == SSL_CB_WRITE_ALERT &&
        (what & 0xff) == SSL_AD_NO_RENEGOTIATION)
        static_cast<TlsStream *>(SSL_get_app_data(ssl))->fail("the client wants to renegotiate");
}

void TlsStream::fail(const std::string &problem) {
    if (!problem_)
        problem_ = problem;
}

/** Gives SSL_ERROR_NONE, what has to be waited for, or why there is nothing to wait for. */
int TlsStream::attempt(const Call &call, std::size_t &size) {
    if (problem_ || !socket().is_open())
        return SSL_ERROR_SYSCALL;
    ERR_clear_error();
    const int result = SSL_get_error(ssl_.get(), call(ssl_.get(), size));
    if (result == SSL_ERROR_SSL || result == SSL_ERROR_SYSCALL)
        fail(handshakeProblem());
    return problem_ ? SSL_ERROR_SYSCALL : result;
}

void TlsStream::wait(int wanted, std::function<void(const asio::error_code &)> then) {
    socket().async_wait(wanted == SSL_ERROR_WANT_WRITE ? asio::socket_base::wait_write
                                                       : asio::socket_base::wait_read,
                        std::move(then));
}

/** Calls again and again, whenever the socket is ready for it, until there is something to say. */
void TlsStream::perform(Call call, Handler handler) {
    std::size_t size = 0;
    const int result = attempt(call, size);
    if (result == SSL_ERROR_WANT_READ || result == SSL_ERROR_WANT_WRITE)
        return wait(result, [this, call = std::move(call),
                             handler = std::move(handler)](const asio::error_code &error) {
            error ? handler(error, 0) : perform(call, handler);
        });
    asio::error_code error;
    if (result != SSL_ERROR_NONE)
        error = result == SSL_ERROR_ZERO_RETURN ? asio::error_code(asio::error::eof)
                                                : asio::error_code(asio::error::connection_aborted);
    asio::post(socket().get_executor(),
               [handler = std::move(handler), error, size] { handler(error, size); });
}

void TlsStream::readSome(std::span<char> buffer, Handler handler) {
    if (goodbyeDue_ && !sayGoodbye())
        return wait(SSL_ERROR_WANT_WRITE,
                    [this, buffer, handler = std::move(handler)](const asio::error_code &error) {
                        error ? handler(error, 0) : readSome(buffer, handler);
                    });
    if (problem_)
        return TcpStream::readSome(buffer, std::move(handler)); // to be forgotten, whatever it is
    perform(
        [buffer](SSL *ssl, std::size_t &size) {
            return SSL_read_ex(ssl, buffer.data(), buffer.size(), &size);
        },
        std::move(handler));
}

std::size_t TlsStream::tryWrite(std::string_view data) {
    std::size_t sent = 0;
    while (sent < data.size()) {
        const auto rest = data.substr(sent);
        std::size_t size = 0;
        const auto call = [rest](SSL *ssl, std::size_t &written) {
            return SSL_write_ex(ssl, rest.data(), rest.size(), &written);
        };
        if (attempt(call, size) != SSL_ERROR_NONE)
            break;
        sent += size;
    }
    return sent;
}

void TlsStream::write(std::string_view data, Handler handler) {
    perform(
        [data](SSL *ssl, std::size_t &size) {
            return SSL_write_ex(ssl, data.data(), data.size(), &size);
        },
        [this, data, handler = std::move(handler)](const asio::error_code &error,
                                                   std::size_t size) {
            if (error || size == data.size())
                handler(error, size);
            else
                write(data.substr(size), handler);
        });
}

/** Says close_notify and that nothing follows; false when it has to wait for room. */
bool TlsStream::sayGoodbye() {
    std::size_t none = 0;
    const auto call = [](SSL *ssl, std::size_t &) { return SSL_shutdown(ssl) < 0 ? -1 : 1; };
    const int result = attempt(call, none);
    goodbyeDue_ = result == SSL_ERROR_WANT_WRITE;
    if (!goodbyeDue_)
        TcpStream::finishSending();
    return !goodbyeDue_;
}

void TlsStream::finishSending() {
    sayGoodbye();
}

void TlsStream::cutSending() {
    TcpStream::finishSending();
}

void TlsStream::close() {
    timer_.cancel();
    std::size_t none = 0;
    if (SSL_is_init_finished(ssl_.get()) != 0)
        attempt([](SSL *ssl, std::size_t &) { return SSL_shutdown(ssl) < 0 ? -1 : 1; }, none);
    TcpStream::close();
}

} // namespace stratasim::tls
