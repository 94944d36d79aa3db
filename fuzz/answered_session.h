// answered_session.h - a session whose server has answered already, so that a function that sends a
// request and waits for its answer can be called.
#pragma once

#include "support/ber.h"

#include <ldap.h>
#include <vector>

namespace qldapx_fuzz {

using qldapx_test::Bytes;

// Behind the answers the connection ends, so that no run waits for more.
class AnsweredSession {
  public:
    // What the operations answer: the session's first request, or each one request after another.
    enum class Answers { first, each };
    explicit AnsweredSession(const std::vector<Bytes> &operations,
                             Answers answered = Answers::first);
    ~AnsweredSession();
    AnsweredSession(const AnsweredSession &) = delete;
    AnsweredSession &operator=(const AnsweredSession &) = delete;

    // NULL: the answers are too large for the connection.
    [[nodiscard]] LDAP *get() const { return session_; }
    // All that has been sent so far and not been taken.
    [[nodiscard]] Bytes takeRequests() const;

  private:
    LDAP *session_ = nullptr;
    int peer_ = -1;
};

// Has libldap allocate what it keeps from its first session on. Before a HeapWatch.
void prepareSessions();

} // namespace qldapx_fuzz
