// call.h - what every operation of the run has, and the operations.
#pragma once

#include "fuzz/heap_watch.h"
#include "fuzz/peered_session.h"
#include "hostile/peer.h"

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace hostile {

using qldapx_fuzz::MessagePtr;
using qldapx_fuzz::require;

struct Call {
    LDAP *ld;
    Random &random;
    Peer &peer;
    // Set where the contract lets the call lose memory.
    bool losesMemory = false;
    // How often libldap itself may have lost a message.
    unsigned refusals = 0;

    // What libldap or the library has stored in the session.
    [[nodiscard]] int stored() const {
        int result = 0;
        ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &result);
        return result;
    }
    void clearStored() const {
        const int none = LDAP_SUCCESS;
        ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &none);
    }
    // To be asked while it is libldap's result that is stored.
    void heedRefusal();
    // A right answer must succeed.
    void requireRight(bool isRight) const {
        require(isRight || !peer.isRight(), "A right answer gave another outcome.");
    }
};

struct Operation {
    std::string name;
    // How often it comes, and how many percent of its answers are damaged: where it takes several
    // to get anywhere, fewer.
    unsigned weight;
    unsigned damage;
    // Gives the result that counts. A result or an output that the contract does not have ends in
    // require().
    std::function<int(Call &call)> run;
};

void requireOneOf(std::initializer_list<int> expected, int result);
// Abandons a request, but not behind a notice: libldap, which counts its connection as one less in
// use then, would go on with what it has released. Such a session is to be ended.
void abandon(const Call &call, int id);
// The next message under that id, of the session's; NULL: there is none.
MessagePtr nextMessage(Call &call, int id, int howMany = LDAP_MSG_ONE);

// The library's interface takes char * for strings that it only reads.
inline char *arg(const char *text) {
    return const_cast<char *>(text);
}

void addAdministrative(std::vector<Operation> &all);
void addPrivileges(std::vector<Operation> &all);
void addArchives(std::vector<Operation> &all);
void addSearches(std::vector<Operation> &all);
void addControls(std::vector<Operation> &all);
void addEvents(std::vector<Operation> &all);
void addBulkUpdates(std::vector<Operation> &all);
void addSchemas(std::vector<Operation> &all);
void addBinds(std::vector<Operation> &all);
void addTls(std::vector<Operation> &all);

const std::vector<Operation> &operations();

} // namespace hostile
