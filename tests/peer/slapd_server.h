// slapd_server.h - an OpenLDAP server of the test's own, in a temporary folder, on a Unix socket
// or on free ports of the loopback addresses.
#pragma once

#include <filesystem>
#include <ldap.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace test {

class SlapdServer {
  public:
    static constexpr const char *adminDn = "cn=admin,dc=example,dc=com";
    static constexpr const char *adminPassword = "peer-secret";

    // every: the Unix socket, TCP and, where the system has it, TCP over IPv6, in this order; tls:
    // the same with TLS on TCP, and a log of what the server is asked.
    enum class Transport { unixSocket, tcp, every, tls };

    static const std::vector<std::string> usualSchemas;

    // What the package has, in an order in which each finds what it refers to; but for dyngroup,
    // which defines a macro that dsee has, too.
    static const std::vector<std::string> allSchemas;

    // Starts the server with a small tree and, if it is named, an overlay (a module of Debian's
    // package), these schema files of the package, and these lines of configuration; throws
    // std::runtime_error when it does not come up.
    explicit SlapdServer(Transport transport = Transport::unixSocket,
                         const std::string &overlay = {},
                         const std::vector<std::string> &schemas = usualSchemas,
                         const std::string &settings = {});
    ~SlapdServer();
    SlapdServer(const SlapdServer &) = delete;
    SlapdServer &operator=(const SlapdServer &) = delete;

    [[nodiscard]] const std::string &uri() const { return uris_.front(); }
    [[nodiscard]] const std::vector<std::string> &uris() const { return uris_; }

    // A session bound as the administrator, or throws.
    [[nodiscard]] LDAP *session() const;

    // Ends (SIGKILL) or stops (SIGSTOP) it, and waits until it has.
    void interrupt(int signalNumber) const;

    // Ends it and starts it again, with the same data and addresses.
    void restart();

    [[nodiscard]] std::string log() const;

  private:
    void writeConfiguration(const std::string &overlay, const std::vector<std::string> &schemas,
                            const std::string &settings) const;
    void start();
    void waitUntilItAnswers() const;
    void addTree() const;
    void endProcess();
    void stop();

    std::filesystem::path folder_;
    const char *debugLevel_;
    std::vector<std::string> uris_;
    pid_t process_ = -1;
};

} // namespace test
