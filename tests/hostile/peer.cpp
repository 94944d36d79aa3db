#include "hostile/peer.h"

#include "fuzz/heap_watch.h"
#include "support/ldap_message.h"

#include <openldap.h>
#include <sys/socket.h>
#include <unistd.h>

namespace hostile {

namespace {

using qldapx_fuzz::require;

int setUp(Sockbuf_IO_Desc *descriptor, void *peer) {
    descriptor->sbiod_pvt = peer;
    return 0;
}

int remove(Sockbuf_IO_Desc * /*descriptor*/) {
    return 0;
}

int control(Sockbuf_IO_Desc *descriptor, int option, void *argument) {
    return LBER_SBIOD_CTRL_NEXT(descriptor, option, argument);
}

ber_slen_t read(Sockbuf_IO_Desc *descriptor, void *bytes, ber_len_t size) {
    return LBER_SBIOD_READ_NEXT(descriptor, bytes, size);
}

ber_slen_t write(Sockbuf_IO_Desc *descriptor, void *bytes, ber_len_t size) {
    const ber_slen_t written = LBER_SBIOD_WRITE_NEXT(descriptor, bytes, size);
    static_cast<Peer *>(descriptor->sbiod_pvt)->serve();
    return written;
}

Sockbuf_IO layer = {setUp, remove, control, read, write, remove};

void setOptions(LDAP *ld) {
    const int version = LDAP_VERSION3;
    const timeval late{600, 0}; // no time passes, see network.h, but that of a busy machine
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld, LDAP_OPT_TIMEOUT, &late);
    ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &late);
    ldap_set_option(ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
}

void setOptions(Sockbuf *socket, bool waits) {
    ber_len_t longest = longestMessage;
    ber_sockbuf_ctrl(socket, LBER_SB_OPT_SET_MAX_INCOMING, &longest);
    if (!waits)
        ber_sockbuf_ctrl(socket, LBER_SB_OPT_SET_NONBLOCK, socket);
}

// Takes a tag and a length off the bytes; the length, or more than there are left.
std::size_t takeHeader(std::string_view &bytes) {
    const auto at = [&bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const std::size_t count = bytes.size() < 2 || at(1) < 0x80 ? 0 : at(1) & 0x7fU;
    if (bytes.size() < 2 + count)
        return bytes.size() + 1;
    std::size_t length = count == 0 ? at(1) : 0;
    for (std::size_t i = 0; i < count; ++i)
        length = length << 8 | at(2 + i);
    bytes.remove_prefix(2 + count);
    return length;
}

// Requests are written by libldap: their outer lengths are definite. 0: it is not whole yet.
std::size_t sizeOfMessage(std::string_view bytes) {
    std::string_view content = bytes;
    const std::size_t length = takeHeader(content);
    return length <= content.size() ? bytes.size() - content.size() + length : 0;
}

// As libldap reads the id: whatever its tag, and a missing number is 0.
bool isNotice(std::string_view message) {
    takeHeader(message);
    const std::size_t length = takeHeader(message);
    return length <= message.size() &&
           message.substr(0, length).find_first_not_of('\0') == std::string_view::npos;
}

} // namespace

Peer::Peer(const Server &server, Random &random, std::function<void(std::size_t)> onSent)
    : server_(server), random_(random), onSent_(std::move(onSent)) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no socketpair");
    client_ = ends[0];
    end_ = ends[1];
}

Peer::~Peer() {
    close(end_);
}

void Peer::abandon() {
    close(client_);
}

LDAP *Peer::openSession() {
    LDAP *ld = nullptr;
    const std::string url = std::string("ldap://") + Server::host;
    require(ldap_init_fd(client_, LDAP_PROTO_TCP, url.c_str(), &ld) == 0, "no session");
    setOptions(ld);
    Sockbuf *socket = nullptr;
    ldap_get_option(ld, LDAP_OPT_SOCKBUF, &socket);
    setOptions(socket, random_.percent(50));
    require(ber_sockbuf_add_io(socket, &layer, LBER_SBIOD_LEVEL_APPLICATION, this) == 0,
            "no layer");
    return ld;
}

void Peer::beginExchange() {
    const qldapx_fuzz::Unwatched pause;
    sent_.clear();
    hasNotice_ = false;
}

void Peer::serve() {
    const qldapx_fuzz::Unwatched pause;
    char some[4096];
    for (ssize_t got; (got = recv(end_, some, sizeof some, MSG_DONTWAIT)) > 0;)
        received_.append(some, static_cast<std::size_t>(got));
    while (const std::size_t size = sizeOfMessage(received_)) {
        const Bytes message = received_.substr(0, size);
        received_.erase(0, size);
        answer(message);
    }
}

void Peer::answer(std::string_view message) {
    const std::optional<Request> request = parseRequest(message);
    require(request.has_value(), "a request that is no message");
    Sent sent;
    for (const Bytes &operation : server_.answersTo(*request, random_))
        sent.messages.push_back(qldapx_test::ldapMessage(request->id, operation));
    if (!sent.messages.empty() && random_.percent(share_)) {
        isRight_ = false;
        damage(sent, request->id, server_.anyAnswers(), random_);
    }
    send(sent);
}

// What the socket does not take is where the connection ends.
void Peer::send(const Sent &sent) {
    Bytes bytes;
    for (const Bytes &message : sent.messages) {
        bytes += message;
        hasNotice_ |= isNotice(message);
    }
    onSent_(bytes.size());
    sent_ += bytes;
    const ssize_t taken = ::send(end_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent.ends || taken != static_cast<ssize_t>(bytes.size()))
        shutdown(end_, SHUT_RDWR);
}

} // namespace hostile
