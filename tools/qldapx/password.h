#pragma once

#include "secret.h"

#include <string>

namespace qldapx {

/** A password from a file, whole, line end and all. Throws UsageError. */
Secret readPasswordFile(const std::string &path, bool json);

/** Asks on the terminal without showing what is typed. Throws UsageError without a terminal. */
Secret askPassword();

} // namespace qldapx
