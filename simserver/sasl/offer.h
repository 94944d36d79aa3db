#pragma once

#include <optional>
#include <string>
#include <vector>

namespace stratasim::digest {

/** What a challenge of DIGEST-MD5 offers: the client has to take it up in its response. */
struct Offer {
    std::optional<std::string> nonce; // without one no response is right
    std::vector<std::string> realms;
};

} // namespace stratasim::digest
