#pragma once

#include "command.h"

#include <memory>
#include <qldapx.h>
#include <string>

namespace qldapx {

/** A text of the library's as one's own; the library's is released. */
inline std::string takeText(char *text) {
    const std::unique_ptr<char, decltype(&ldapx_memfree)> owner(text, ldapx_memfree);
    return text == nullptr ? std::string() : std::string(text);
}

/** The same for a text that ldap_memfree releases. */
inline std::string takeLdapText(char *text) {
    const std::unique_ptr<char, decltype(&ldap_memfree)> owner(text, ldap_memfree);
    return text == nullptr ? std::string() : std::string(text);
}

/** The DN that the session is bound as, empty for an anonymous one, as the server says. */
std::string boundIdentity(Run &run);

} // namespace qldapx
