#include "tls_relay.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace test {
namespace {

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int newSocket() {
    return socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
}

// Each piece as a segment of its own.
void sendAtOnce(int socket) {
    int yes = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
}

} // namespace

TlsRelay::TlsRelay(int serverPort) : serverPort_(serverPort), listener_(newSocket()) {
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    int ends[2];
    if (bind(listener_, reinterpret_cast<sockaddr *>(&address), size) != 0 ||
        listen(listener_, 16) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr *>(&address), &size) != 0 ||
        pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("the relay cannot listen");
    port_ = ntohs(address.sin_port);
    wakeRead_ = ends[0];
    wakeWrite_ = ends[1];
    thread_ = std::thread([this] { run(); });
}

TlsRelay::~TlsRelay() {
    {
        std::lock_guard guard(mutex_);
        ends_ = true;
    }
    wake();
    thread_.join();
    for (int number : {listener_, wakeRead_, wakeWrite_})
        close(number);
    for (const Connection &connection : connections_) {
        close(connection.client);
        close(connection.server);
    }
}

std::string TlsRelay::uri(const std::string &host) const {
    return "ldaps://" + host + ":" + std::to_string(port_);
}

void TlsRelay::cutInto(std::size_t size) {
    std::lock_guard guard(mutex_);
    piece_ = size;
}

void TlsRelay::passOnly(std::size_t count, Then then) {
    std::lock_guard guard(mutex_);
    allowance_ = count;
    then_ = then;
}

bool TlsRelay::awaitHeld() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [this] {
        return std::any_of(connections_.begin(), connections_.end(),
                           [](const Connection &connection) { return !connection.held.empty(); });
    });
}

void TlsRelay::passAll() {
    {
        std::lock_guard guard(mutex_);
        allowance_ = everything;
        then_ = Then::hold;
        for (Connection &connection : connections_)
            passToClient(connection);
    }
    wake();
}

std::size_t TlsRelay::passed() {
    std::lock_guard guard(mutex_);
    return passed_;
}

std::vector<std::string> TlsRelay::fromClients() {
    std::lock_guard guard(mutex_);
    std::vector<std::string> all;
    for (const Connection &connection : connections_)
        all.push_back(connection.sent);
    return all;
}

void TlsRelay::wake() const {
    static_cast<void>(write(wakeWrite_, "", 1));
}

// A server whose bytes are held back is not listened to.
void TlsRelay::run() {
    for (;;) {
        std::vector<pollfd> waited = {{wakeRead_, POLLIN, 0}, {listener_, POLLIN, 0}};
        std::vector<Connection *> order;
        {
            std::lock_guard guard(mutex_);
            for (Connection &connection : connections_)
                if (connection.isOpen) {
                    order.push_back(&connection);
                    waited.push_back({connection.client, POLLIN, 0});
                    waited.push_back({connection.held.empty() ? connection.server : -1, POLLIN, 0});
                }
        }
        poll(waited.data(), waited.size(), -1);
        std::lock_guard guard(mutex_);
        if (ends_)
            return;
        char ignored = 0;
        if (waited[0].revents != 0)
            static_cast<void>(read(wakeRead_, &ignored, 1));
        if (waited[1].revents != 0)
            accept();
        for (std::size_t i = 0; i < order.size(); ++i) {
            if (waited[2 * i + 2].revents != 0)
                passToServer(*order[i]);
            if (waited[2 * i + 3].revents != 0)
                takeFromServer(*order[i]);
        }
    }
}

// Without a server the client meets the end at once.
void TlsRelay::accept() {
    int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC), server = newSocket();
    sockaddr_in address = loopback(serverPort_);
    Connection &connection = connections_.emplace_back(Connection{client, server});
    if (connect(server, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        shutdown(client, SHUT_RDWR);
        connection.isOpen = false;
    }
    sendAtOnce(client);
    sendAtOnce(server);
}

void TlsRelay::passToServer(Connection &connection) {
    std::array<char, 65536> buffer;
    ssize_t got = read(connection.client, buffer.data(), buffer.size());
    if (got > 0) {
        std::string bytes(buffer.data(), static_cast<std::size_t>(got));
        connection.sent += bytes;
        if (sendPieces(connection.server, bytes))
            return;
    }
    connection.isOpen = false;
    shutdown(connection.client, SHUT_RDWR);
    shutdown(connection.server, SHUT_RDWR);
}

void TlsRelay::takeFromServer(Connection &connection) {
    std::array<char, 65536> buffer;
    ssize_t got = read(connection.server, buffer.data(), buffer.size());
    if (got > 0) {
        connection.held.assign(buffer.data(), static_cast<std::size_t>(got));
        return passToClient(connection);
    }
    connection.isOpen = false;
    shutdown(connection.client, SHUT_RDWR);
}

void TlsRelay::passToClient(Connection &connection) {
    std::size_t count = std::min(connection.held.size(), allowance_);
    if (!sendPieces(connection.client, connection.held.substr(0, count)))
        connection.isOpen = false;
    connection.held.erase(0, count);
    passed_ += count;
    if (allowance_ != everything)
        allowance_ -= count;
    if (connection.held.empty())
        return;
    if (then_ == Then::close) {
        connection.isOpen = false;
        shutdown(connection.client, SHUT_RDWR);
    }
    changed_.notify_all();
}

bool TlsRelay::sendPieces(int socket, const std::string &bytes) const {
    for (std::size_t at = 0; at < bytes.size(); at += std::min(piece_, bytes.size() - at)) {
        std::size_t size = std::min(piece_, bytes.size() - at);
        if (send(socket, bytes.data() + at, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size))
            return false;
    }
    return true;
}

bool isTlsOnly(const std::string &bytes) {
    std::size_t at = 0;
    while (bytes.size() - at >= 5) {
        auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[at + i]); };
        if (byte(0) < 20 || byte(0) > 23 || byte(1) != 3 || byte(2) > 3)
            return false;
        at += 5 + static_cast<std::size_t>(byte(3) * 256 + byte(4));
        if (at > bytes.size())
            return false;
    }
    return !bytes.empty() && at == bytes.size();
}

void expectOnlyTls(TlsRelay &relay, std::size_t connections) {
    std::vector<std::string> all = relay.fromClients();
    EXPECT_EQ(all.size(), connections);
    for (const std::string &sent : all)
        EXPECT_TRUE(isTlsOnly(sent)) << testing::PrintToString(sent.substr(0, 40));
}

} // namespace test
