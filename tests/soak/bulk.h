// bulk.h - requests of a bulk update.
#pragma once

#include "owners.h"
#include "support/modifications.h"

#include <chrono>
#include <deque>
#include <string>
#include <vector>

namespace soak {

/** Updates for one request; what they point to is theirs. */
class Batch {
  public:
    Batch &add(const std::string &dn, const std::string &description);
    Batch &remove(const std::string &dn);

    LBURPOperation **list();

  private:
    std::deque<std::string> dns_;
    std::deque<qldapx_test::Modifications> mods_;
    std::vector<LBURPOperation> operations_;
    std::vector<LBURPOperation *> list_;
};

/** A bulk update on a session; each function gives the server's or the library's result. */
class Bulk {
  public:
    Bulk(LDAP *ld, std::chrono::seconds patience) : ld_(ld), patience_(patience) {}

    int start();
    int send(int number, Batch &batch);
    /** Of whichever request is answered next; an update that failed is a failure. */
    int collect();
    int end(int lastNumber);

  private:
    int next(MessagePtr &message);

    LDAP *ld_;
    std::chrono::seconds patience_;
};

} // namespace soak
