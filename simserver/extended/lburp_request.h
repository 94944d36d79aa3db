#pragma once

#include "message.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace stratasim {

/** An operation request of a bulk update; it points into the bytes that it was read from. */
struct LburpRequest {
    std::int32_t number = 0;
    std::size_t count = 0;             // of operations, kept or not
    std::vector<Request> operations;   // as if each had come in a message with the request's id
    std::deque<std::string> rewritten; // bodies that have another form in bulk updates
};

/** The elements of a value that is one SEQUENCE; throws ber::Error when it is none. */
ber::Reader openValue(Bytes value);

/**
 * Throws ber::Error unless the value and every operation of it is well-formed; at most `most`
 * operations are kept.
 */
LburpRequest readLburpRequest(Bytes value, std::int32_t id, std::size_t most);

} // namespace stratasim
