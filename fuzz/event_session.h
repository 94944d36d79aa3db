// event_session.h - a session with a registration for events, and its server.
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
class EventSession {
  public:
    EventSession();
    ~EventSession();
    EventSession(const EventSession &) = delete;
    EventSession &operator=(const EventSession &) = delete;

    [[nodiscard]] LDAP *get() const { return session_; }

    // Registers for events, and has the server answer with that protocol operation. NULL: libldap
    // takes it for no message, and the session is of no more use.
    MessagePtr receive(const Bytes &operation);
    // Ends the registration, where the answer has not done so, and forgets what libldap remembers
    // of it: the session is as it was before receive().
    void endRegistration();

  private:
    MessagePtr answer(const Bytes &operation);
    void dropRequests() const;

    LDAP *session_ = nullptr;
    int peer_ = -1;
    int id_ = 0;
};

} // namespace qldapx_fuzz
