#pragma once

#include "system/simulator.h"

namespace test {

constexpr const char *adaName = "ada.brandt";
constexpr const char *adaDn = "cn=Ada Brandt,ou=people,dc=example,dc=com";
constexpr const char *adaPassword = "changeme";

/** The options of a bind with DIGEST-MD5, and more arguments. */
Arguments digestBind(const std::string &user, const std::string &password,
                     const Arguments &more = {});

/** The options of a simulator that offers these realms. */
Arguments realmOptions(const std::vector<std::string> &realms);

/**
 * The environment of a bind with several realms, or of one that is given up or not answered: the
 * library loses, as its contract says, the names of the realms that were not chosen, and a bind
 * that was not answered. That is no leak of the tool's.
 */
Surroundings losingBind(const std::string &uri);

} // namespace test
