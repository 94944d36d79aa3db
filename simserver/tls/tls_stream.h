#pragma once

#include "faults.h"
#include "stream.h"
#include "tls/context.h"

#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace stratasim::tls {

/**
 * LDAP within TLS: the socket is read and written by OpenSSL, and waited for by asio. Nothing here
 * blocks, so that a client keeps nobody waiting but itself.
 */
class TlsStream : public TcpStream {
  public:
    TlsStream(asio::ip::tcp::socket socket, const Context &context, Fault fault);

    void open(OnOpen onOpen) override;
    void readSome(std::span<char> buffer, Handler handler) override;
    std::size_t tryWrite(std::string_view data) override;
    void write(std::string_view data, Handler handler) override;
    void finishSending() override;
    void cutSending() override;
    void close() override;

  private:
    /** One of OpenSSL's functions with its arguments; gives the size of what it has moved. */
    using Call = std::function<int(SSL *, std::size_t &)>;

    int attempt(const Call &call, std::size_t &size);
    void perform(Call call, Handler handler);
    void wait(int wanted, std::function<void(const asio::error_code &)> then);
    void fail(const std::string &problem);

    void handshake(const OnOpen &onOpen);
    void limitHandshake(const OnOpen &onOpen);
    void spoilHandshake(const OnOpen &onOpen);
    void staySilent(const OnOpen &onOpen);
    std::string handshakeProblem() const;
    bool sayGoodbye();

    static void onInfo(const SSL *ssl, int where, int what);

    Ssl ssl_;
    std::chrono::seconds handshakeTime_;
    Fault fault_;
    asio::steady_timer timer_; // of the handshake
    // Why no more records come and go; the socket may still have something to say.
    std::optional<std::string> problem_;
    bool goodbyeDue_ = false;
    std::array<char, 512> forgotten_;
};

} // namespace stratasim::tls
