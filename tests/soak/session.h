// session.h - sessions with a server, opened and bound.
#pragma once

#include <chrono>
#include <ldap.h>
#include <string>

namespace soak {

constexpr const char *adminDn = "cn=admin,dc=example,dc=com";
constexpr const char *adminPassword = "secret";
constexpr const char *adaDn = "cn=Ada Brandt,ou=people,dc=example,dc=com";
constexpr const char *adaPassword = "changeme";

/** A session that is not bound yet. Whoever waits longer than `patience` for an answer gives up. */
class Session {
  public:
    Session(const std::string &uri, std::chrono::seconds patience);
    /** Takes the session over. */
    Session(LDAP *ld, std::chrono::seconds patience);
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    operator LDAP *() const { return ld_; }

    /** The server's result of a simple bind. */
    int bind(const std::string &dn, const std::string &password);

  private:
    void setOptions(std::chrono::seconds patience);

    LDAP *ld_ = nullptr;
};

struct Url {
    explicit Url(const std::string &uri);

    std::string host;
    int port;
    bool isSecure;
};

} // namespace soak
