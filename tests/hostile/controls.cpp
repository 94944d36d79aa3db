// Searches with the request controls, and the response controls that come back.
#include "hostile/call.h"

#include <cstring>
#include <qldapx.h>

namespace hostile {

namespace {

volatile std::size_t sink;
constexpr int untouched = -4711;

int createEffective(LDAP *ld, LDAPControl **control) {
    GetEffectiveItem item{"cn=me", nullptr};
    GetEffectiveItem *items[] = {&item, nullptr};
    return ldap_create_geteffective_control(ld, items, 2, 1, control);
}

int createStatus(LDAP *ld, LDAPControl **control) {
    int flags[] = {0, 1, -1, 0, 1, -1, 0};
    return ldap_create_sstatus_control(ld, flags, 0, control);
}

void takeText(const char *text) {
    if (text != nullptr)
        sink = std::strlen(text);
}

int parseChange(LDAP *ld, LDAPControl **controls) {
    int type = untouched, isPresent = untouched, number = untouched;
    char untouchedDn = 0, *dn = &untouchedDn;
    const int result =
        ldap_parse_entrychange_control(ld, controls, &type, &dn, &isPresent, &number);
    require(result == LDAP_SUCCESS || dn == nullptr || dn == &untouchedDn, "A DN after a failure.");
    require(result != LDAP_SUCCESS || (isPresent == 1) == (number != untouched),
            "A change number that is not present, or the other way round.");
    if (dn != &untouchedDn) {
        takeText(dn);
        ldap_memfree(dn);
    }
    return result;
}

int parseStatus(LDAP *ld, LDAPControl **controls) {
    int statuses[4] = {};
    return ldap_parse_sstatus_control(ld, controls, &statuses[0], &statuses[1], &statuses[2],
                                      &statuses[3]);
}

int parseReference(LDAP *ld, LDAPControl **controls) {
    char untouchedText = 0, *reference = &untouchedText;
    const int result =
        ldap_parse_reference_control(ld, controls, nullptr, 0, nullptr, 0, nullptr, &reference);
    require(result == LDAP_SUCCESS || reference == &untouchedText, "A reference after a failure.");
    if (reference != &untouchedText) {
        takeText(reference);
        ldap_memfree(reference);
    }
    return result;
}

struct Row {
    const char *name;
    int (*create)(LDAP *ld, LDAPControl **control);
    // NULL: nothing comes back.
    int (*parse)(LDAP *ld, LDAPControl **controls);
    bool losesMemory = false;
};

const Row rows[] = {
    {"control: persistent search",
     [](LDAP *ld, LDAPControl **control) {
         return ldap_create_persistentsearch_control(ld, 15, 0, 1, 0, control);
     },
     parseChange},
    {"control: status", createStatus, parseStatus},
    {"control: reference",
     [](LDAP *ld, LDAPControl **control) { return ldap_create_reference_control(ld, 1, control); },
     parseReference, true},
    {"control: effective rights", createEffective, nullptr},
    {"control: proxied authorisation",
     [](LDAP *ld, LDAPControl **control) {
         return ldap_create_proxyauth_control(ld, "cn=other", control);
     },
     nullptr},
};

using ControlsPtr =
    std::unique_ptr<LDAPControl *, decltype([](LDAPControl **list) { ldap_controls_free(list); })>;

// NULL: the message has none that libldap can read.
ControlsPtr controlsOf(const Call &call, LDAPMessage *message) {
    LDAPControl **controls = nullptr;
    int code = 0;
    if (ldap_msgtype(message) == LDAP_RES_SEARCH_ENTRY)
        ldap_get_entry_controls(call.ld, message, &controls);
    else if (ldap_msgtype(message) == LDAP_RES_SEARCH_RESULT)
        ldap_parse_result(call.ld, message, &code, nullptr, nullptr, nullptr, &controls, 0);
    return ControlsPtr(controls);
}

int parseIn(const Row &row, Call &call, LDAPMessage *message) {
    const ControlsPtr controls = controlsOf(call, message);
    const int result = row.parse(call.ld, controls.get());
    require(result == call.stored(), "The session remembers another result.");
    requireOneOf({LDAP_SUCCESS, LDAP_CONTROL_NOT_FOUND, LDAP_DECODING_ERROR}, result);
    return result;
}

// The first message's controls that do not decode count, or else the last ones.
int parseAll(const Row &row, Call &call, LDAPMessage *chain) {
    int result = LDAP_CONTROL_NOT_FOUND;
    for (LDAPMessage *message = ldap_first_message(call.ld, chain); message != nullptr;
         message = ldap_next_message(call.ld, message)) {
        const int parsed = parseIn(row, call, message);
        if (result != LDAP_DECODING_ERROR && parsed != LDAP_CONTROL_NOT_FOUND)
            result = parsed;
    }
    return result;
}

int run(const Row &row, Call &call) {
    LDAPControl *control = nullptr;
    require(row.create(call.ld, &control) == LDAP_SUCCESS, "No control.");
    LDAPControl *list[] = {control, nullptr};
    LDAPMessage *found = nullptr;
    call.losesMemory |= row.losesMemory;
    call.clearStored();
    int result = ldap_search_ext_s(call.ld, "o=x", LDAP_SCOPE_SUBTREE, nullptr, nullptr, 0, list,
                                   nullptr, nullptr, LDAP_NO_LIMIT, &found);
    ldap_control_free(control);
    call.heedRefusal();
    const MessagePtr chain(found);
    if (found != nullptr && row.parse != nullptr)
        result = parseAll(row, call, found);
    call.requireRight(result == LDAP_SUCCESS);
    return result;
}

} // namespace

void addControls(std::vector<Operation> &all) {
    for (const Row &row : rows)
        all.push_back({row.name, row.parse != nullptr ? 10U : 3U, 100,
                       [&row](Call &call) { return run(row, call); }});
}

} // namespace hostile
