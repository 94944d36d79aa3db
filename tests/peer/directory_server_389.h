// directory_server_389.h - a 389 directory server of the test's own, which knows the persistent
// search and the proxied authorisation that OpenLDAP's server lacks or does otherwise.
#pragma once

#include "guarded_process.h"

#include <filesystem>
#include <ldap.h>
#include <memory>
#include <string>

namespace test {

// The server runs as whoever runs the test, and everything it has lies in one temporary folder,
// reached by a Unix socket: nothing of the system's own instances is touched, and any number run
// in parallel.
class DirectoryServer389 {
  public:
    // Bound by no access rule.
    static constexpr const char *adminDn = "cn=admin";
    static constexpr const char *password = "peer-secret"; // everybody's
    static constexpr const char *suffix = "dc=example,dc=com";
    // May take on any identity below the suffix, and nothing else.
    static constexpr const char *agentDn = "uid=agent,ou=people,dc=example,dc=com";
    // May write below the suffix.
    static constexpr const char *writerDn = "uid=writer,ou=people,dc=example,dc=com";
    // May read, as everybody may.
    static constexpr const char *readerDn = "uid=reader,ou=people,dc=example,dc=com";

    // Throws std::runtime_error when the server does not come up.
    DirectoryServer389();

    [[nodiscard]] const std::string &uri() const { return uri_; }

    // A session bound as this identity, or throws.
    [[nodiscard]] LDAP *session(const std::string &dn = adminDn) const;

  private:
    [[nodiscard]] std::filesystem::path configuration() const;
    void writeConfiguration() const;
    void waitUntilItAnswers() const;
    void addTree() const;

    std::filesystem::path folder_;
    std::string uri_;
    std::unique_ptr<GuardedProcess> process_;
};

} // namespace test
