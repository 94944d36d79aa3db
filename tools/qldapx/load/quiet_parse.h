#pragma once

#include <ldap.h>
#include <string>

namespace qldapx {

/** Reads a record's text, in place. libldap's complaint is the reason of a failure. */
int parseQuietly(berval text, LDIFRecord &record, std::string &complaint);

/** Reads one unfolded line, in place; liblber's memory holds the value when `isOwn` says so. */
int parseLineQuietly(char *line, berval &name, berval &value, int &isOwn);

} // namespace qldapx
