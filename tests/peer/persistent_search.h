// persistent_search.h - a persistent search built and read by the library, sent by libldap.
#pragma once

#include <functional>
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

// The code that the session remembers; and one that none of the library's functions leaves there,
// so that the next call's own is seen.
int sessionCode(LDAP *ld);
void spoilSessionCode(LDAP *ld);

class PersistentSearch {
  public:
    struct Wish {
        int types = anyChange;
        int changesOnly = 1;
        int returnControls = 1;
        char isCritical = 1;
    };

    // For the entries with a name (cn) below the base.
    PersistentSearch(LDAP *ld, const std::string &base, const Wish &wish);

    [[nodiscard]] const Wish &wish() const { return wish_; }
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

// One change of an entry, and the words of a search that is told of it.
struct Change {
    int type;
    std::string words;
    std::function<int()> make;
};

// Adding, modifying, renaming and deleting an entry below the base.
std::vector<Change> changesOf(LDAP *writer, const std::string &base, const std::string &name);

// Makes the changes, and waits for the words about each before the next: the server answers who
// made a change before it tells the others, and may tell of two in either order.
void expectTold(const std::vector<Change> &changes,
                const std::vector<PersistentSearch *> &searches);

// The server does not say when it begins to watch: changes an entry, of which the searches take no
// notice, until it has told every one of them.
void awaitListening(LDAP *writer, const std::string &base,
                    const std::vector<PersistentSearch *> &searches);

} // namespace test
