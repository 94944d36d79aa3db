#include "jobs.h"
#include "registration.h"

namespace soak {
namespace {

constexpr int changes = 20;

void expectEvent(Hand &hand, Registration &registration, int type, const std::string &dn) {
    const Notice notice = registration.next(longPatience);
    hand.verify(notice.kind == Notice::event, "an event is missing");
    hand.expect("ldap_parse_ds_event", notice.code);
    hand.verify(notice.type == type && notice.dn == dn, "another event came: " + notice.dn);
}

} // namespace

// On a session of its own; events of other threads do not match.
void monitorEvents(Hand &hand) {
    const auto session = hand.another(adminDn, adminPassword);
    Registration registration(*session);
    const std::string dn = hand.freshDn("event");
    hand.expect(
        "ldap_monitor_events_filtered",
        registration.begin({entryAdded, entryDeleted}, "(string1=" + dn + ")", longPatience));
    for (int i = 0; i < changes; ++i) {
        addPerson(hand, dn, "an event");
        deleteEntry(hand, dn);
    }
    for (int i = 0; i < changes; ++i) {
        expectEvent(hand, registration, entryAdded, dn);
        expectEvent(hand, registration, entryDeleted, dn);
    }
    hand.expect("ldap_abandon_ext", registration.abandon());
}

} // namespace soak
