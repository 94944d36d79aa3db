#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

/** The first message of a client, as libssl writes it. */
std::string clientHello();

/** A client of libssl's own; a session that it gives may be another one's. */
class TlsClient {
  public:
    using Session = std::shared_ptr<SSL_SESSION>;
    struct Settings {
        std::string ca = {};       // file; empty: whatever the server shows is good
        std::string identity = {}; // file of certificate and key; empty: none
        std::string host = "localhost";
        int version = 0; // the only one; 0: whatever there is
        Session session = {};
        bool tickets = true;
    };

    explicit TlsClient(int port) : TlsClient(port, Settings()) {}
    TlsClient(int port, const Settings &settings);
    ~TlsClient();
    TlsClient(const TlsClient &) = delete;
    TlsClient &operator=(const TlsClient &) = delete;

    /** Whether the handshake is done, as far as the client can tell. */
    bool connected() const { return connected_; }
    /** Why the first call that has failed did so, in OpenSSL's words. */
    const std::string &problem() const { return problem_; }
    bool resumed() const { return SSL_session_reused(ssl_.get()) != 0; }
    /** That of the connection, after something has been read. */
    Session session() const;
    SSL *ssl() const { return ssl_.get(); }

    void send(const std::string &bytes);
    /** Sends what is no record. */
    void sendRaw(const std::string &bytes);
    /** Says close_notify, and that nothing follows. */
    void finishSending();
    /** Ends what it sends without close_notify. */
    void cutSending();
    /** Reads at least that many bytes, unless the other side closes. */
    std::string read(std::size_t least);
    /** Reads until the other side closes. */
    std::string readAll() { return read(static_cast<std::size_t>(-1)); }
    /** After readAll(): whether the other side has said close_notify. */
    bool closedProperly() const { return closedProperly_; }
    /** Sends one request with the id 1 and gives the whole answer. */
    std::string ask(const std::string &op);
    /** Sends what another handshake (TLS 1.2) begins with, and reads no answer. */
    void beginRenegotiation();
    /** Waits for the end of what comes through the socket; false when there is none. */
    bool awaitEnd();

  private:
    bool succeeded(int result);

    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
    std::unique_ptr<SSL, decltype(&SSL_free)> ssl_{nullptr, SSL_free};
    int socket_;
    bool connected_ = false;
    bool closedProperly_ = false;
    std::string problem_;
};
