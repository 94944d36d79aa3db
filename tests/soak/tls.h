// tls.h - the client context of the process, and sessions with TLS.
#pragma once

#include "hand.h"

#include <string>

namespace soak {

struct TlsMaterial {
    std::string ca;           // PEM: who has issued the server's certificate
    std::string client;       // PEM: certificate and key of adaDn
    std::string pkcs12;       // the same
    std::string strangersUri; // a server with a certificate of somebody else
};

constexpr const char *pkcs12Password = "soak";

/** In how many ways a client may show its certificate and key. */
extern const int clientSources;

/** Sets the context up anew, with that source, and connects in all ways that it allows. */
void renewContext(Hand &hand, const TlsMaterial &material, int source);

} // namespace soak
