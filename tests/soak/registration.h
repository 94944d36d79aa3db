// registration.h - a registration for events, and what comes of it.
#pragma once

#include "owners.h"

#include <chrono>
#include <string>
#include <vector>

namespace soak {

/** The simulator's numbers of events. */
enum EventType { entryAdded = 1, entryDeleted, entryModified, entryRenamed, valueAdded };

struct Notice {
    enum Kind { nothing, event, ended } kind = nothing;
    int code = 0; // of the end, or of the message that does not decode
    int type = 0;
    std::string dn; // of the entry
    int change = 0; // number of the change
};

class Registration {
  public:
    explicit Registration(LDAP *ld) : ld_(ld) {}

    /** Registers for the types; the server's or the library's result. */
    int begin(const std::vector<int> &types, const std::string &filter,
              std::chrono::seconds patience);
    Notice next(std::chrono::milliseconds patience);
    int abandon() { return ldap_abandon_ext(ld_, id_, nullptr, nullptr); }

  private:
    int send(const std::vector<int> &types, const std::string &filter);
    int takeAnswer(std::chrono::seconds patience, std::size_t types);
    Notice read(LDAPMessage *message);

    LDAP *ld_;
    int id_ = -1;
};

} // namespace soak
