#include "ssl/carrier.h"

#include "ssl/host_name.h"
#include "ssl/libldap.h"
#include "ssl/resumption.h"
#include "ssl/tls_connection.h"
#include "ssl/tls_layer.h"

#include <unistd.h>

namespace qldapx {
namespace {

constexpr int accepted = 0;
constexpr int refused = -1; // libldap takes any other number for a connection

// This scheme of libldap's URLs means TLS as well, but makes it begin none; a session may keep it,
// and is carried all the same.
constexpr const char *carriedScheme = "pldaps";

SSL_CTX *carried = nullptr; // guarded by g_Sync

bool setScheme(LDAPURLDesc &url, const char *scheme) {
    char *copy = ber_strdup(scheme);
    if (copy == nullptr)
        return false;
    ldap_memfree(url.lud_scheme);
    url.lud_scheme = copy;
    return true;
}

// libldap calls it when a connection stands, before it notes the URL that led there. If memory runs
// out, the scheme stays the one that is carried.
int restoreScheme(LDAP * /*ld*/, LDAPURLDesc ** /*list*/, LDAPURLDesc **used, void * /*unused*/) {
    if (hasScheme(**used, carriedScheme))
        static_cast<void>(setScheme(**used, tlsScheme));
    return LDAP_SUCCESS;
}

ber_socket_t socketOf(Sockbuf *sockbuf) {
    ber_socket_t socket = -1;
    ber_sockbuf_ctrl(sockbuf, LBER_SB_OPT_GET_FD, &socket);
    return socket;
}

// A session whose socket buffer keeps the socket counts as connected, and could not be tried again.
int refuse(LDAP *ld, Sockbuf *sockbuf, const char *reason) {
    ldap_set_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, reason);
    close(socketOf(sockbuf));
    ber_socket_t none = -1;
    ber_sockbuf_ctrl(sockbuf, LBER_SB_OPT_SET_FD, &none);
    return refused;
}

// In milliseconds. False: memory ran out, which must not count as a session without a limit.
bool networkTimeout(LDAP *ld, int &milliseconds) {
    std::unique_ptr<timeval, Releaser<ldap_memfree>> limit;
    if (ldap_get_option(ld, LDAP_OPT_NETWORK_TIMEOUT, Out(limit)) != LDAP_OPT_SUCCESS)
        return false;
    constexpr long longest = INT_MAX / 1000 - 1; // seconds
    milliseconds = noLimit;
    if (limit)
        milliseconds =
            static_cast<int>(std::min<long>(limit->tv_sec, longest) * 1000 + limit->tv_usec / 1000);
    return true;
}

// SSL_new copies from the context what other threads may be setting.
SslPtr newSsl() {
    const Lock lock(g_Sync);
    return SslPtr(SSL_new(carried));
}

TlsConnectionPtr newConnection(LDAP *ld, int socket, const LDAPURLDesc &url) {
    int patience = noLimit;
    if (!networkTimeout(ld, patience))
        return nullptr;
    const bool isNamed = url.lud_host != nullptr && url.lud_host[0] != '\0';
    return newTlsConnection(newSsl(), socket, isNamed ? url.lud_host : "localhost", url.lud_port,
                            patience);
}

// OpenSSL verifies with a copy of what the connection requires, and goes on without the address
// that it has no memory for. A name it finds again with the connection.
class Expected {
  public:
    explicit Expected(const char *address) { expectAddress(address); }
    ~Expected() { expectAddress(nullptr); }
    Expected(const Expected &) = delete;
    Expected &operator=(const Expected &) = delete;
};

int connectTls(LDAP *ld, Sockbuf *sockbuf, LDAPURLDesc &url) {
    TlsConnectionPtr connection = newConnection(ld, socketOf(sockbuf), url);
    if (!connection)
        return refuse(ld, sockbuf, "TLS: out of memory");
    const OnSignal onSignal =
        intOption(ld, LDAP_OPT_RESTART) != 0 ? OnSignal::goOn : OnSignal::stop;
    const Expected address(url.lud_host);
    if (!handshake(*connection, onSignal)) {
        char reason[512];
        explainFailure(*connection, errno, reason, sizeof reason);
        return refuse(ld, sockbuf, reason);
    }
    if (!setScheme(url, carriedScheme) || !pushTls(sockbuf, std::move(connection)))
        return refuse(ld, sockbuf, "TLS: out of memory");
    ldap_set_urllist_proc(ld, restoreScheme, nullptr);
    return accepted;
}

// A connection's socket is there; libldap has not used it yet.
int onConnected(LDAP *ld, Sockbuf *sockbuf, LDAPURLDesc *url, sockaddr * /*address*/,
                ldap_conncb * /*callback*/) {
    removeTls(sockbuf); // of the connection before
    if (intOption(ld, LDAP_OPT_X_TLS) == LDAP_OPT_X_TLS_HARD)
        return refuse(ld, sockbuf,
                      "TLS: LDAP_OPT_X_TLS_HARD asks for libldap's own TLS, which does not "
                      "know the context of ldapssl_client_init; use an ldaps URL instead");
    if (!hasScheme(*url, tlsScheme) && !hasScheme(*url, carriedScheme))
        return accepted;
    if (hasOtherTls(sockbuf))
        return refuse(ld, sockbuf,
                      "TLS: the session began with libldap's own TLS, before "
                      "ldapssl_client_init; open a new one");
    return connectTls(ld, sockbuf, *url);
}

// The unbind is still to be sent, through the TLS that stays for it.
void onDisconnecting(LDAP * /*ld*/, Sockbuf * /*sockbuf*/, ldap_conncb * /*callback*/) {}

ldap_conncb connectionCallback = {onConnected, onDisconnecting, nullptr};

} // namespace

bool carry(SSL_CTX *context) {
    allowResumption(context);
    SSL_CTX_up_ref(context);
    SSL_CTX *before = carried;
    carried = context;
    if (!watchConnections(connectionCallback)) {
        carried = before;
        SSL_CTX_free(context);
        return false;
    }
    SSL_CTX_free(before);
    return true;
}

} // namespace qldapx
