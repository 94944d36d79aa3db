#pragma once

#include "search.h"

namespace qldapx {

/**
 * Looks up one entry, without its attributes, for the controls that the result carries; `parse`
 * reads them as the library's parsers do.
 */
void searchForControls(Run &run, const std::string &dn,
                       const std::function<int(LDAP *, LDAPControl **)> &parse);

} // namespace qldapx
