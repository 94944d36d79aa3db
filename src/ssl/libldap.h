// libldap.h - what TLS asks of libldap.
#pragma once

#include "core/handle.h"

#include <cstring>

namespace qldapx {

// libldap begins TLS of its own for this scheme, and for no other, once the connection is there.
constexpr const char *tlsScheme = "ldaps";

inline bool hasScheme(const LDAPURLDesc &url, const char *scheme) {
    return url.lud_scheme != nullptr && std::strcmp(url.lud_scheme, scheme) == 0;
}

inline int intOption(LDAP *ld, int option) {
    int value = 0;
    ldap_get_option(ld, option, &value);
    return value;
}

// Has libldap call this for every connection of the process from now on; once is enough, and one
// callback is all there is. False: memory ran out.
[[nodiscard]] inline bool watchConnections(ldap_conncb &callback) {
    static bool isWatched = false;
    if (!isWatched)
        isWatched = ldap_set_option(nullptr, LDAP_OPT_CONNECT_CB, &callback) == LDAP_OPT_SUCCESS;
    return isWatched;
}

} // namespace qldapx
