#pragma once

#include "tls/openssl.h"

#include <optional>
#include <string>

namespace qldapx {

/** A server of LDAP over TLS. */
struct ServerAddress {
    std::string host;
    std::string port;

    [[nodiscard]] std::string text() const;
};

/**
 * ldaps://HOST[:PORT] or HOST:PORT, an IPv6 address in brackets; nothing for what has to be a
 * file. Throws UsageError for the URL of something else.
 */
std::optional<ServerAddress> serverAddress(const std::string &text);

/** The chain that the server presents, not verified. Throws Failure. */
Certificates presentedChain(const ServerAddress &server, int seconds);

} // namespace qldapx
