// slapd_server.h - an OpenLDAP server of the test's own, in a temporary folder, on a Unix socket
// or on a free port of the loopback address.
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

    enum class Transport { unixSocket, tcp };

    // What the package has, in an order in which each finds what it refers to; but for dyngroup,
    // which defines a macro that dsee has, too.
    static const std::vector<std::string> allSchemas;

    // Starts the server with a small tree and, if it is named, an overlay (a module of Debian's
    // package), and these schema files of the package; throws std::runtime_error when it does not
    // come up.
    explicit SlapdServer(Transport transport = Transport::unixSocket,
                         const std::string &overlay = {},
                         const std::vector<std::string> &schemas = {"core", "cosine",
                                                                    "inetorgperson"});
    ~SlapdServer();
    SlapdServer(const SlapdServer &) = delete;
    SlapdServer &operator=(const SlapdServer &) = delete;

    [[nodiscard]] const std::string &uri() const { return uri_; }

    // A session bound as the administrator, or throws.
    [[nodiscard]] LDAP *session() const;

  private:
    void writeConfiguration(const std::string &overlay,
                            const std::vector<std::string> &schemas) const;
    void start();
    void waitUntilItAnswers() const;
    void addTree() const;
    void stop();

    std::filesystem::path folder_;
    std::string uri_;
    pid_t process_ = -1;
};

} // namespace test
