// Lists of privileges, in arrays whose every slot is watched.
#include "hostile/call.h"

#include <algorithm>
#include <qldapx.h>

namespace hostile {

namespace {

char *attributes[] = {arg("cn"), arg("sn"), nullptr};
constexpr int untouched = -777777;

// The shortest set of privileges: 30 00 02 00. One more slot is cleared before what should fill it
// is found missing.
constexpr std::size_t shortestSet = 4;
constexpr std::size_t mostSlots = longestMessage / shortestSet + 2;
int slots[mostSlots];
std::size_t writtenBefore = mostSlots;

void requireResult(Call &call, int result) {
    call.heedRefusal();
    if (call.stored() != LDAP_SUCCESS)
        require(result == call.stored(), "Another result than libldap's.");
    else
        requireOneOf({LDAP_SUCCESS, LDAP_NOT_SUPPORTED, LDAP_OPERATIONS_ERROR, LDAP_ENCODING_ERROR},
                     result);
}

std::size_t written() {
    const auto *last = std::find_if(std::rbegin(slots), std::rend(slots), [](int slot) {
                           return slot != untouched;
                       }).base();
    return static_cast<std::size_t>(last - slots);
}

// As many slots as the server states, but no more than what came can hold.
int runUnbounded(Call &call) {
    std::fill(slots, slots + writtenBefore, untouched);
    call.clearStored();
    const int result =
        ldap_get_effective_privileges_list(call.ld, arg("d"), arg("t"), attributes, slots);
    requireResult(call, result);
    writtenBefore = written();
    require(writtenBefore <= call.peer.sent().size() / shortestSet + 1,
            "More slots are written than what was received can hold.");
    require(result == LDAP_SUCCESS || result == LDAP_ENCODING_ERROR || writtenBefore == 0,
            "Slots are written after a failure.");
    call.requireRight(result == LDAP_SUCCESS && writtenBefore == 2 && slots[0] == 3 &&
                      slots[1] == 6);
    return result;
}

// The array ends where its capacity ends, so that a sanitizer sees a slot beyond it.
int runBounded(Call &call) {
    const auto capacity =
        static_cast<int>(call.peer.isRight() ? 2 + call.random.below(3) : call.random.below(5));
    std::vector<int> exact(static_cast<std::size_t>(capacity), untouched);
    int none = untouched, count = untouched; // an array of no slots has no place of its own
    call.clearStored();
    const int result =
        ldapx_get_effective_privileges_list(call.ld, arg("d"), arg("t"), attributes,
                                            capacity > 0 ? exact.data() : &none, capacity, &count);
    requireResult(call, result);
    require(count >= 0 && count <= capacity && none == untouched, "More slots than there are.");
    require(
        std::all_of(exact.begin() + count, exact.end(), [](int slot) { return slot == untouched; }),
        "A slot is written that is not counted.");
    require(result == LDAP_SUCCESS || result == LDAP_ENCODING_ERROR || count == 0,
            "Slots are counted after a failure.");
    call.requireRight(result == LDAP_SUCCESS && count == 2);
    return result;
}

} // namespace

void addPrivileges(std::vector<Operation> &all) {
    all.push_back({"ldap_get_effective_privileges_list", 10, 100, runUnbounded});
    all.push_back({"ldapx_get_effective_privileges_list", 10, 100, runBounded});
}

} // namespace hostile
