#include "answered_session.h"

#include "heap_watch.h"
#include "support/ldap_message.h"

#include <openldap.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qldapx_fuzz {

AnsweredSession::AnsweredSession(const std::vector<Bytes> &operations, Answers answered) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no socketpair");
    peer_ = ends[1];
    Bytes answers;
    int id = 1;
    for (const Bytes &operation : operations)
        answers += qldapx_test::ldapMessage(answered == Answers::each ? id++ : id, operation);
    ssize_t sent = send(peer_, answers.data(), answers.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    shutdown(peer_, SHUT_WR);
    if (sent != static_cast<ssize_t>(answers.size())) {
        close(ends[0]);
        return;
    }
    require(ldap_init_fd(ends[0], LDAP_PROTO_TCP, "ldap://fuzzed.example", &session_) == 0,
            "no session");
    const int version = LDAP_VERSION3;
    ldap_set_option(session_, LDAP_OPT_PROTOCOL_VERSION, &version);
    // Otherwise libldap would call on every host that a referral names.
    ldap_set_option(session_, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
}

AnsweredSession::~AnsweredSession() {
    if (session_ != nullptr)
        ldap_unbind_ext(session_, nullptr, nullptr);
    close(peer_);
}

Bytes AnsweredSession::takeRequests() const {
    Bytes taken;
    char some[4096];
    for (ssize_t got; (got = recv(peer_, some, sizeof some, MSG_DONTWAIT)) > 0;)
        taken.append(some, static_cast<std::size_t>(got));
    return taken;
}

void prepareSessions() {
    static const bool isReady = [] {
        AnsweredSession first({});
        return first.get() != nullptr;
    }();
    require(isReady, "no session");
}

} // namespace qldapx_fuzz
