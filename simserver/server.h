#pragma once

#include "dispatcher.h"
#include "session.h"
#include "tls/context.h"

#include <asio.hpp>

#include <cstdint>
#include <memory>
#include <set>
#include <string>

namespace stratasim {

/** Listens, and keeps the sessions of all clients, in one thread. */
class Server {
  public:
    /**
     * Listens at once; throws asio::system_error when it cannot. Port 0 is any free one. Without
     * `tls` it speaks LDAP as it is.
     */
    Server(asio::io_context &io, const std::string &host, std::uint16_t port,
           Dispatcher &dispatcher, Session::Settings settings, const tls::Context *tls);
    // NOLINTNEXTLINE(bugprone-exception-escape): without memory to close them, the program ends.
    ~Server();

    std::string uri() const;
    void start() { accept(); }
    /** Stops listening and ends all sessions. */
    void stop();

  private:
    void accept();
    std::unique_ptr<Stream> makeStream(asio::ip::tcp::socket socket);
    void onAccept(const asio::error_code &error, asio::ip::tcp::socket socket);

    asio::io_context &io_;
    asio::ip::tcp::acceptor acceptor_;
    asio::steady_timer retryTimer_;
    Dispatcher &dispatcher_;
    Session::Settings settings_;
    const tls::Context *tls_;
    std::set<std::shared_ptr<Session>> sessions_;
    std::uint64_t lastNumber_ = 0;
};

} // namespace stratasim
