#include "system/load_peer_relay.h"

#include <arpa/inet.h>
#include <array>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace test {
namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

void sendAtOnce(int connection) {
    const int on = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

int connectByTcp(const std::string &uri) {
    const int port = std::stoi(uri.substr(uri.rfind(':') + 1));
    sockaddr_in address = loopback(static_cast<std::uint16_t>(port));
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sendAtOnce(connection);
    if (connect(connection, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
        return connection;
    close(connection);
    return -1;
}

// Every slash of the path is escaped in such a URI.
int connectByPath(const std::string &uri) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string path = uri.substr(strlen("ldapi://"));
    for (auto at = path.find("%2F"); at != std::string::npos; at = path.find("%2F"))
        path.replace(at, 3, "/");
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(connection, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
        return connection;
    close(connection);
    return -1;
}

int connectTo(const std::string &uri) {
    return uri.rfind("ldapi://", 0) == 0 ? connectByPath(uri) : connectByTcp(uri);
}

// The size of the LDAP message that begins there; 0: not enough of it is there to tell.
std::size_t messageSize(std::string_view bytes) {
    if (bytes.size() < 2)
        return 0;
    const auto first = static_cast<unsigned char>(bytes[1]);
    if (first < 0x80)
        return 2 + first;
    const std::size_t lengthBytes = first & 0x7fU;
    if (bytes.size() < 2 + lengthBytes)
        return 0;
    std::size_t length = 0;
    for (std::size_t i = 0; i < lengthBytes; ++i)
        length = length << 8 | static_cast<unsigned char>(bytes[2 + i]);
    return 2 + lengthBytes + length;
}

bool sendAll(int to, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(to, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool receiveSome(int from, std::string &bytes) {
    std::array<char, 65536> buffer;
    const ssize_t got = recv(from, buffer.data(), buffer.size(), 0);
    bytes.append(buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    return got > 0;
}

} // namespace

// One way of a connection.
struct Relay::Stream {
    Cut::Way way;
    int from, to;
    std::atomic<std::size_t> &count;
    std::string kept; // an unfinished message
};

Relay::Relay(const std::string &serverUri, std::vector<Cut> cuts)
    : cuts_(std::move(cuts)), server_(serverUri) {
    thread_ = std::thread([this] { serve(); });
}

Relay::~Relay() {
    ending_ = true;
    listener_.stop();
    thread_.join();
}

void Relay::awaitIdle() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !busy_; });
}

void Relay::serve() {
    for (;;) {
        const int client = accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            return;
        {
            const std::scoped_lock lock(mutex_);
            busy_ = true;
        }
        relay(client);
        const std::scoped_lock lock(mutex_);
        busy_ = false;
        changed_.notify_all();
    }
}

// False: the connection ends here.
bool Relay::pass(Stream &stream, const Cut *cut) {
    for (;;) {
        const std::size_t size = messageSize(stream.kept);
        if (size == 0 || stream.kept.size() < size)
            return true;
        const std::string_view message = std::string_view(stream.kept).substr(0, size);
        const bool isCut =
            cut != nullptr && cut->way == stream.way && stream.count + 1 == cut->message;
        if (isCut && cut->where != Cut::Where::After) {
            sendAll(stream.to, message.substr(0, cut->where == Cut::Where::Within ? size / 2 : 0));
            return false;
        }
        if (!sendAll(stream.to, message))
            return false;
        ++stream.count;
        if (isCut)
            return false;
        stream.kept.erase(0, size);
    }
}

void Relay::relay(int client) {
    sendAtOnce(client);
    const int server = connectTo(server_);
    const Cut *cut = connections_ < cuts_.size() ? &cuts_[connections_] : nullptr;
    requests_ = answers_ = 0;
    ++connections_;
    Stream requests{Cut::Way::Requests, client, server, requests_, {}};
    Stream answers{Cut::Way::Answers, server, client, answers_, {}};
    for (bool goesOn = server >= 0; goesOn && !ending_;) {
        std::array<pollfd, 2> ends = {{{client, POLLIN, 0}, {held_ ? -1 : server, POLLIN, 0}}};
        poll(ends.data(), ends.size(), 20);
        if (ends[0].revents != 0)
            goesOn = receiveSome(client, requests.kept) && pass(requests, cut);
        if (goesOn && ends[1].revents != 0)
            goesOn = receiveSome(server, answers.kept) && pass(answers, cut);
    }
    close(client);
    shutdown(server, SHUT_WR);
    for (std::string ignored; !ending_ && server >= 0 && receiveSome(server, ignored);)
        ignored.clear();
    close(server);
}

} // namespace test
