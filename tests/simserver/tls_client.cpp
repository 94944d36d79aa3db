#include "tls_client.h"

#include "wire.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

int connectTo(int port) {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    const timeval most{20, 0};
    EXPECT_EQ(setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &most, sizeof most), 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    return client;
}

void configure(SSL_CTX *context, const TlsClient::Settings &settings) {
    SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF); // which would end with it
    if (!settings.tickets)
        SSL_CTX_set_options(context, SSL_OP_NO_TICKET);
    if (settings.version != 0) {
        SSL_CTX_set_min_proto_version(context, settings.version);
        SSL_CTX_set_max_proto_version(context, settings.version);
    }
    if (settings.version == TLS1_1_VERSION)
        SSL_CTX_set_security_level(context, 0); // or the client would not even try
    if (!settings.ca.empty()) {
        EXPECT_EQ(SSL_CTX_load_verify_file(context, settings.ca.c_str()), 1);
        SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    }
    const char *identity = settings.identity.c_str();
    if (*identity == '\0')
        return;
    EXPECT_EQ(SSL_CTX_use_certificate_chain_file(context, identity), 1);
    EXPECT_EQ(SSL_CTX_use_PrivateKey_file(context, identity, SSL_FILETYPE_PEM), 1);
}

} // namespace

std::string clientHello() {
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
        SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    const std::unique_ptr<SSL, decltype(&SSL_free)> ssl(SSL_new(context.get()), SSL_free);
    BIO *out = BIO_new(BIO_s_mem());
    SSL_set_bio(ssl.get(), BIO_new(BIO_s_mem()), out);
    SSL_connect(ssl.get());
    char *data = nullptr;
    const long size = BIO_get_mem_data(out, &data);
    return {data, static_cast<std::size_t>(size)};
}

TlsClient::TlsClient(int port, const Settings &settings)
    : context_(SSL_CTX_new(TLS_client_method()), SSL_CTX_free), socket_(connectTo(port)) {
    signal(SIGPIPE, SIG_IGN); // libssl writes to sockets that the other side has closed
    configure(context_.get(), settings);
    ssl_.reset(SSL_new(context_.get()));
    SSL_set_fd(ssl_.get(), socket_);
    SSL_set1_host(ssl_.get(), settings.host.c_str());
    SSL_set_session(ssl_.get(), settings.session.get());
    connected_ = succeeded(SSL_connect(ssl_.get()));
}

TlsClient::~TlsClient() {
    close(socket_);
}

bool TlsClient::succeeded(int result) {
    if (result > 0)
        return true;
    closedProperly_ = SSL_get_error(ssl_.get(), result) == SSL_ERROR_ZERO_RETURN;
    const char *reason = ERR_reason_error_string(ERR_peek_last_error());
    if (problem_.empty())
        problem_ = reason != nullptr ? reason : "no more bytes";
    ERR_clear_error();
    return false;
}

TlsClient::Session TlsClient::session() const {
    return {SSL_get1_session(ssl_.get()), SSL_SESSION_free};
}

void TlsClient::send(const std::string &bytes) {
    succeeded(SSL_write(ssl_.get(), bytes.data(), static_cast<int>(bytes.size())));
}

void TlsClient::sendRaw(const std::string &bytes) {
    ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

void TlsClient::finishSending() {
    SSL_shutdown(ssl_.get());
    cutSending();
}

void TlsClient::cutSending() {
    shutdown(socket_, SHUT_WR);
}

std::string TlsClient::read(std::size_t least) {
    std::string all;
    char buffer[16384];
    while (all.size() < least) {
        const int size = SSL_read(ssl_.get(), buffer, sizeof buffer);
        if (!succeeded(size))
            break;
        all.append(buffer, static_cast<std::size_t>(size));
    }
    return all;
}

std::string TlsClient::ask(const std::string &op) {
    send(wire::message(1, op));
    std::string answer = read(2);
    const std::size_t size = answer.size() < 2 ? 0 : static_cast<unsigned char>(answer[1]);
    if (size < 0x80)
        return answer + read(size + 2 - std::min(answer.size(), size + 2));
    ADD_FAILURE() << "a long answer: read it otherwise";
    return answer;
}

bool TlsClient::awaitEnd() {
    char buffer[4096];
    ssize_t size = 0;
    while ((size = recv(socket_, buffer, sizeof buffer, 0)) > 0)
        continue;
    return size == 0 || errno == ECONNRESET;
}

void TlsClient::beginRenegotiation() {
    SSL_set0_rbio(ssl_.get(), BIO_new(BIO_s_mem())); // from which nothing comes
    EXPECT_EQ(SSL_renegotiate(ssl_.get()), 1);
    EXPECT_EQ(SSL_get_error(ssl_.get(), SSL_do_handshake(ssl_.get())), SSL_ERROR_WANT_READ);
}
