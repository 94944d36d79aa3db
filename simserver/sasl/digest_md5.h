#pragma once

#include "directory.h"
#include "result.h"
#include "sasl/directives.h"
#include "sasl/offer.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/** The server's side of DIGEST-MD5 (RFC 2831), which takes one challenge and one response. */
namespace stratasim::digest {

inline constexpr std::string_view kMechanism = "DIGEST-MD5";

/** What the server says in one step, before it becomes a text: faults change it. */
struct Answer {
    ResultCode code;
    std::vector<Directive> directives;
    std::optional<std::string> text; // in place of the directives

    std::string write() const { return text ? *text : writeDirectives(directives); }
};

/** A challenge with a nonce that no other has. */
Answer challenge(const std::vector<std::string> &realms);
/** Whatever became of the challenge, what it says is what counts. */
Offer offerOf(std::string_view challenge);

struct Proven {
    Identity identity;
    Answer answer; // the server's own proof
};
/** Throws protocolError or invalidCredentials unless the response is right. */
Proven prove(const Directory &directory, const Offer &offer, std::string_view response);

} // namespace stratasim::digest
