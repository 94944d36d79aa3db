#include "peered_session.h"

#include "heap_watch.h"
#include "support/ldap_message.h"

#include <openldap.h>
#include <qldapx.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qldapx_fuzz {

PeeredSession::PeeredSession() {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no socketpair");
    peer_ = ends[1];
    require(ldap_init_fd(ends[0], LDAP_PROTO_TCP, "ldap://fuzzed.example", &session_) == 0,
            "no session");
    const int version = LDAP_VERSION3;
    ldap_set_option(session_, LDAP_OPT_PROTOCOL_VERSION, &version);
    // Otherwise libldap would call on every host that a referral names.
    ldap_set_option(session_, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
}

PeeredSession::~PeeredSession() {
    ldap_unbind_ext(session_, nullptr, nullptr);
    close(peer_);
}

MessagePtr PeeredSession::receive(const Bytes &operation) {
    EventSpecification event{7, 0};
    require(ldap_monitor_events(session_, 1, &event, &id_) == LDAP_SUCCESS, "no registration");
    return answer(id_, operation);
}

void PeeredSession::end(int id) {
    answer(id, qldapx_test::extendedResponse(0, "1.2.3", std::nullopt));
    ldap_set_option(session_, LDAP_OPT_DIAGNOSTIC_MESSAGE, nullptr);
    ldap_set_option(session_, LDAP_OPT_MATCHED_DN, nullptr);
    // Over NULL libldap would release the list and keep it.
    char *none[] = {nullptr};
    ldap_set_option(session_, LDAP_OPT_REFERRAL_URLS, none);
    takeRequests(); // otherwise the socket would be full some day
}

MessagePtr PeeredSession::answer(int id, const Bytes &operation) {
    const Bytes message = qldapx_test::ldapMessage(id, operation);
    ssize_t sent = send(peer_, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent != static_cast<ssize_t>(message.size()))
        return nullptr;
    timeval atOnce{0, 0};
    LDAPMessage *received = nullptr;
    ldap_result(session_, id, LDAP_MSG_ONE, &atOnce, &received);
    return MessagePtr(received);
}

Bytes PeeredSession::takeRequests() {
    Bytes taken;
    char some[4096];
    for (ssize_t got; (got = recv(peer_, some, sizeof some, MSG_DONTWAIT)) > 0;)
        taken.append(some, static_cast<std::size_t>(got));
    return taken;
}

} // namespace qldapx_fuzz
