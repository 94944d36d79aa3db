#pragma once

#include "message.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace stratasim {

/** What is to go wrong with the answers to one extended operation. All of it may be combined. */
struct Fault {
    /** The answer carries no response OID. */
    bool noOid = false;
    /** The answer carries this response OID in place of its own. */
    std::optional<std::string> oid;
    /** The answer carries no response value. */
    bool noValue = false;
    /** The response value ends after that many bytes. */
    std::optional<std::size_t> truncate;
    /** These bytes are the response value, whatever the operation gave. */
    std::optional<std::string> value;
    /** The operation is not carried out, and answered with this result code... */
    std::optional<int> code;
    /** ...and this diagnostic message. */
    std::string diagnostic;
    /** The answer comes that much later; other operations go on meanwhile. */
    std::chrono::milliseconds delay{0};
    /** The connection ends instead of an answer. */
    bool drop = false;

    /** Changes the answer as the members from noOid to value say. */
    void distort(ExtendedReply &reply) const;
};

/** The faults of a server, by the request OID of the operation. */
struct Faults {
    std::map<std::string, Fault, std::less<>> byOid;

    const Fault *find(std::string_view oid) const;

    /**
     * Adds one written as OID=KIND[:VALUE], where OID may be an operation's name. Gives the
     * problem in words, or nothing when all is well.
     */
    std::string add(std::string_view text);
};

} // namespace stratasim
