#pragma once

#include "in_process.h"
#include "session.h"

#include <asio.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/** The bytes between a client and its session, without a socket. */
struct LocalPipe {
    std::string toServer;
    std::string toClient;
    std::span<char> buffer;
    stratasim::Stream::Handler reader; // of a read that waits for bytes
    bool closed = false;
};

/** A connection with a session of its own; whatever can be done is done when send() returns. */
class LocalClient {
  public:
    LocalClient(InProcess &server, std::uint64_t number);
    ~LocalClient();
    LocalClient(const LocalClient &) = delete;
    LocalClient &operator=(const LocalClient &) = delete;

    /** Sends whole messages and gives the answers, in the order in which they have come. */
    std::vector<wire::Response> send(const std::string &messages);
    /** Sends one request with an id of its own, which has one answer. */
    wire::Response ask(const std::string &op, const std::string &controls = {});
    void bindAdmin() { ask(wire::bind(kAdmin, "secret")); }
    void finishSending();
    /** The same, but what is to be done later is left to step(). */
    std::vector<wire::Response> sendOnly(const std::string &messages);
    /** Does one thing that waits to be done; false when there is none. */
    bool step();
    /** Waits for an answer or the end of the connection. */
    std::vector<wire::Response> await();
    /** The messages that have come since the last look. */
    std::vector<wire::Response> received();
    bool closed() const { return pipe_->closed; }

  private:
    void deliver();
    bool work();

    asio::io_context io_;
    std::shared_ptr<LocalPipe> pipe_ = std::make_shared<LocalPipe>();
    stratasim::Session::Settings settings_;
    std::shared_ptr<stratasim::Session> session_;
    std::uint8_t lastId_ = 60;
};
