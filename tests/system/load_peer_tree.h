#pragma once

#include "system/load_peer_people.h"

#include <ldap.h>

namespace test {

/** A session with a server of the test. */
class PeerSession {
  public:
    PeerSession(const std::string &uri, const std::string &dn, const std::string &password);
    ~PeerSession();
    PeerSession(const PeerSession &) = delete;
    PeerSession &operator=(const PeerSession &) = delete;

    [[nodiscard]] LDAP *get() const { return ld_; }
    /** The entry and all below it, without operational attributes; none: it is not there. */
    [[nodiscard]] Tree subtree(const std::string &base) const;
    /**
     * Changes the entry's description, and gives the server's number of that change: numbers count
     * all the changes to its tree. Needs strata-sim.
     */
    [[nodiscard]] long changeNumber(const std::string &dn) const;

  private:
    LDAP *ld_ = nullptr;
};

/** The first entries and attributes that are not the same, in words; empty: all are. */
std::string differences(const Tree &expected, const Tree &given);

} // namespace test
