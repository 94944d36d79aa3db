#pragma once

#include "command.h"

#include <string>

namespace qldapx {

/** The DN that the session is bound as, empty for an anonymous one, as the server says. */
std::string boundIdentity(Run &run);

} // namespace qldapx
