#pragma once

#include "access.h"
#include "directory.h"

#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

/** Who may bind, and with which passwords; without any, nobody. */
struct Account {
    Identity identity;
    std::vector<std::string> passwords;
};

/** That of the administrator or an entry. */
Account accountOf(const Directory &directory, const Dn &dn);

/**
 * By a DN, or by a name: the value of the administrator's RDN, or the uid, or else the cn, of one
 * entry alone.
 */
Account findAccount(const Directory &directory, std::string_view name);

} // namespace stratasim
