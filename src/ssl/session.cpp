#include "core/handle.h"
#include "qldapx/tls.h"

namespace qldapx {
namespace {

char *newUrl(const char *host, int port, bool isSecure) {
    LDAPURLDesc url = {};
    url.lud_scheme = const_cast<char *>(isSecure ? "ldaps" : "ldap");
    url.lud_host = const_cast<char *>(host);
    url.lud_port = port;
    url.lud_scope = LDAP_SCOPE_DEFAULT;
    return ldap_url_desc2str(&url);
}

} // namespace
} // namespace qldapx

using namespace qldapx;

extern "C" {

// The URL's text has always been left behind here.
LDAP *ldapssl_init(const char *host, int port, int secure) {
    const char *url = newUrl(host, port, secure != 0);
    if (url == nullptr)
        return nullptr; // libldap would open a session with this machine for it
    LDAP *ld = nullptr;
    return ldap_initialize(&ld, url) == LDAP_SUCCESS ? ld : nullptr;
}
}
