#include "hostile/call.h"

#include <algorithm>

namespace hostile {

void requireOneOf(std::initializer_list<int> expected, int result) {
    require(std::ranges::find(expected, result) != expected.end(),
            "A result that the contract does not have.");
}

// It loses messages that it cannot read, and what is in notices.
void Call::heedRefusal() {
    if (peer.hasNotice() || stored() == LDAP_SERVER_DOWN || stored() == LDAP_DECODING_ERROR)
        ++refusals;
}

void abandon(const Call &call, int id) {
    if (!call.peer.hasNotice())
        ldap_abandon_ext(call.ld, id, nullptr, nullptr);
}

MessagePtr nextMessage(Call &call, int id, int howMany) {
    LDAPMessage *message = nullptr;
    ldap_result(call.ld, id, howMany, nullptr, &message);
    if (message == nullptr)
        call.heedRefusal();
    return MessagePtr(message);
}

const std::vector<Operation> &operations() {
    static const std::vector<Operation> all = [] {
        std::vector<Operation> rows;
        for (auto *add : {addAdministrative, addPrivileges, addArchives, addSearches, addControls,
                          addEvents, addBulkUpdates, addSchemas, addBinds, addTls})
            add(rows);
        return rows;
    }();
    return all;
}

} // namespace hostile
