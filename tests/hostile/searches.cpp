// Searches by URL, where other servers are referred to and where not.
#include "hostile/call.h"

#include <qldapx.h>

namespace hostile {

namespace {

constexpr char url[] = "ldap:///o=x?cn?sub?(cn=*)";

// Entries with their values, as an application reads them.
int countEntries(LDAP *ld, LDAPMessage *chain) {
    int count = 0;
    for (LDAPMessage *entry = ldap_first_entry(ld, chain); entry != nullptr;
         entry = ldap_next_entry(ld, entry)) {
        ++count;
        berval **values = ldap_get_values_len(ld, entry, "cn");
        ldap_value_free_len(values);
    }
    return count;
}

int finish(Call &call, int result, LDAPMessage *found) {
    const MessagePtr chain(found);
    call.heedRefusal();
    require(result == LDAP_SUCCESS || call.stored() == result,
            "The session remembers another result.");
    require(result != LDAP_SUCCESS || found != nullptr, "A success without messages.");
    if (found != nullptr)
        call.requireRight(result == LDAP_SUCCESS && countEntries(call.ld, found) == 2);
    return result;
}

int runWaiting(Call &call) {
    LDAPMessage *found = nullptr;
    call.clearStored();
    const int result = ldap_url_search_s(call.ld, url, 0, &found);
    return finish(call, result, found);
}

int runWithTimeout(Call &call) {
    LDAPMessage *found = nullptr;
    timeval late{600, 0};
    call.clearStored();
    const int result = ldap_url_search_st(call.ld, url, 1, &late, &found);
    return finish(call, result, found);
}

// One message after the other, and the rest abandoned.
int runPlain(Call &call) {
    call.clearStored();
    const int id = ldap_url_search(call.ld, url, 0);
    if (id == -1)
        return call.stored();
    int result = LDAP_TIMEOUT, code = LDAP_SUCCESS;
    for (int left = 10; left > 0; --left) {
        const MessagePtr message = nextMessage(call, id);
        if (message == nullptr || ldap_msgtype(message.get()) == LDAP_RES_SEARCH_RESULT) {
            if (message != nullptr)
                result = ldap_parse_result(call.ld, message.get(), &code, nullptr, nullptr, nullptr,
                                           nullptr, 0);
            break;
        }
    }
    abandon(call, id);
    return result != LDAP_SUCCESS ? result : code;
}

// libldap follows what the server refers to, and loses what it cannot read of that.
int runFollowing(Call &call) {
    ldap_set_option(call.ld, LDAP_OPT_REFERRALS, LDAP_OPT_ON);
    LDAPMessage *found = nullptr;
    call.clearStored();
    const int result = ldap_url_search_s(call.ld, url, 0, &found);
    const MessagePtr chain(found);
    call.heedRefusal();
    require(result == LDAP_SUCCESS || call.stored() == result,
            "The session remembers another result.");
    call.losesMemory |= !call.peer.isRight();
    ldap_set_option(call.ld, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    return result;
}

} // namespace

void addSearches(std::vector<Operation> &all) {
    all.push_back({"ldap_url_search_s", 8, 100, runWaiting});
    all.push_back({"ldap_url_search_st", 8, 100, runWithTimeout});
    all.push_back({"ldap_url_search", 8, 100, runPlain});
    all.push_back({"ldap_url_search_s, following", 8, 100, runFollowing});
}

} // namespace hostile
