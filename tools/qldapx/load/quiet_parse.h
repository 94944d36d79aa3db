#pragma once

#include <ldap.h>
#include <string>

namespace qldapx {

/** Reads a record's text, in place. libldap's complaint is the reason of a failure. */
int parseQuietly(berval text, LDIFRecord &record, std::string &complaint);

} // namespace qldapx
