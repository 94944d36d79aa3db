// exchange.h - one entry count, by the library and by hand, over a session with a peer process
// that answers at once.
#pragma once

#include <qldapx.h>
#include <sys/types.h>

namespace bench {

class Peer {
  public:
    // Starts the program's own binary again as the peer: instruction counts leave it out.
    explicit Peer(const char *program);
    ~Peer();
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    [[nodiscard]] LDAP *session() const { return ld_; }

    // Call first in main(): serves and ends the process when it was started as the peer.
    static void serveIfAsked(int argc, char **argv);

  private:
    LDAP *ld_ = nullptr;
    pid_t process_ = -1;
};

// ldap_partition_entry_count written by hand on libldap, as plainly as it goes.
int countByHand(LDAP *ld, const char *dn, int *count);

} // namespace bench
