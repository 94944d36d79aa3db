#pragma once

#include "result_words.h"

#include <optional>
#include <string>
#include <string_view>

namespace qldapx {

/** How far a connection came. */
enum class Reached { Nothing, Server, Encryption };

/** How a handshake failed, apart from faults of the server's certificate. */
struct HandshakeFailure {
    std::string server;       // as messages name it
    std::optional<int> alert; // that the server sent
    std::string_view text;    // OpenSSL's or libldap's own words
    bool timedOut = false;
    int timeout = 0;          // seconds
    bool hasIdentity = false; // the client has a certificate
    Reached reached = Reached::Nothing;
};

/** Nothing where the words say no more than that there is no connection. */
std::optional<Words> explainHandshake(const HandshakeFailure &failure);

} // namespace qldapx
