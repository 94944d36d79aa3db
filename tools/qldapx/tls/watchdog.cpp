#include "tls/watchdog.h"

#include "tls/observer.h"

#include <cerrno>
#include <csignal>
#include <strings.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace qldapx {
namespace {

volatile sig_atomic_t watchedSocket = -1;
volatile sig_atomic_t bitten = 0;

void bite(int /*signal*/) {
    const int error = errno;
    bitten = 1;
    shutdown(watchedSocket, SHUT_RDWR);
    errno = error;
}

void ringAfter(int seconds) {
    const itimerval timer = {{0, 0}, {seconds, 0}};
    setitimer(ITIMER_REAL, &timer, nullptr);
}

} // namespace

Watchdog::Watchdog(int seconds) : seconds_(seconds), callback_{added, removed, this} {
    bitten = 0;
    struct sigaction action = {};
    action.sa_handler = bite;
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
}

void Watchdog::attachTo(LDAP *ld) {
    ldap_set_option(ld, LDAP_OPT_CONNECT_CB, &callback_);
}

void Watchdog::watch(LDAP *ld) const {
    int socket = -1;
    if (ldap_get_option(ld, LDAP_OPT_DESC, &socket) == LDAP_OPT_SUCCESS && socket >= 0)
        watch(socket);
}

void Watchdog::watch(int socket) const {
    rest();
    bitten = 0;
    watchedSocket = socket;
    ringAfter(seconds_);
}

// What has come by then is kept: libldap waits for the rest as long as its own time-out says.
void Watchdog::limitReads(int socket) const {
    const timeval patience = {seconds_, 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
}

void Watchdog::rest() {
    ringAfter(0);
    watchedSocket = -1;
}

bool Watchdog::hasBitten() {
    return bitten != 0;
}

// Called before anything of TLS is sent.
int Watchdog::added(LDAP * /*ld*/, Sockbuf *buffer, LDAPURLDesc *url, sockaddr * /*address*/,
                    ldap_conncb *callback) {
    ber_socket_t socket = -1;
    const bool hasTls = url->lud_scheme != nullptr && strcasecmp(url->lud_scheme, "ldaps") == 0;
    observation().reached = hasTls;
    if (ber_sockbuf_ctrl(buffer, LBER_SB_OPT_GET_FD, &socket) != 1)
        return 0;
    const auto &watchdog = *static_cast<const Watchdog *>(callback->lc_arg);
    watchdog.limitReads(socket);
    if (hasTls)
        watchdog.watch(socket);
    return 0;
}

void Watchdog::removed(LDAP * /*ld*/, Sockbuf * /*buffer*/, ldap_conncb * /*callback*/) {
    rest();
}

} // namespace qldapx
