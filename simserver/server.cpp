#include "server.h"

#include "tls/tls_stream.h"

#include <fmt/format.h>

namespace stratasim {

using asio::ip::tcp;

namespace {

// Whoever keeps the server at a limit does not fill the log with it as well.
constexpr std::chrono::minutes kComplaintInterval{1};

} // namespace

Server::Server(asio::io_context &io, const std::string &host, std::uint16_t port,
               Dispatcher &dispatcher, Settings settings, const tls::Context *tls)
    : io_(io), acceptor_(io), retryTimer_(io), dispatcher_(dispatcher),
      settings_(std::move(settings)), tls_(tls) {
    tcp::resolver resolver(io);
    const auto found = resolver.resolve(host, std::to_string(port), tcp::resolver::passive);
    const tcp::endpoint endpoint = *found.begin();
    acceptor_.open(endpoint.protocol());
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.bind(endpoint);
    acceptor_.listen();
    dispatcher_.directory().uri = uri();
}

// NOLINTNEXTLINE(bugprone-exception-escape)
Server::~Server() {
    stop();
}

std::string Server::uri() const {
    const tcp::endpoint local = acceptor_.local_endpoint();
    const std::string address = local.address().to_string();
    const char *scheme = tls_ != nullptr ? "ldaps" : "ldap";
    if (local.address().is_v6())
        return fmt::format("{}://[{}]:{}", scheme, address, local.port());
    return fmt::format("{}://{}:{}", scheme, address, local.port());
}

void Server::stop() {
    asio::error_code ignored;
    acceptor_.close(ignored);
    retryTimer_.cancel();
    const auto sessions = sessions_;
    for (const auto &session : sessions)
        session->close();
}

void Server::accept() {
    if (!acceptor_.is_open())
        return;
    full_ = sessions_.size() >= settings_.maxConnections;
    if (full_)
        return complain("there may be no more of them (--max-connections)");
    acceptor_.async_accept([this](const asio::error_code &error, tcp::socket socket) {
        onAccept(error, std::move(socket));
    });
}

std::unique_ptr<Stream> Server::makeStream(tcp::socket socket) {
    if (tls_ == nullptr)
        return std::make_unique<TcpStream>(std::move(socket));
    return std::make_unique<tls::TlsStream>(std::move(socket), *tls_, dispatcher_.nextHandshake());
}

void Server::onAccept(const asio::error_code &error, tcp::socket socket) {
    // One that was accepted before stop() may be reported after it.
    if (error == asio::error::operation_aborted || !acceptor_.is_open())
        return;
    if (error) {
        complain(error.message());
        return retry();
    }
    serve(std::move(socket));
    accept();
}

void Server::serve(tcp::socket socket) {
    const auto session = std::make_shared<Session>(
        io_, makeStream(std::move(socket)), dispatcher_, settings_.session, ++lastNumber_,
        [this](const std::shared_ptr<Session> &closed) { onClosed(closed); });
    sessions_.insert(session);
    session->start();
}

void Server::onClosed(const std::shared_ptr<Session> &session) {
    sessions_.erase(session);
    if (full_)
        accept();
}

/** Out of descriptors, most likely: trying again at once would only spin. */
void Server::retry() {
    retryTimer_.expires_after(std::chrono::milliseconds(100));
    retryTimer_.async_wait([this](const asio::error_code &cancelled) {
        if (!cancelled)
            accept();
    });
}

void Server::complain(const std::string &why) {
    const auto now = std::chrono::steady_clock::now();
    if (now < silentUntil_ || !settings_.report)
        return;
    silentUntil_ = now + kComplaintInterval;
    settings_.report(
        fmt::format("new connections have to wait, {} are open: {}", sessions_.size(), why));
}

} // namespace stratasim
