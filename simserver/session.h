#pragma once

#include "dispatcher.h"
#include "stream.h"

#include <asio.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace stratasim {

/**
 * One client's connection: cuts its bytes into messages, keeps the operations that are under way,
 * and sends their answers. A client that does not read stops its own operations, nobody else's.
 */
class Session : public std::enable_shared_from_this<Session> {
  public:
    struct Settings {
        std::size_t maxMessage = 16U * 1024 * 1024;
        std::chrono::seconds idleTime{0};             // after which a connection ends; 0: never
        std::function<void(const std::string &)> log; // empty: no log
    };
    using OnClosed = std::function<void(const std::shared_ptr<Session> &)>;

    Session(asio::io_context &io, std::unique_ptr<Stream> stream, Dispatcher &dispatcher,
            const Settings &settings, std::uint64_t number, OnClosed onClosed);

    void start();
    void close();

  private:
    /** An operation that has not been answered completely. */
    struct Running {
        std::unique_ptr<OpenOperation> operation;
        std::unique_ptr<asio::steady_timer> timer; // of a delayed answer, before all else
    };
    enum class State { Serving, ClientFinished, Ending, Draining, Closed };

    void onOpen(const Stream::Opened &opened);
    void read();
    void onRead(const asio::error_code &error, std::size_t size);
    void serveMessages();
    void apply(Outcome outcome);
    void delay(Outcome outcome);
    void run(Outcome &outcome, std::unique_ptr<asio::steady_timer> timer);
    bool produce();
    void serveWaiting(std::map<std::int32_t, Running>::iterator waiting);
    void flush();
    void sendFrom(std::size_t start);
    void afterFlush();
    void proceed();
    void proceedLater();
    void end();
    void drain();
    void awaitIdleness();
    void endIdle();
    void log(const std::string &what) const;

    bool hasRoom() const;
    bool mayServe() const;
    bool nothingToCome() const;
    bool waitsForClient() const;

    asio::io_context &io_;
    std::unique_ptr<Stream> stream_;
    Dispatcher &dispatcher_;
    const Settings &settings_;
    OnClosed onClosed_;

    State state_ = State::Serving;
    Connection connection_;
    std::array<char, 16 * 1024> buffer_;
    std::string received_;
    std::string unsent_;  // grows while `sending_` is on its way
    std::string sending_; // empty when no write is under way
    std::map<std::int32_t, Running> running_;
    std::int32_t lastProduced_ = 0;
    asio::steady_timer lastMessageTimer_;
    asio::steady_timer idleTimer_;
    std::chrono::steady_clock::time_point lastMoved_; // bytes, in whatever direction
    bool reading_ = false;
    bool proceedPosted_ = false;
    bool cut_ = false;     // the connection is to end without a farewell
    bool more_ = false;    // running operations have more to say
    bool stalled_ = false; // received messages wait for room
};

} // namespace stratasim
