#include "system/peer.h"

#include <array>
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
    std::vector<Bytes> replies = {bound, visit.answer};
    replies.insert(replies.end(), visit.more.begin(), visit.more.end());
    for (const Bytes &reply : replies)
        if (receive(connection))
            send(connection, reply.data(), reply.size(), MSG_NOSIGNAL);
    while (!visit.ends && receive(connection)) {
    }
}

} // namespace

Peer::Peer(std::vector<Visit> visits) : visits_(std::move(visits)) {
    thread_ = std::thread([this] { serve(); });
}

Peer::~Peer() {
    listener_.stop(); // for a client that never came
    thread_.join();
}

void Peer::serve() const {
    for (const Visit &visit : visits_) {
        const int connection = accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
            return;
        entertain(connection, visit);
        close(connection);
    }
}

} // namespace test
