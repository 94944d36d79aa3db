#include "jobs.h"
#include "owners.h"

#include <array>
#include <cstring>
#include <functional>

namespace soak {
namespace {

constexpr const char *people = "ou=people,dc=example,dc=com";

/** The controls of the result of a search with the control, and the entry that it found. */
struct Answer {
    MessagePtr messages;
    ControlsPtr controls;
};

Answer searchWith(Hand &hand, LDAPControl *control, const std::string &base) {
    LDAPControl *controls[] = {control, nullptr};
    Answer answer;
    LDAP *ld = hand.session();
    hand.expect("ldap_search_ext_s",
                ldap_search_ext_s(ld, base.c_str(), LDAP_SCOPE_BASE, "(objectClass=*)", nullptr, 0,
                                  controls, nullptr, nullptr, LDAP_NO_LIMIT, out(answer.messages)));
    LDAPMessage *result = ldap_first_message(ld, answer.messages.get());
    while (result != nullptr && ldap_msgtype(result) != LDAP_RES_SEARCH_RESULT)
        result = ldap_next_message(ld, result);
    hand.expect("ldap_parse_result", ldap_parse_result(ld, result, nullptr, nullptr, nullptr,
                                                       nullptr, out(answer.controls), 0));
    return answer;
}

bool hasAttribute(LDAP *ld, const Answer &answer, const char *name) {
    LDAPMessage *entry = ldap_first_entry(ld, answer.messages.get());
    berval **values = ldap_get_values_len(ld, entry, name);
    const bool has = values != nullptr;
    ldap_value_free_len(values);
    return has;
}

void actAsAda(Hand &hand) {
    LDAP *ld = hand.session();
    ControlPtr control;
    hand.expect("ldap_create_proxyauth_control",
                ldap_create_proxyauth_control(ld, adaDn, out(control)));
    LDAPControl *controls[] = {control.get(), nullptr};
    ldap_set_option(ld, LDAP_OPT_SERVER_CONTROLS, controls);
    TextPtr identity;
    const int code = ldap_get_bind_dn(ld, out(identity));
    ldap_set_option(ld, LDAP_OPT_SERVER_CONTROLS, nullptr);
    hand.expect("ldap_get_bind_dn", code);
    hand.verify(std::strcmp(identity.get(), adaDn) == 0, "proxied authorisation without effect");
}

void askForRights(Hand &hand) {
    constexpr int allOfUser = 1, byList = 2;
    GetEffectiveItem mail{"mail", nullptr}, person{nullptr, "person"};
    GetEffectiveItem *items[] = {&mail, &person, nullptr};
    for (const int mode : {allOfUser, byList}) {
        ControlPtr control;
        hand.expect("ldap_create_geteffective_control",
                    ldap_create_geteffective_control(hand.session(), items, mode, 1, out(control)));
        const Answer answer = searchWith(hand, control.get(), adaDn);
        hand.verify(hasAttribute(hand.session(), answer, "attributePrivileges"), "no rights came");
    }
}

void askForStatus(Hand &hand) {
    std::array<int, 7> all{};
    all.fill(1);
    ControlPtr control;
    hand.expect("ldap_create_sstatus_control",
                ldap_create_sstatus_control(hand.session(), all.data(), 1, out(control)));
    const Answer answer = searchWith(hand, control.get(), "");
    int state = -1, connections = -1, searches = -1, seconds = -1;
    hand.expect("ldap_parse_sstatus_control",
                ldap_parse_sstatus_control(hand.session(), answer.controls.get(), &state,
                                           &connections, &searches, &seconds));
    hand.verify(connections > 0 && searches > 0 && seconds >= 0, "the status is not the server's");
}

// The texts of the answer but the last one are lost: base, partition and its three servers.
void askForReference(Hand &hand) {
    constexpr std::size_t serverDn = sizeof "cn=strata1,ou=servers,dc=example,dc=com";
    ControlPtr control;
    hand.expect("ldap_create_reference_control",
                ldap_create_reference_control(hand.session(), 1, out(control)));
    const Answer answer = searchWith(hand, control.get(), people);
    LdapTextPtr reference;
    hand.expect("ldap_parse_reference_control",
                ldap_parse_reference_control(hand.session(), answer.controls.get(), nullptr, 0,
                                             nullptr, 0, nullptr, out(reference)));
    hand.tally().lose(chunk(std::strlen(people) + 1) + chunk(sizeof "dc=example,dc=com") +
                      3 * chunk(serverDn) + chunk(4 * sizeof(char *)));
    hand.verify(reference != nullptr && std::strncmp(reference.get(), "ldap", 4) == 0,
                "the reference is no URL");
}

/** What a message of a persistent search says of the change: its kind, or 0. */
int changeOf(Hand &hand, LDAPMessage *message) {
    ControlsPtr controls;
    LdapTextPtr previous;
    int kind = 0, isNumbered = 0, number = 0;
    hand.expect("ldap_get_entry_controls",
                ldap_get_entry_controls(hand.session(), message, out(controls)));
    hand.expect("ldap_parse_entrychange_control",
                ldap_parse_entrychange_control(hand.session(), controls.get(), &kind, out(previous),
                                               &isNumbered, &number));
    hand.verify(isNumbered != 0 && number > 0, "a change has no number");
    return kind;
}

int nextChange(Hand &hand, int id) {
    timeval patience{longPatience.count(), 0};
    MessagePtr message;
    const int type = ldap_result(hand.session(), id, LDAP_MSG_ONE, &patience, out(message));
    hand.expect("ldap_result", type, LDAP_RES_SEARCH_ENTRY);
    return changeOf(hand, message.get());
}

} // namespace

void useControls(Hand &hand) {
    actAsAda(hand);
    askForRights(hand);
    askForStatus(hand);
    askForReference(hand);
}

void watchChanges(Hand &hand) {
    constexpr int additions = 1, deletions = 2;
    LDAP *ld = hand.session();
    ControlPtr control;
    hand.expect(
        "ldap_create_persistentsearch_control",
        ldap_create_persistentsearch_control(ld, additions | deletions, 1, 1, 1, out(control)));
    LDAPControl *controls[] = {control.get(), nullptr};
    int id = 0;
    hand.expect("ldap_search_ext",
                ldap_search_ext(ld, hand.place().area.c_str(), LDAP_SCOPE_SUBTREE, "(cn=*)",
                                nullptr, 0, controls, nullptr, nullptr, LDAP_NO_LIMIT, &id));
    const std::string dn = hand.freshDn("watched");
    addPerson(hand, dn, "watched");
    deleteEntry(hand, dn);
    hand.verify(nextChange(hand, id) == additions, "no addition came");
    hand.verify(nextChange(hand, id) == deletions, "no deletion came");
    hand.expect("ldap_abandon_ext", ldap_abandon_ext(ld, id, nullptr, nullptr));
}

void searchByUrl(Hand &hand) {
    const std::string url =
        "ldap:///" + std::string(people) + "?cn?one?(cn=" + "Ada%20Brandt" + ")";
    LDAP *ld = hand.session();
    timeval patience{longPatience.count(), 0};
    const auto once = [&](const char *call, int code, const MessagePtr &found) {
        hand.expect(call, code);
        hand.verify(ldap_count_entries(ld, found.get()) == 1, "a URL's entry is not found");
    };
    MessagePtr first, second, third;
    const int firstCode = ldap_url_search_s(ld, url.c_str(), 0, out(first));
    once("ldap_url_search_s", firstCode, first);
    const int secondCode = ldap_url_search_st(ld, url.c_str(), 1, &patience, out(second));
    once("ldap_url_search_st", secondCode, second);
    const int id = ldap_url_search(ld, url.c_str(), 0);
    const int type = ldap_result(ld, id, LDAP_MSG_ALL, &patience, out(third));
    once("ldap_url_search", type == LDAP_RES_SEARCH_RESULT ? LDAP_SUCCESS : LDAP_OTHER, third);
}

} // namespace soak
