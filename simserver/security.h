#pragma once

#include <optional>
#include <string>

namespace stratasim {

/** What TLS knows of a client. */
struct Security {
    std::optional<std::string> subject; // of its certificate, as RFC 4514 writes it
};

} // namespace stratasim
