#include "ssl/hand_over.h"

#include "ssl/carrier.h"
#include "ssl/handles.h"
#include "ssl/host_name.h"
#include "ssl/libldap.h"

#include <openssl/err.h>

namespace qldapx {
namespace {

enum class Package { unknown, openSsl, other };

Package packageOfLibldap() {
    LdapStringPtr name;
    if (ldap_get_option(nullptr, LDAP_OPT_X_TLS_PACKAGE, Out(name)) != LDAP_OPT_SUCCESS)
        return Package::other;
    if (!name)
        return Package::unknown;
    return std::strcmp(name.get(), "OpenSSL") == 0 ? Package::openSsl : Package::other;
}

ContextPtr contextOf(LDAP *ld) {
    ContextPtr context;
    ldap_get_option(ld, LDAP_OPT_X_TLS_CTX, Out(context)); // a reference of its own
    return context;
}

// libldap reads the process's context without a lock, takes its reference a moment later, and
// another thread may have freed it by then. What the session holds itself it does not look for.
void giveToSession(LDAP *ld) {
    const Lock lock(g_Sync);
    if (!contextOf(ld))
        ldap_set_option(ld, LDAP_OPT_X_TLS_CTX, contextOf(nullptr).get());
}

// A connection that libldap is about to begin TLS on, in this thread, unless it connects
// asynchronously. It tells its TLS the server's name, but no address.
int onConnected(LDAP *ld, Sockbuf * /*sockbuf*/, LDAPURLDesc *url, sockaddr * /*address*/,
                ldap_conncb * /*callback*/) {
    const bool hasTls = hasScheme(*url, tlsScheme);
    if (hasTls)
        giveToSession(ld);
    const bool isNext = hasTls && intOption(ld, LDAP_OPT_CONNECT_ASYNC) == 0;
    expectAddress(isNext ? url->lud_host : nullptr);
    return 0;
}

void onDisconnecting(LDAP * /*ld*/, Sockbuf * /*sockbuf*/, ldap_conncb * /*callback*/) {}

ldap_conncb connectionCallback = {onConnected, onDisconnecting, nullptr};

// libldap sets its TLS up with the first connection, and without a lock: threads that begin
// together would find it half done. A context of its own makes it do so now.
bool setUpLibldap() {
    LDAP *session = nullptr;
    if (ldap_create(&session) != LDAP_SUCCESS)
        return false;
    int isServer = 0;
    ldap_set_option(session, LDAP_OPT_X_TLS_CACERTFILE, ""); // nor need it read any
    ldap_set_option(session, LDAP_OPT_X_TLS_CACERTDIR, "");
    ERR_set_mark();
    ldap_set_option(session, LDAP_OPT_X_TLS_NEWCTX, &isServer);
    ERR_pop_to_mark();
    ldap_unbind_ext(session, nullptr, nullptr);
    return true;
}

// A session that sends StartTLS was given none, and reads the pointer: a context that is replaced
// lives on until the next one is.
bool giveToLibldap(SSL_CTX *context) {
    static SSL_CTX *given = nullptr;
    static SSL_CTX *givenBefore = nullptr;
    if ((given == nullptr && !setUpLibldap()) || !watchConnections(connectionCallback) ||
        ldap_set_option(nullptr, LDAP_OPT_X_TLS_CTX, context) != LDAP_OPT_SUCCESS)
        return false;
    SSL_CTX_free(givenBefore);
    givenBefore = given;
    SSL_CTX_up_ref(context);
    given = context;
    return true;
}

} // namespace

// Another libldap would take the pointer for one of its own TLS library and write through it.
bool handOver(SSL_CTX *context) {
    switch (packageOfLibldap()) {
    case Package::openSsl:
        return giveToLibldap(context);
    case Package::other:
        return carry(context);
    case Package::unknown:
        break;
    }
    return false;
}

} // namespace qldapx
