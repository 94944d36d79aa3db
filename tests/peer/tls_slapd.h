// tls_slapd.h - an OpenLDAP server with TLS.
#pragma once

#include "slapd_server.h"

namespace test {

class TlsSlapd : public SlapdServer {
  public:
    // certificate: a name of tls_certificates, sent with its issuer's; settings: further lines of
    // configuration.
    explicit TlsSlapd(const std::string &certificate = "good", const std::string &settings = {});

    [[nodiscard]] int port() const;
    [[nodiscard]] std::string tlsUri(const std::string &host = "localhost") const;
    // Over IPv6; "" where the system has none.
    [[nodiscard]] std::string tlsUri6() const;

    // The log, as soon as no client is connected any more.
    [[nodiscard]] std::string logWhenIdle() const;
};

} // namespace test
