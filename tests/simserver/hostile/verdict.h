#pragma once

#include <cstddef>
#include <optional>
#include <string>

/** What a server has done about one message. */
struct Reaction {
    std::string bytes;   // sent
    bool closed = false; // and the connection ended
};

/**
 * What is wrong with the reaction to bytes that may be no message at all, or nothing: RFC
 * 4511, 4.1.1 says which of them end the connection, and everything else has an answer of its kind.
 */
std::string judge(const std::string &sent, const Reaction &reaction);

/** Bytes of the message that begins here; nothing when they are none, or the rest is missing. */
std::optional<std::size_t> messageSize(const std::string &sent);
