#include "tls/tls_stream.h"

#include <gtest/gtest.h>

#include <csignal>
#include <sys/socket.h>

namespace {

using asio::ip::tcp;
using stratasim::tls::Context;
using stratasim::tls::TlsStream;

Context makeContext() {
    stratasim::tls::Settings settings;
    settings.certificate = stratasim::tls::kAuto;
    return {settings, "127.0.0.1"};
}

/** A server's stream and the socket of its client, in one thread. */
class TlsStreamTest : public testing::Test {
  protected:
    TlsStreamTest() {
        signal(SIGPIPE, SIG_IGN);
        tcp::acceptor acceptor(io_, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
        client_.connect(acceptor.local_endpoint());
        client_.non_blocking(true);
        tcp::socket socket = acceptor.accept();
        descriptor_ = socket.native_handle();
        stream_.emplace(std::move(socket), context_, stratasim::Fault());
    }

    void shakeHands() {
        const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(
            SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
        const std::unique_ptr<SSL, decltype(&SSL_free)> ssl(SSL_new(context.get()), SSL_free);
        SSL_set_fd(ssl.get(), client_.native_handle());
        bool opened = false;
        stream_->open([&](const stratasim::Stream::Opened &result) { opened = result.ready; });
        while (SSL_connect(ssl.get()) != 1 || !opened)
            io_.run_one_for(std::chrono::seconds(1));
    }

    /** Leaves no room in what the server's socket sends. */
    void fill() const {
        const std::string block(65536, 'x');
        for (std::size_t size = block.size(); size > 0;)
            if (send(descriptor_, block.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL) < 0)
                size /= 2;
    }

    /** All that the client gets until the end, while the server does its work. */
    std::string receiveAll() {
        std::string all;
        char buffer[65536];
        asio::error_code error;
        while (error != asio::error::eof) {
            const std::size_t size = client_.read_some(asio::buffer(buffer), error);
            all.append(buffer, size);
            if (error == asio::error::would_block && io_.run_one_for(std::chrono::seconds(5)) == 0)
                break; // nothing happens any more
            if (error == asio::error::would_block)
                io_.restart();
        }
        return all;
    }

    asio::io_context io_;
    Context context_ = makeContext();
    tcp::socket client_{io_};
    int descriptor_ = -1;
    std::optional<TlsStream> stream_;
};

TEST_F(TlsStreamTest, TheFarewellWaitsForRoom) {
    shakeHands();
    fill();
    stream_->finishSending();
    std::array<char, 16> buffer{};
    stream_->readSome(buffer, [](const asio::error_code &, std::size_t) {});
    const std::string all = receiveAll();
    // Behind what has filled the socket: an alert of TLS 1.3, which is encrypted.
    constexpr std::size_t alert = 5 + 2 + 1 + 16;
    ASSERT_GT(all.size(), alert);
    EXPECT_EQ(all.substr(all.size() - alert, 5), std::string("\x17\x03\x03\x00\x13", 5));
    stream_->close();
    io_.poll();
}

} // namespace
