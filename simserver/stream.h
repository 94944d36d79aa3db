#pragma once

#include "events/record.h"
#include "security.h"

#include <asio.hpp>

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace stratasim {

/** The bytes to and from one client, whatever carries them. */
class Stream {
  public:
    using Handler = std::function<void(const asio::error_code &, std::size_t)>;

    /** What has become of open(). */
    struct Opened {
        bool ready = true;
        std::optional<Security> security; // nothing without TLS
        std::string note;                 // for the log, if there is anything to say
    };
    using OnOpen = std::function<void(const Opened &)>;

    virtual ~Stream() = default;
    /** Before all else. When it does not come to ready, what the client sends may be forgotten. */
    virtual void open(OnOpen onOpen) { onOpen({}); }
    virtual void readSome(std::span<char> buffer, Handler handler) = 0;
    /** Sends what goes without waiting; 0 when nothing does. */
    virtual std::size_t tryWrite(std::string_view data) = 0;
    /** Sends everything; the data stays where it is until the handler is called. */
    virtual void write(std::string_view data, Handler handler) = 0;
    /** No more will be sent; the other side may still send. */
    virtual void finishSending() = 0;
    /** The same, without the farewell that there may be. */
    virtual void cutSending() { finishSending(); }
    virtual void close() = 0;
    /** Where the client is; type 0 when that is not known. */
    virtual NetAddress peer() const = 0;
};

class TcpStream : public Stream {
  public:
    explicit TcpStream(asio::ip::tcp::socket socket);

    void readSome(std::span<char> buffer, Handler handler) override;
    std::size_t tryWrite(std::string_view data) override;
    void write(std::string_view data, Handler handler) override;
    void finishSending() override;
    void close() override;
    NetAddress peer() const override;

  protected:
    asio::ip::tcp::socket &socket() { return socket_; }

  private:
    asio::ip::tcp::socket socket_;
};

} // namespace stratasim
