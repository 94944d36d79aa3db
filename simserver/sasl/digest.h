#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace stratasim::digest {

/** What a client says about itself; see RFC 2831, 2.1.2. */
struct Response {
    std::optional<std::string> username = {};
    std::optional<std::string> realm = {};
    std::optional<std::string> nonce = {};
    std::optional<std::string> cnonce = {};
    std::optional<std::string> nonceCount = {};
    std::optional<std::string> qop = {};
    std::optional<std::string> uri = {};
    std::optional<std::string> value = {}; // the proof
    std::optional<std::string> charset = {};
    std::optional<std::string> authzid = {};
};

/**
 * Throws protocolError for what cannot be read, and invalidCredentials when something is missing
 * that a response has to have.
 */
Response readResponse(std::string_view text);

/** The three texts that only client and server know together. */
struct Secret {
    std::string username;
    std::string realm;
    std::string password;

    /** With each of them in ISO 8859-1, if all its characters are there. */
    Secret inLatin1() const;
};

/** Both sides' proofs that they know the secret: 32 lower-case hexadecimal digits each. */
std::string clientProof(const Secret &secret, const Response &response);
std::string serverProof(const Secret &secret, const Response &response);

} // namespace stratasim::digest
