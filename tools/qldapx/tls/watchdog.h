#pragma once

#include <ldap.h>

namespace qldapx {

/**
 * Ends a handshake that takes too long: libldap's own, in some builds, waits for ever, spinning.
 * The socket of the connection is shut down, which whoever waits there takes for its end. No read
 * from a connection waits longer, either: libldap reads a message to its end once it has begun.
 */
class Watchdog {
  public:
    explicit Watchdog(int seconds);
    ~Watchdog() { rest(); }
    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;

    /** Watches over each connection that the session makes; over handshakes with an ldaps URL. */
    void attachTo(LDAP *ld);
    /** Watches over the session's connection from now on. */
    void watch(LDAP *ld) const;
    /** The handshake is over. */
    static void rest();
    /** The last handshake was ended. */
    [[nodiscard]] static bool hasBitten();

  private:
    static int added(LDAP *ld, Sockbuf *buffer, LDAPURLDesc *url, sockaddr *address,
                     ldap_conncb *callback);
    static void removed(LDAP *ld, Sockbuf *buffer, ldap_conncb *callback);
    void watch(int socket) const;
    void limitReads(int socket) const;

    const int seconds_;
    ldap_conncb callback_;
};

} // namespace qldapx
