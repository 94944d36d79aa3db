#pragma once

#include "dn.h"
#include "tree.h"

#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

/** Who a connection speaks as: an empty DN is anonymous. */
struct Identity {
    std::string dn;
    std::string key;

    bool isAnonymous() const { return key.empty(); }
};

/** The bits of a privilege; their sum is what the privilege operations report. */
namespace right {
inline constexpr unsigned kRead = 1;
inline constexpr unsigned kCompare = 2;
inline constexpr unsigned kWrite = 4;
inline constexpr unsigned kDelete = 8;
inline constexpr unsigned kAdminister = 16;
inline constexpr unsigned kAll = 31;
// To be served as that entry. It is given on an attribute of its own, so that `*` does not give it.
inline constexpr unsigned kActAs = 32;
inline constexpr const char *kActAsAttribute = "actas";
} // namespace right

/** Gives `rights` to `subject` on an attribute of all entries in a subtree. */
struct AccessRule {
    enum class Subject { Anyone, Self, Entry, Group };
    Subject subject;
    std::string subjectDn; // of the entry or the group; empty for the others
    std::string target;    // the subtree's DN; empty is everything
    std::string attribute; // "*" is every attribute but userPassword
    unsigned rights;
};

/** The server's access rules: what several rules give to somebody adds up. */
class AccessTable {
  public:
    void allow(const AccessRule &rule);

    /** Rights of the identity with that key on an attribute (or "*") of an entry. */
    unsigned rights(const Tree &tree, std::string_view identity, std::string_view entry,
                    std::string_view attribute) const;

  private:
    std::vector<AccessRule> rules_; // with keys in the places of DNs and of the attribute
};

} // namespace stratasim
