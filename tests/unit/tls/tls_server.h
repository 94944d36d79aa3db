// tls_server.h - a server in a thread of the test's, on a free port of 127.0.0.1, which answers
// LDAP binds and Who am I? requests with success.
#pragma once

#include "authority.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test {

// A socket that clients can connect to, on a free port of 127.0.0.1.
class Listener {
  public:
    Listener();
    ~Listener();
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    [[nodiscard]] int socket() const { return socket_; }
    [[nodiscard]] int port() const { return port_; }

  private:
    int socket_;
    int port_ = 0;
};

class TlsServer {
  public:
    struct Seen {
        bool isEstablished = false;
        bool isResumed = false;
        bool isUnbound = false;    // by an unbind request
        bool isClosed = false;     // by close_notify
        std::size_t requests = 0;  // of LDAP
        std::string clientSubject; // "" without a certificate
    };
    using Conversation = std::function<void(SSL *ssl, Seen &seen)>;
    using Setting = std::function<void(SSL_CTX *context)>;

    explicit TlsServer(const Issued &identity, const Setting &setting = {},
                       Conversation conversation = converse);
    ~TlsServer();
    TlsServer(const TlsServer &) = delete;
    TlsServer &operator=(const TlsServer &) = delete;

    [[nodiscard]] int port() const { return listener_.port(); }
    // What came of each connection, once so many have ended.
    std::vector<Seen> seen(std::size_t connections) const;

    // Answers until the client goes.
    static void converse(SSL *ssl, Seen &seen);
    // False at the end of the connection.
    static bool answerOne(SSL *ssl, Seen &seen);

  private:
    void serve();
    void serveOne(int socket);

    std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>> context_;
    Conversation conversation_;
    Listener listener_;
    mutable std::mutex mutex_;
    std::vector<Seen> seen_;
    std::vector<std::thread> connections_;
    std::thread thread_;
};

} // namespace test
