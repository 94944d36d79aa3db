// persistent_search.h - a persistent search built and read by the library, sent by libldap.
#pragma once

#include <ldap.h>
#include <memory>
#include <string>
#include <vector>

namespace test {

// What changeTypes is a sum of.
constexpr int additions = 1, deletions = 2, modifications = 4, renames = 8, anyChange = 15;

struct MessageRelease {
    void operator()(LDAPMessage *message) const { ldap_msgfree(message); }
};
using MessagePtr = std::unique_ptr<LDAPMessage, MessageRelease>;

struct ControlRelease {
    void operator()(LDAPControl *control) const { ldap_control_free(control); }
};
using ControlPtr = std::unique_ptr<LDAPControl, ControlRelease>;

// The code that the session remembers.
int sessionCode(LDAP *ld);

class PersistentSearch {
  public:
    struct Wish {
        int types = anyChange;
        int changesOnly = 1;
        int returnControls = 1;
        char isCritical = 1;
    };

    PersistentSearch(LDAP *ld, const std::string &base, const Wish &wish);

    [[nodiscard]] int types() const { return wish_.types; }
    [[nodiscard]] bool hasMessageWithin(int milliseconds);
    // The next message, or nothing when none comes for long.
    [[nodiscard]] MessagePtr nextMessage();
    // The next entry in words: "add cn=x", "rename cn=y from cn=x", "plain cn=x" without a
    // control; "result 12" for the end of the search, "nothing" when none comes for long.
    [[nodiscard]] std::string next();
    // Has the server end it.
    void abandon();

  private:
    LDAP *ld_;
    Wish wish_;
    int id_ = -1;
    MessagePtr waiting_;
};

// Adds, modifies, renames and deletes an entry below the base.
void changeEntry(LDAP *writer, const std::string &base, const std::string &name);
// The words of a search with these types for changeEntry.
std::vector<std::string> wordsOfChanges(const std::string &base, const std::string &name,
                                        int types);

// The server does not say when it begins to watch: changes entries until every search has told of
// one, and takes the words about them away.
void awaitListening(LDAP *writer, const std::string &base,
                    const std::vector<PersistentSearch *> &searches);

} // namespace test
