#pragma once

#include "dispatcher.h"
#include "session.h"
#include "tls/context.h"

#include <asio.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>

namespace stratasim {

/** Listens, and keeps the sessions of all clients, in one thread. */
class Server {
  public:
    struct Settings {
        Session::Settings session;
        std::size_t maxConnections = 4096;
        std::function<void(const std::string &)> report; // of what whoever runs it should know
    };

    /**
     * Listens at once; throws asio::system_error when it cannot. Port 0 is any free one. Without
     * `tls` it speaks LDAP as it is.
     */
    Server(asio::io_context &io, const std::string &host, std::uint16_t port,
           Dispatcher &dispatcher, Settings settings, const tls::Context *tls);
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
    void serve(asio::ip::tcp::socket socket);
    void onClosed(const std::shared_ptr<Session> &session);
    void retry();
    void complain(const std::string &why);

    asio::io_context &io_;
    asio::ip::tcp::acceptor acceptor_;
    asio::steady_timer retryTimer_;
    Dispatcher &dispatcher_;
    Settings settings_;
    const tls::Context *tls_;
    std::set<std::shared_ptr<Session>> sessions_;
    std::uint64_t lastNumber_ = 0;
    bool full_ = false;                                      // until a connection ends
    std::chrono::steady_clock::time_point silentUntil_ = {}; // who has just complained is silent
};

} // namespace stratasim
