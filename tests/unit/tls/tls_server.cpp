#include "tls_server.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace test {
namespace {

// One LDAP message with a length of one byte; "" at the end of the connection.
std::string readMessage(SSL *ssl) {
    std::string message(2, '\0');
    if (SSL_read(ssl, message.data(), 2) != 2)
        return {};
    message.resize(2 + static_cast<unsigned char>(message[1]));
    const int rest = static_cast<int>(message.size()) - 2;
    return SSL_read(ssl, message.data() + 2, rest) == rest ? message : std::string();
}

// Success, to the request of this message id.
std::string answer(char messageId, char operation) {
    const std::string result("\x0a\x01\x00\x04\x00\x04\x00", 7);
    const std::string whole = std::string{'\x02', '\x01', messageId, operation, '\x07'} + result;
    return std::string{'\x30', static_cast<char>(whole.size())} + whole;
}

} // namespace

Listener::Listener() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    if (bind(socket_, generic, size) != 0 || listen(socket_, 64) != 0 ||
        getsockname(socket_, generic, &size) != 0)
        throw std::runtime_error("cannot listen");
    port_ = ntohs(address.sin_port);
}

Listener::~Listener() {
    close(socket_);
}

TlsServer::TlsServer(const Issued &identity, const Setting &setting, Conversation conversation)
    : context_(SSL_CTX_new(TLS_server_method())), conversation_(std::move(conversation)) {
    const unsigned char name[] = "test";
    SSL_CTX_set_session_id_context(context_.get(), name, sizeof name);
    if (SSL_CTX_use_certificate(context_.get(), identity.certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context_.get(), identity.key.get()) != 1)
        throw std::runtime_error("cannot use the certificate");
    if (setting)
        setting(context_.get());
    thread_ = std::thread([this] { serve(); });
}

TlsServer::~TlsServer() {
    shutdown(listener_.socket(), SHUT_RDWR);
    thread_.join();
    for (std::thread &connection : connections_)
        connection.join();
}

void TlsServer::serve() {
    // A client that has gone is none of this thread's, nor of those that it starts.
    sigset_t broken;
    sigemptyset(&broken);
    sigaddset(&broken, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken, nullptr);
    for (;;) {
        const int socket = accept4(listener_.socket(), nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0)
            return;
        connections_.emplace_back([this, socket] { serveOne(socket); });
    }
}

void TlsServer::serveOne(int socket) {
    Seen seen;
    {
        const std::unique_ptr<SSL, Release<SSL_free>> ssl(SSL_new(context_.get()));
        SSL_set_fd(ssl.get(), socket);
        seen.isEstablished = SSL_accept(ssl.get()) == 1;
        seen.isResumed = SSL_session_reused(ssl.get()) == 1;
        if (const X509 *client = SSL_get0_peer_certificate(ssl.get())) {
            char subject[256];
            X509_NAME_oneline(X509_get_subject_name(client), subject, sizeof subject);
            seen.clientSubject = subject;
        }
        if (seen.isEstablished)
            conversation_(ssl.get(), seen);
    }
    close(socket);
    const std::lock_guard<std::mutex> lock(mutex_);
    seen_.push_back(seen);
}

std::vector<TlsServer::Seen> TlsServer::seen(std::size_t connections) const {
    using namespace std::chrono_literals;
    for (int attempt = 0; attempt < 2000; ++attempt) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (seen_.size() >= connections)
                return seen_;
        }
        std::this_thread::sleep_for(5ms);
    }
    throw std::runtime_error("the server has not seen as many connections");
}

bool TlsServer::answerOne(SSL *ssl, Seen &seen) {
    const std::string message = readMessage(ssl);
    if (message.empty())
        return false;
    ++seen.requests;
    const char operation = message[5];
    if (operation == '\x42') {
        seen.isUnbound = true;
        return true;
    }
    const std::string reply = answer(message[4], static_cast<char>(operation + 1));
    SSL_write(ssl, reply.data(), static_cast<int>(reply.size()));
    return true;
}

void TlsServer::converse(SSL *ssl, Seen &seen) {
    while (answerOne(ssl, seen)) {
    }
    seen.isClosed = (SSL_get_shutdown(ssl) & SSL_RECEIVED_SHUTDOWN) != 0;
}

} // namespace test
