#pragma once

#include "secret.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace qldapx {

/** Where the password comes from that protects a backup's image. */
struct ImagePassword {
    std::optional<std::string> file;
    bool ask = false;
};

void addImagePassword(CLI::App &command, ImagePassword &options);

/**
 * The password with a NUL after it; an empty one where none is given. A new one is asked for
 * twice. Throws UsageError.
 */
Secret imagePassword(const ImagePassword &options, bool isNew, bool json);

} // namespace qldapx
