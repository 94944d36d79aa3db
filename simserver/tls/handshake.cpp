#include "tls/tls_stream.h"
#include "tls/words.h"

#include <fmt/format.h>

namespace stratasim::tls {
namespace {

// The header of a record of 122 bytes, and how a ServerHello of TLS 1.2 or 1.3 begins.
constexpr std::string_view kBegunServerHello("\x16\x03\x03\x00\x7a\x02\x00\x00\x76\x03\x03", 11);
constexpr std::string_view kGarbage = "This is no record of TLS, whatever it may be.\r\n";

} // namespace

void TlsStream::open(OnOpen onOpen) {
    if (fault_.handshake != Fault::Handshake::Kept)
        return spoilHandshake(onOpen);
    timer_.expires_after(fault_.delay);
    timer_.async_wait([this, onOpen](const asio::error_code &error) {
        if (error)
            return;
        limitHandshake(onOpen);
        handshake(onOpen);
    });
}

/** A client that takes its time has `handshakeTime_` of it. */
void TlsStream::limitHandshake(const OnOpen &onOpen) {
    timer_.expires_after(handshakeTime_);
    // With `onOpen` goes the session, and this stream with it.
    timer_.async_wait([this, onOpen](const asio::error_code &error) {
        if (error || problem_ || SSL_is_init_finished(ssl_.get()) != 0)
            return;
        fail(fmt::format("no handshake within {} s", handshakeTime_.count()));
        asio::error_code ignored;
        socket().cancel(ignored);
    });
}

void TlsStream::handshake(const OnOpen &onOpen) {
    const auto call = [](SSL *ssl, std::size_t &) { return SSL_do_handshake(ssl); };
    perform(call, [this, onOpen](const asio::error_code &error, std::size_t) {
        timer_.cancel();
        if (error)
            return onOpen({false, {}, "TLS: " + problem_.value_or(error.message())});
        const X509 *certificate = SSL_get0_peer_certificate(ssl_.get());
        Security security;
        if (certificate != nullptr)
            security.subject = subjectOf(certificate);
        onOpen({true, security, describe(ssl_.get(), security.subject)});
    });
}

std::string TlsStream::handshakeProblem() const {
    return problemOf(ssl_.get());
}

/** Waits for the client's first message, and then goes wrong. */
void TlsStream::spoilHandshake(const OnOpen &onOpen) {
    if (fault_.handshake == Fault::Handshake::Silent)
        return staySilent(onOpen);
    TcpStream::readSome(forgotten_, [this, onOpen](const asio::error_code &, std::size_t) {
        const bool garbage = fault_.handshake == Fault::Handshake::Garbage;
        TcpStream::tryWrite(garbage ? kGarbage : kBegunServerHello);
        fail("spoilt by a fault");
        onOpen({false, {}, "TLS: " + *problem_});
    });
}

void TlsStream::staySilent(const OnOpen &onOpen) {
    TcpStream::readSome(forgotten_, [this, onOpen](const asio::error_code &error, std::size_t) {
        if (!error)
            return staySilent(onOpen);
        fail("the client has given up waiting");
        onOpen({false, {}, "TLS: " + *problem_});
    });
}

} // namespace stratasim::tls
