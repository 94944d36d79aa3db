#include "support/scripted_peer.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <openldap.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace qldapx_test {

namespace {

constexpr int patienceMs = 10000;
constexpr std::size_t largestMessage = 8 << 20;

// The INTEGER element of the message id, as it stands in the message.
Bytes idElement(const Bytes &message) {
    auto lengthByte = static_cast<unsigned char>(message[1]);
    std::size_t start = 2 + (lengthByte > 0x80 ? lengthByte - 0x80U : 0U);
    return message.substr(start, 2 + static_cast<unsigned char>(message.at(start + 1)));
}

bool isUnbind(const Bytes &message) {
    constexpr char unbindTag = 0x42;
    return message.size() > 5 && message.at(2 + idElement(message).size()) == unbindTag;
}

} // namespace

ScriptedPeer::ScriptedPeer(std::vector<Step> script) : script_(std::move(script)) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::runtime_error("socketpair failed");
    clientFd_ = ends[0];
    peerFd_ = ends[1];
    thread_ = std::thread(&ScriptedPeer::play, this);
}

ScriptedPeer::~ScriptedPeer() {
    join();
    close(peerFd_);
}

LDAP *ScriptedPeer::session() {
    if (session_ != nullptr)
        return session_;
    if (ldap_init_fd(clientFd_, LDAP_PROTO_TCP, "ldap://scripted.example", &session_) != 0)
        throw std::runtime_error("ldap_init_fd failed");
    const int version = LDAP_VERSION3;
    ldap_set_option(session_, LDAP_OPT_PROTOCOL_VERSION, &version);
    return session_;
}

// The unbind also closes the socket, which ends the thread.
void ScriptedPeer::closeSession() {
    if (session_ != nullptr)
        ldap_unbind_ext(session_, nullptr, nullptr);
    else if (clientFd_ >= 0)
        close(clientFd_);
    session_ = nullptr;
    clientFd_ = -1;
}

const std::vector<Bytes> &ScriptedPeer::received() {
    join();
    return received_;
}

void ScriptedPeer::join() {
    closeSession();
    if (!thread_.joinable())
        return;
    thread_.join();
    if (!received_.empty() && isUnbind(received_.back()))
        received_.pop_back();
    EXPECT_EQ(fault_, "");
}

void ScriptedPeer::play() {
    std::size_t next = 0;
    while (std::optional<Bytes> message = readMessage()) {
        received_.push_back(*message);
        if (next < script_.size() && !isUnbind(*message))
            playStep(script_[next++], *message);
    }
}

void ScriptedPeer::playStep(const Step &step, const Bytes &message) {
    Bytes bytes = step.raw;
    for (const Bytes &operation : step.answers)
        bytes += sequence({idElement(message), operation});
    if (step.compute)
        bytes += sequence({idElement(message), step.compute(message)});
    // A session that has ended meanwhile takes no answer, and needs none.
    (void)send(peerFd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    // Only this direction, so that what the session still sends is no SIGPIPE.
    if (step.close)
        shutdown(peerFd_, SHUT_WR);
}

// Reads one LDAPMessage; nothing means that the session has closed the connection.
std::optional<Bytes> ScriptedPeer::readMessage() {
    Bytes message;
    if (!readInto(message, 2))
        return std::nullopt;
    std::size_t length = static_cast<unsigned char>(message[1]);
    if (length > 0x80) {
        std::size_t lengthEnd = 2 + length - 0x80;
        if (!readInto(message, lengthEnd))
            return std::nullopt;
        length = 0;
        for (std::size_t i = 2; i < lengthEnd; ++i)
            length = length << 8 | static_cast<unsigned char>(message[i]);
    }
    if (message[0] != 0x30 || length < 5 || length > largestMessage) {
        fail("what arrived is no LDAP message");
        return std::nullopt;
    }
    if (!readInto(message, message.size() + length))
        return std::nullopt;
    return message;
}

// Reads until there are so many bytes in all.
bool ScriptedPeer::readInto(Bytes &bytes, std::size_t size) {
    while (bytes.size() < size) {
        pollfd waiting{peerFd_, POLLIN, 0};
        if (poll(&waiting, 1, patienceMs) <= 0) {
            fail("no message arrived in time");
            return false;
        }
        char buffer[4096];
        ssize_t got = read(peerFd_, buffer, std::min(sizeof buffer, size - bytes.size()));
        if (got <= 0) {
            if (!bytes.empty())
                fail("a message broke off");
            return false;
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
    return true;
}

// Lets a session that waits for an answer go on: it sees the end of the connection.
void ScriptedPeer::fail(const char *reason) {
    fault_ = reason;
    shutdown(peerFd_, SHUT_WR);
}

} // namespace qldapx_test
