#pragma once

#include "load/channel.h"

#include <string>
#include <unordered_set>
#include <vector>

namespace qldapx {

/** An entry as the server has it now, or none. */
class FoundEntry {
  public:
    /** Looks it up with these attributes and all ordinary ones; an alias or referral as itself. */
    FoundEntry(Channel &channel, std::string dn, const std::vector<std::string> &attributes);

    [[nodiscard]] bool exists() const { return static_cast<bool>(entry_); }
    [[nodiscard]] std::size_t count(const char *attribute);
    /** All of the values are there; by the server's matching rule if not byte for byte. */
    bool hasAll(const char *attribute, berval **values);
    /** None of them is. */
    bool hasNone(const char *attribute, berval **values);

  private:
    void choose(const char *attribute);
    bool has(const char *attribute, berval &value);

    Channel &channel_;
    std::string dn_;
    message entry_;
    // Of one attribute at a time, which may have very many.
    std::string chosen_;
    std::unordered_set<std::string> values_;
};

} // namespace qldapx
