#pragma once

#include "session.h"

#include <string>
#include <vector>

namespace qldapx {

/**
 * The realm to bind in, of those that the server offers: the one of -R, the only one, or the one
 * that somebody chooses on the terminal; that choice is kept in the options. Throws Failure, also
 * when a signal interrupts the question.
 */
std::string chooseRealm(const std::vector<std::string> &offered, ConnectionOptions &options);

} // namespace qldapx
