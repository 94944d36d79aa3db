// peer.h - the server's end of a session, played in the same thread: whenever libldap has written a
// whole request, its answers lie in the socket.
#pragma once

#include "hostile/damage.h"
#include "hostile/server.h"

#include <functional>
#include <ldap.h>

namespace hostile {

class Peer {
  public:
    // `onSent` is told how many bytes are on their way.
    Peer(const Server &server, Random &random, std::function<void(std::size_t)> onSent);
    ~Peer();
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    // The client's end; it stays the peer's until a session has it.
    [[nodiscard]] LDAP *openSession();
    // Closes both ends, whoever has them.
    void abandon();

    // Of all answers, so many percent are damaged from now on.
    void setDamage(unsigned share) { share_ = share; }
    // Begins to count what an exchange receives.
    void beginExchange();

    // Whether no answer of the session was damaged.
    [[nodiscard]] bool isRight() const { return isRight_; }
    // All that the exchange was sent, and whether a notice was in it: a message under the id 0.
    [[nodiscard]] const Bytes &sent() const { return sent_; }
    [[nodiscard]] bool hasNotice() const { return hasNotice_; }

    // Reads what the client has written, and answers it. For the layer in libldap's socket.
    void serve();

  private:
    void answer(std::string_view message);
    void send(const Sent &sent);

    const Server &server_;
    Random &random_;
    std::function<void(std::size_t)> onSent_;
    int client_ = -1, end_ = -1;
    unsigned share_ = 0;
    bool isRight_ = true, hasNotice_ = false;
    Bytes received_, sent_;
};

// The longest message that a session takes (LBER_SB_OPT_SET_MAX_INCOMING).
constexpr std::size_t longestMessage = 60000;

} // namespace hostile
