#pragma once

#include "secret.h"

#include <string>

namespace qldapx {

/** A password from a file, whole, line end and all. Throws UsageError. */
Secret readPasswordFile(const std::string &path, bool json);

/** What is asked for, by which option, and which option does without a terminal. */
struct PasswordPrompt {
    const char *question;
    const char *option;
    const char *otherwise;
};

/** Asks on the terminal without showing what is typed. Throws UsageError without a terminal. */
Secret askPassword(const PasswordPrompt &prompt);

} // namespace qldapx
