#include "tls/probe.h"

#include "errors.h"
#include "text.h"
#include "tls/handshake_words.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <ldap.h>
#include <netdb.h>
#include <new>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace qldapx {
namespace {

using Clock = std::chrono::steady_clock;
using AddressesPtr = std::unique_ptr<addrinfo, OpensslRelease<freeaddrinfo>>;

class Socket {
  public:
    explicit Socket(int descriptor) : descriptor_(descriptor) {}
    ~Socket() {
        if (descriptor_ >= 0)
            close(descriptor_);
    }
    Socket(Socket &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Socket &operator=(Socket &&) = delete;
    [[nodiscard]] int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

/** One server, asked for its certificates, and for how long. */
class Probe {
  public:
    Probe(const ServerAddress &server, int seconds)
        : server_(server), seconds_(seconds),
          deadline_(Clock::now() + std::chrono::seconds(seconds)) {}
    Certificates run();

  private:
    static int capture(X509_STORE_CTX *context, void *probe);
    static void noteAlert(const SSL *ssl, int where, int value);

    [[nodiscard]] Socket reach();
    /** A connection, or the reason why there is none. */
    int connectTo(const Socket &socket, const addrinfo &address);
    /** False when the time is over. */
    bool wait(int descriptor, short event);
    SslContextPtr newContext();
    SslPtr newSession(SSL_CTX *context, int descriptor) const;
    void shakeHands(SSL *ssl, int descriptor);
    void rememberError();
    [[noreturn]] void fail(int code, const std::string &reason, const std::string &hint) const;
    [[noreturn]] void failHandshake() const;

    const ServerAddress &server_;
    const int seconds_;
    const Clock::time_point deadline_;
    Certificates chain_;
    std::optional<int> alert_;
    std::string error_;
    bool timedOut_ = false;
};

void Probe::fail(int code, const std::string &reason, const std::string &hint) const {
    Problem problem;
    problem.operation = "connect";
    problem.object = server_.text();
    problem.code = code;
    problem.name = ldap_err2string(code);
    problem.reason = reason;
    problem.hint = hint;
    throw Failure(std::move(problem));
}

bool Probe::wait(int descriptor, short event) {
    using std::chrono::milliseconds;
    pollfd end = {descriptor, event, 0};
    while (true) {
        const auto left = std::chrono::duration_cast<milliseconds>(deadline_ - Clock::now());
        const int ready = left.count() <= 0 ? 0 : poll(&end, 1, static_cast<int>(left.count()) + 1);
        if (ready < 0 && errno == EINTR)
            continue;
        timedOut_ = ready == 0;
        return ready > 0;
    }
}

int Probe::connectTo(const Socket &socket, const addrinfo &address) {
    if (socket.descriptor() < 0)
        return errno;
    if (connect(socket.descriptor(), address.ai_addr, address.ai_addrlen) == 0)
        return 0;
    if (errno != EINPROGRESS)
        return errno;
    if (!wait(socket.descriptor(), POLLOUT))
        return ETIMEDOUT;
    int error = 0;
    socklen_t size = sizeof error;
    getsockopt(socket.descriptor(), SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}

Socket Probe::reach() {
    addrinfo hints = {}, *found = nullptr;
    hints.ai_socktype = SOCK_STREAM;
    const int unknown = getaddrinfo(server_.host.c_str(), server_.port.c_str(), &hints, &found);
    if (unknown != 0)
        fail(LDAP_SERVER_DOWN, gai_strerror(unknown), "check the server's name");
    const AddressesPtr addresses(found);
    int error = 0;
    for (const addrinfo *each = found; each != nullptr; each = each->ai_next) {
        Socket candidate(
            socket(each->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, each->ai_protocol));
        error = connectTo(candidate, *each);
        if (error == 0)
            return candidate;
    }
    fail(timedOut_ ? LDAP_TIMEOUT : LDAP_SERVER_DOWN,
         fmt::format("no connection: {}", std::strerror(error)),
         "is the server running there? Check host and port");
}

// The chain is taken before the server can refuse the client; it is verified later.
int Probe::capture(X509_STORE_CTX *context, void *probe) {
    Certificates &chain = static_cast<Probe *>(probe)->chain_;
    const STACK_OF(X509) *presented = X509_STORE_CTX_get0_untrusted(context);
    for (int i = 0; i < sk_X509_num(presented); ++i)
        chain.push_back(shared(sk_X509_value(presented, i)));
    return 1;
}

void Probe::noteAlert(const SSL *ssl, int where, int value) {
    constexpr int fatal = SSL3_AL_FATAL << 8;
    if ((where & SSL_CB_READ_ALERT) == SSL_CB_READ_ALERT && (value & 0xff00) == fatal)
        static_cast<Probe *>(SSL_get_app_data(ssl))->alert_ = value & 0xff;
}

// Old versions and weak keys are shown as well; what a session would say of them stands in the
// verdict.
SslContextPtr Probe::newContext() {
    constexpr long maxChain = 4L << 20;
    SslContextPtr context(SSL_CTX_new(TLS_client_method()));
    if (context == nullptr)
        throw std::bad_alloc();
    SSL_CTX_set_security_level(context.get(), 0);
    SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
    SSL_CTX_set_max_cert_list(context.get(), maxChain);
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_cert_verify_callback(context.get(), capture, this);
    SSL_CTX_set_info_callback(context.get(), noteAlert);
    return context;
}

SslPtr Probe::newSession(SSL_CTX *context, int descriptor) const {
    SslPtr ssl(SSL_new(context));
    if (ssl == nullptr || SSL_set_fd(ssl.get(), descriptor) != 1)
        throw std::bad_alloc();
    SSL_set_app_data(ssl.get(), const_cast<Probe *>(this));
    in6_addr address = {};
    const bool isAddress = inet_pton(AF_INET, server_.host.c_str(), &address) == 1 ||
                           inet_pton(AF_INET6, server_.host.c_str(), &address) == 1;
    if (!isAddress)
        SSL_set_tlsext_host_name(ssl.get(), server_.host.c_str());
    return ssl;
}

void Probe::rememberError() {
    const int error = errno;
    const char *reason = ERR_reason_error_string(ERR_peek_last_error());
    error_ = reason != nullptr ? reason : error != 0 ? std::strerror(error) : "unexpected eof";
    ERR_clear_error();
}

void Probe::shakeHands(SSL *ssl, int descriptor) {
    while (chain_.empty()) {
        ERR_clear_error();
        errno = 0;
        const int result = SSL_connect(ssl);
        const int want = result == 1 ? SSL_ERROR_NONE : SSL_get_error(ssl, result);
        if (want != SSL_ERROR_WANT_READ && want != SSL_ERROR_WANT_WRITE)
            return rememberError();
        if (chain_.empty() && !wait(descriptor, want == SSL_ERROR_WANT_READ ? POLLIN : POLLOUT))
            return;
    }
}

void Probe::failHandshake() const {
    const auto words =
        explainHandshake({server_.text(), alert_, error_, timedOut_, seconds_, false});
    fail(timedOut_ ? LDAP_TIMEOUT : LDAP_SERVER_DOWN,
         words ? words->reason : fmt::format("no TLS handshake: {}", error_),
         words ? words->hint : "is it a port for ldaps://?");
}

Certificates Probe::run() {
    const Socket socket = reach();
    const SslContextPtr context = newContext();
    const SslPtr ssl = newSession(context.get(), socket.descriptor());
    shakeHands(ssl.get(), socket.descriptor());
    if (chain_.empty())
        failHandshake();
    return std::move(chain_);
}

} // namespace

Certificates presentedChain(const ServerAddress &server, int seconds) {
    return Probe(server, seconds).run();
}

} // namespace qldapx
