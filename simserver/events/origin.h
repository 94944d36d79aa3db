#pragma once

#include "access.h"

#include <cstdint>

namespace stratasim {

struct Connection;

/** The request that the server is serving. */
struct Origin {
    const Connection &connection;
    std::int32_t id;
    const Identity &who; // it is served as
};

} // namespace stratasim
