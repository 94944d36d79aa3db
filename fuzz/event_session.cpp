#include "event_session.h"

#include "heap_watch.h"
#include "support/ldap_message.h"

#include <openldap.h>
#include <qldapx.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qldapx_fuzz {

EventSession::EventSession() {
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

EventSession::~EventSession() {
    ldap_unbind_ext(session_, nullptr, nullptr);
    close(peer_);
}

MessagePtr EventSession::receive(const Bytes &operation) {
    EventSpecification event{7, 0};
    require(ldap_monitor_events(session_, 1, &event, &id_) == LDAP_SUCCESS, "no registration");
    return answer(operation);
}

void EventSession::endRegistration() {
    answer(qldapx_test::extendedResponse(0, "1.2.3", std::nullopt));
    ldap_set_option(session_, LDAP_OPT_DIAGNOSTIC_MESSAGE, nullptr);
    ldap_set_option(session_, LDAP_OPT_MATCHED_DN, nullptr);
    // Over NULL libldap would release the list and keep it.
    char *none[] = {nullptr};
    ldap_set_option(session_, LDAP_OPT_REFERRAL_URLS, none);
    dropRequests();
}

MessagePtr EventSession::answer(const Bytes &operation) {
    const Bytes message = qldapx_test::ldapMessage(id_, operation);
    ssize_t sent = send(peer_, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent != static_cast<ssize_t>(message.size()))
        return nullptr;
    timeval atOnce{0, 0};
    LDAPMessage *received = nullptr;
    ldap_result(session_, id_, LDAP_MSG_ONE, &atOnce, &received);
    return MessagePtr(received);
}

// Otherwise the socket would be full some day.
void EventSession::dropRequests() const {
    char dropped[4096];
    while (recv(peer_, dropped, sizeof dropped, MSG_DONTWAIT) > 0)
        ;
}

} // namespace qldapx_fuzz
