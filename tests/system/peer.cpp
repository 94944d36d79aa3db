#include "system/peer.h"

#include <array>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace test {
namespace {

using namespace qldapx_test;

// The tool waits for each answer: what comes together is one request.
bool receive(int connection) {
    std::array<char, 4096> buffer{};
    return recv(connection, buffer.data(), buffer.size(), 0) > 0;
}

void entertain(int connection, const Visit &visit) {
    const Bytes bound = ldapMessage(
        1, tlv(0x61, join({tlv(0x0a, Bytes(1, '\0')), octetString(""), octetString("")})));
    for (const Bytes &reply : {bound, visit.answer})
        if (receive(connection))
            send(connection, reply.data(), reply.size(), MSG_NOSIGNAL);
    while (!visit.ends && receive(connection)) {
    }
}

} // namespace

Peer::Peer(std::vector<Visit> visits)
    : visits_(std::move(visits)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    if (bind(listener_, generic, size) != 0 || listen(listener_, 1) != 0 ||
        getsockname(listener_, generic, &size) != 0)
        throw std::runtime_error("no socket");
    uri_ = "ldap://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    thread_ = std::thread([this] { serve(); });
}

Peer::~Peer() {
    shutdown(listener_, SHUT_RDWR); // for a client that never came
    thread_.join();
    close(listener_);
}

void Peer::serve() const {
    for (const Visit &visit : visits_) {
        const int connection = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
            return;
        entertain(connection, visit);
        close(connection);
    }
}

} // namespace test
