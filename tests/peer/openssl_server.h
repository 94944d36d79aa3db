// openssl_server.h - the openssl command's server: it has any certificate, any version of TLS, and
// no LDAP: it shows what it is sent, and sends what it is told.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace test {

class OpenSslServer {
  public:
    using Arguments = std::vector<std::string>;

    // certificate: a name of tls_certificates; arguments: further ones of the command; port: 0 for
    // a free one. Throws std::runtime_error when it does not come up.
    explicit OpenSslServer(const std::string &certificate, const Arguments &arguments = {},
                           int port = 0);
    ~OpenSslServer();
    OpenSslServer(const OpenSslServer &) = delete;
    OpenSslServer &operator=(const OpenSslServer &) = delete;

    [[nodiscard]] int port() const { return port_; }
    [[nodiscard]] std::string uri(const std::string &host = "localhost") const;

    // Waits for so many bytes that a client has sent within TLS.
    [[nodiscard]] std::string read(std::size_t count) const;
    void write(const std::string &bytes) const;

    // Ends it; gives what it has been sent and nobody has read.
    [[nodiscard]] std::string end();

  private:
    void start(const Arguments &arguments);
    void waitUntilItListens();

    int port_;
    int input_ = -1, output_ = -1;
    pid_t process_ = -1;
};

} // namespace test
