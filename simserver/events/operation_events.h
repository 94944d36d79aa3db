#pragma once

#include "connection.h"
#include "directory.h"
#include "message.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace stratasim {

/** A request that has been served, and what came of it. */
struct Served {
    Directory &directory;
    const Connection &connection;
    const Request &request;
    const Result &result;
};

/** Raises the event of a bind, add, delete, modify, rename, compare, abandon or search. */
void raiseOperation(const Served &served);
/** Raises the event of an extended operation; -1 bytes stand for a value that is not there. */
struct ExtendedEvent {
    std::string_view oid;
    std::string_view name; // empty: unknown
    std::string_view responseOid;
    bool trigger;
    std::int32_t requestBytes;
    std::int32_t responseBytes;
};
void raiseExtended(const Served &served, const ExtendedEvent &operation);
/** Raises the event of a protocolOp that is no request. */
void raiseUnknown(const Served &served);

/** An answer of the server. */
struct Answer {
    std::int32_t id;
    std::uint8_t tag;
    const Result &result;
    std::size_t bytes; // of its message
};
void raiseResponse(Directory &directory, const Connection &connection, const Answer &answer);
/** Raises the event of an entry that goes to a client in `message`. */
void raiseSearchEntry(Directory &directory, const Connection &connection, std::string_view base,
                      std::string_view message);

} // namespace stratasim
