// exchange.h - a session with a peer process that answers extended requests at once, and one
// entry count by hand.
#pragma once

#include <functional>
#include <qldapx.h>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace bench {

// An element of any length.
std::string tlv(int tag, std::string_view contents);

// ExtendedResponse: success, the response OID and the value that makes up to its request.
using Answer = std::function<std::string(std::string_view request)>;
std::string success(std::string_view responseOid, std::string_view value);

class Peer {
  public:
    // Starts the program's own binary again as the peer: instruction counts leave it out.
    explicit Peer(const char *program);
    ~Peer();
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    [[nodiscard]] LDAP *session() const { return ld_; }

    // Call first in main(): serves and ends the process when it was started as the peer. The
    // answer to a message is an extended response.
    static void serveIfAsked(int argc, char **argv, const Answer &answer);

  private:
    LDAP *ld_ = nullptr;
    pid_t process_ = -1;
};

// The peer's answer to an entry count, which is 4711.
std::string countAnswer(std::string_view request);
// ldap_partition_entry_count written by hand on libldap, as plainly as it goes.
int countByHand(LDAP *ld, const char *dn, int *count);

} // namespace bench
