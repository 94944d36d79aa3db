// peered_session.h - a session with an extended request under way, and its server.
#pragma once

#include "support/ber.h"

#include <ldap.h>
#include <memory>

namespace qldapx_fuzz {

using qldapx_test::Bytes;

struct MessageFree {
    void operator()(LDAPMessage *message) const { ldap_msgfree(message); }
};
using MessagePtr = std::unique_ptr<LDAPMessage, MessageFree>;

// Both ends of a socketpair in one thread: what is sent lies in the socket when it is waited for,
// so that no run waits.
class PeeredSession {
  public:
    PeeredSession();
    ~PeeredSession();
    PeeredSession(const PeeredSession &) = delete;
    PeeredSession &operator=(const PeeredSession &) = delete;

    [[nodiscard]] LDAP *get() const { return session_; }

    // Registers for events, and has the server answer with that protocol operation: which request
    // an answer belongs to is nothing that its parsers look at. NULL: libldap takes it for no
    // message, and the session is of no more use.
    MessagePtr receive(const Bytes &operation);
    // All that was sent and not taken yet.
    Bytes takeRequests();
    // Ends the request under that id, or receive()'s, where the answer has not done so, and forgets
    // what libldap remembers of it: the session is as it was before.
    void end(int id);
    void end() { end(id_); }

  private:
    MessagePtr answer(int id, const Bytes &operation);

    LDAP *session_ = nullptr;
    int peer_ = -1;
    int id_ = 0;
};

} // namespace qldapx_fuzz
