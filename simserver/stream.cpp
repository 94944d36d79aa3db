#include "stream.h"

namespace stratasim {

TcpStream::TcpStream(asio::ip::tcp::socket socket) : socket_(std::move(socket)) {
    asio::error_code ignored;
    socket_.non_blocking(true, ignored);
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    // A client whose machine has gone would stay connected for ever.
    socket_.set_option(asio::socket_base::keep_alive(true), ignored);
}

void TcpStream::readSome(std::span<char> buffer, Handler handler) {
    socket_.async_read_some(asio::buffer(buffer.data(), buffer.size()), std::move(handler));
}

std::size_t TcpStream::tryWrite(std::string_view data) {
    asio::error_code ignored;
    return socket_.write_some(asio::buffer(data.data(), data.size()), ignored);
}

void TcpStream::write(std::string_view data, Handler handler) {
    asio::async_write(socket_, asio::buffer(data.data(), data.size()), std::move(handler));
}

void TcpStream::finishSending() {
    asio::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
}

NetAddress TcpStream::peer() const {
    asio::error_code error;
    const auto endpoint = socket_.remote_endpoint(error);
    if (error)
        return {};
    const asio::ip::address address = endpoint.address();
    NetAddress peer{address.is_v4() ? NetAddress::kIpv4 : NetAddress::kIpv6, {}};
    const auto append = [&](const auto &bytes) { peer.bytes.assign(bytes.begin(), bytes.end()); };
    if (address.is_v4())
        append(address.to_v4().to_bytes());
    else
        append(address.to_v6().to_bytes());
    peer.bytes += static_cast<char>(endpoint.port() >> 8U);
    peer.bytes += static_cast<char>(endpoint.port());
    return peer;
}

void TcpStream::close() {
    asio::error_code ignored;
    socket_.close(ignored);
}

} // namespace stratasim
