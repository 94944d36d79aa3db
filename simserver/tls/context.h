#pragma once

#include "tls/authority.h"
#include "tls/openssl.h"

#include <chrono>
#include <optional>
#include <string>

namespace stratasim::tls {

/** The certificate that the server makes for itself, in place of a file's name. */
inline constexpr const char *kAuto = "auto";

/** What the command line says of TLS. */
struct Settings {
    std::string certificate; // kAuto or a file; empty: no TLS
    std::string key;         // empty: in the certificate's file
    Flaw flaw = Flaw::None;  // of a certificate of its own
    std::string caFile;      // where to write the CA's certificate; empty: nowhere
    std::string clientFile;  // where to write a client's certificate; empty: nowhere
    std::string clientCa;    // bundle that verifies those of clients; empty: none but its own
    bool requireClient = false;
    int handshakeSeconds = 30;

    bool isAuto() const { return certificate == kAuto; }
    bool asksClients() const { return !clientCa.empty() || !clientFile.empty(); }
};

/** What all connections of a server with TLS share. */
class Context {
  public:
    /** Throws std::runtime_error that names the file and the way out. */
    Context(const Settings &settings, const std::string &host);

    /** The server's side of a connection over that socket, which stays its owner's. */
    Ssl accept(int socket) const;
    std::chrono::seconds handshakeTime() const;
    /** Gives clients the files that they need; throws std::runtime_error. */
    void writeFiles() const;

  private:
    void useOwn(const std::string &host);
    void useFiles();
    void verifyClients();

    Settings settings_;
    std::optional<Authority> authority_;
    SslContext context_;
};

} // namespace stratasim::tls
