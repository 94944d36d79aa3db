#pragma once

#include "access.h"
#include "archives.h"
#include "changes.h"
#include "events/feed.h"
#include "events/origin.h"
#include "lburp.h"
#include "monitor.h"
#include "schema.h"
#include "topology.h"
#include "tree.h"

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace stratasim {

inline constexpr const char *kVendorName = "Strata simulator";
inline constexpr const char *kVendorVersion = "1.0.0";

/** Everything that all connections share. */
class Directory {
  public:
    struct Administrator {
        std::string dn = "cn=admin,dc=example,dc=com";
        std::string password = "secret";
    };

    /** Starts with the built-in sample. */
    Directory(const Administrator &administrator, Clock clock,
              schema::Slot model = schema::Model::builtIn());
    /** Starts with the entries of an LDIF text; throws LdifError. */
    Directory(const Administrator &administrator, Clock clock, std::istream &ldif,
              schema::Slot model = schema::Model::builtIn());

    // The topology listens to the tree: neither may move.
    Directory(const Directory &) = delete;
    Directory &operator=(const Directory &) = delete;

    std::int64_t now() const { return clock_(); }
    const Dn &administratorDn() const { return administratorDn_; }
    const std::string &administratorPassword() const { return administratorPassword_; }

    /** DNs of the roots that hold users' entries. */
    std::vector<std::string> namingContexts() const;

    /** Rights of the identity with the key `who`. */
    unsigned rights(std::string_view who, std::string_view entry,
                    std::string_view attribute) const {
        return access_.rights(tree, who, entry, attribute);
    }

    /** Sets the operational attributes of an entry that `who` writes now. */
    void stampCreated(Entry &entry, const Identity &who);
    void stampModified(Entry &entry, const Identity &who) const;

    schema::Slot schema;         // in force for all of this
    bool schemaVerbatim = false; // the subschema entry shows something else, which never changes
    Tree tree;
    Topology topology;
    Monitor monitor;
    ChangeFeed changes;
    EventFeed events;
    const Origin *origin = nullptr; // of what is being done, if a request is its cause
    ArchiveLimits archive;
    LburpSettings lburp;
    std::vector<std::string> saslRealms = {"strata"}; // that DIGEST-MD5 offers
    std::string uri = "ldap://"; // where the server listens, as far as it is known

  private:
    void begin(const Administrator &administrator);
    void finishLoading();

    Clock clock_;
    Dn administratorDn_;
    std::string administratorPassword_;
    AccessTable access_;
    std::uint64_t entriesMade_ = 0;
};

/** Throws insufficientAccessRights unless `who` has all of `wanted` there. */
void requireRight(const Directory &directory, const Identity &who, std::string_view entry,
                  std::string_view attribute, unsigned wanted);

/** True for entries that the server keeps for itself: writes to them are refused. */
bool isServerEntry(std::string_view key);

} // namespace stratasim
