#pragma once

#include <string>

namespace qldapx {

/** A DN in libldap's own writing and small letters, so that equal ones look alike. */
std::string comparableDn(const char *dn);

/** Such a DN names an entry below that of another one. */
bool isBelow(std::string_view dn, std::string_view above);

/** The DN of an entry after a renaming; empty when it has none. */
std::string renamedDn(const char *dn, const char *newRdn, const char *newSuperior);

} // namespace qldapx
