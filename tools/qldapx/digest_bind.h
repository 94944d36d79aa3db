#pragma once

#include "secret.h"

#include <qldapx.hpp>
#include <string>
#include <vector>

namespace qldapx {

/** What answers a challenge. */
struct DigestAnswer {
    std::string user;
    const Secret &password;
    std::string realm;
};

/** The realms that the server offers, in its order, each once. */
std::vector<std::string> realmsOf(const digest::exchange &bind);

/** The second step, in one of those realms; gives the library's result code. The bind is over. */
int finish(digest::exchange &bind, const DigestAnswer &answer);

} // namespace qldapx
