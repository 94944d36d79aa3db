#include "ssl/hand_over.h"

#include "ssl/carrier.h"
#include "ssl/handles.h"

#include <cstring>

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

// libldap reads the pointer, and takes its reference for a connection a moment later: a context
// that is replaced lives on until the next one is.
bool giveToLibldap(SSL_CTX *context) {
    static SSL_CTX *given = nullptr;
    static SSL_CTX *givenBefore = nullptr;
    if (ldap_set_option(nullptr, LDAP_OPT_X_TLS_CTX, context) != LDAP_OPT_SUCCESS)
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
