#include "local_client.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

class LocalStream : public stratasim::Stream {
  public:
    explicit LocalStream(std::shared_ptr<LocalPipe> pipe, asio::io_context &io)
        : pipe_(std::move(pipe)), io_(io) {}

    void readSome(std::span<char> buffer, Handler handler) override {
        pipe_->buffer = buffer;
        pipe_->reader = std::move(handler);
    }
    std::size_t tryWrite(std::string_view data) override {
        pipe_->toClient += data;
        return data.size();
    }
    void write(std::string_view data, Handler handler) override {
        pipe_->toClient += data;
        asio::post(io_, [handler = std::move(handler)] { handler({}, 0); });
    }
    void finishSending() override { close(); }
    void close() override {
        pipe_->closed = true;
        pipe_->reader = nullptr;
    }
    stratasim::NetAddress peer() const override { return {1, wire::hex("7f000001 0185")}; }

  private:
    std::shared_ptr<LocalPipe> pipe_;
    asio::io_context &io_;
};

} // namespace

LocalClient::LocalClient(InProcess &server, std::uint64_t number)
    : session_(std::make_shared<stratasim::Session>(
          io_, std::make_unique<LocalStream>(pipe_, io_), server.dispatcher, settings_, number,
          [](const std::shared_ptr<stratasim::Session> &) {})) {
    session_->start();
}

LocalClient::~LocalClient() {
    session_->close();
    work();
}

void LocalClient::deliver() {
    std::size_t sent = 0;
    while (sent < pipe_->toServer.size() && pipe_->reader) {
        const std::size_t size = std::min(pipe_->buffer.size(), pipe_->toServer.size() - sent);
        std::copy_n(pipe_->toServer.data() + sent, size, pipe_->buffer.data());
        sent += size;
        std::exchange(pipe_->reader, nullptr)({}, size);
    }
    pipe_->toServer.erase(0, sent);
}

std::vector<wire::Response> LocalClient::send(const std::string &messages) {
    pipe_->toServer += messages;
    do
        deliver();
    while (work());
    return received();
}

std::vector<wire::Response> LocalClient::received() {
    std::vector<wire::Response> responses;
    for (const wire::Element &message : wire::elements(std::exchange(pipe_->toClient, {})))
        responses.push_back(wire::parse(wire::tlv(message.tag, message.content)));
    return responses;
}

wire::Response LocalClient::ask(const std::string &op, const std::string &controls) {
    lastId_ = lastId_ == 120 ? 61 : static_cast<std::uint8_t>(lastId_ + 1);
    const auto responses = send(wire::message(lastId_, op, controls));
    EXPECT_EQ(responses.size(), 1U);
    return responses.empty() ? wire::Response{} : responses.front();
}

void LocalClient::finishSending() {
    if (pipe_->reader)
        std::exchange(pipe_->reader, nullptr)(asio::error::eof, 0);
    work();
}

bool LocalClient::work() {
    io_.restart(); // it has stopped when there was nothing to do
    return io_.poll() > 0;
}

bool LocalClient::step() {
    io_.restart();
    return io_.poll_one() > 0;
}

std::vector<wire::Response> LocalClient::await() {
    io_.restart();
    while (pipe_->toClient.empty() && !pipe_->closed && io_.run_one_for(std::chrono::seconds(20)))
        continue;
    return received();
}

std::vector<wire::Response> LocalClient::sendOnly(const std::string &messages) {
    pipe_->toServer += messages;
    deliver();
    return received();
}
