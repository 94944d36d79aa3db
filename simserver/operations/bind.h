#pragma once

#include "connection.h"
#include "directory.h"
#include "faults.h"
#include "message.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace stratasim {

/** A received BindRequest. */
struct BindRequest {
    std::int64_t version = 0;
    std::string_view name;
    std::uint8_t method = 0;
    std::string_view password;  // of a simple bind
    std::string_view mechanism; // of a SASL bind, like all that follows
    std::optional<Bytes> credentials;
    std::optional<digest::Offer> offer; // what they may respond to
};

/**
 * Decodes the request, whose beginning ends the connection's identity and, whatever comes of it,
 * an exchange under way.
 */
BindRequest beginBind(Connection &connection, const Request &request);

/** The step of DIGEST-MD5 that faults go by; empty for any other bind. */
std::string_view stepOf(const BindRequest &bind);

/** Serves it as `fault` says, and raises its event; null is no fault. */
BindReply serveBind(Directory &directory, Connection &connection, const Request &request,
                    const BindRequest &bind, const Fault *fault);

} // namespace stratasim
