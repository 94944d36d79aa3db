#include "system/challenge_peer.h"

#include <array>
#include <sys/socket.h>
#include <unistd.h>

namespace test {
namespace {

using namespace qldapx_test;

Bytes receive(int connection) {
    std::array<char, 4096> buffer{};
    const ssize_t got = recv(connection, buffer.data(), buffer.size(), 0);
    return Bytes(buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
}

// BindResponse ::= [APPLICATION 1] SEQUENCE { LDAPResult, serverSaslCreds [7] OCTET STRING }
Bytes bindResponse(char code, const std::string &credentials) {
    return ldapMessage(1, tlv(0x61, join({tlv(0x0a, Bytes(1, code)), octetString(""),
                                          octetString(""), tlv(0x87, credentials)})));
}

} // namespace

ChallengePeer::ChallengePeer(std::string challenge) : challenge_(std::move(challenge)) {
    thread_ = std::thread([this] { serve(); });
}

ChallengePeer::~ChallengePeer() {
    listener_.stop(); // for a client that never came
    if (thread_.joinable())
        thread_.join();
}

void ChallengePeer::serve() {
    const int connection = accept4(listener_.fd(), nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0)
        return;
    constexpr char bindInProgress = 14;
    first_ = receive(connection);
    const Bytes answer = bindResponse(bindInProgress, challenge_);
    send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
    for (Bytes next = receive(connection); !next.empty(); next = receive(connection))
        rest_ += next;
    close(connection);
}

const Bytes &ChallengePeer::first() {
    if (thread_.joinable())
        thread_.join();
    return first_;
}

const Bytes &ChallengePeer::rest() {
    static_cast<void>(first());
    return rest_;
}

} // namespace test
