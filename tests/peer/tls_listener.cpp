#include "tls_listener.h"

#include <array>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace test {

TlsListener::TlsListener(std::optional<std::string> greeting)
    : greeting_(std::move(greeting)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener_, reinterpret_cast<sockaddr *>(&address), size) != 0 ||
        listen(listener_, 16) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr *>(&address), &size) != 0)
        throw std::runtime_error("no listener");
    port_ = ntohs(address.sin_port);
    if (greeting_)
        thread_ = std::thread([this] { serve(); });
}

TlsListener::~TlsListener() {
    shutdown(listener_, SHUT_RDWR); // which ends the thread's wait
    if (thread_.joinable())
        thread_.join();
    close(listener_);
}

std::string TlsListener::uri() const {
    return "ldaps://localhost:" + std::to_string(port_);
}

// What the client says is read first, so that the end does not take away what it is sent.
void TlsListener::serve() const {
    int client;
    while ((client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0) {
        std::array<char, 4096> ignored;
        static_cast<void>(recv(client, ignored.data(), ignored.size(), 0));
        static_cast<void>(send(client, greeting_->data(), greeting_->size(), MSG_NOSIGNAL));
        close(client);
    }
}

} // namespace test
