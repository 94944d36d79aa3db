// Event monitoring and the decoders of payloads.
#include "events/notified.h"
#include "memory/rows.h"

#include <array>

namespace qldapx_test::memory {
namespace {

// Kind 100 has no record, and 104 is made up of two functions: see below.
constexpr std::pair<unsigned, const char *> decoders[] = {
    {97, "parseEntryEventData"},
    {98, "parseValueEventData"},
    {99, "parseGeneralEventData"},
    {101, "parseBinderyEventData"},
    {102, "parseSEVEventData"},
    {103, "parseModuleStateEventData"},
    {105, "parseConnectionStateData"},
    {108, "parseChangeServerAddressData"},
    {109, "parseChangeConfigParamData"},
    {111, "parseStatusLogEventData"},
    {112, "parseDebugEventData"},
    {113, "parseAuthEventData"},
    {114, "parseConnectionEventData"},
    {115, "parseSearchEventData"},
    {116, "parseSearchEntryResponseEventData"},
    {117, "parseUpdateEventData"},
    {118, "parseCompareEventData"},
    {119, "parseModDNEventData"},
    {120, "parseAbandonEventData"},
    {121, "parseExtOpEventData"},
    {122, "parseSysExtOpEventData"},
    {123, "parseResponseEventData"},
    {124, "parsePasswordModifyData"},
    {125, "parseUnknownOp"},
};

// With an address, unless the sample's last field would be taken for one or the other.
Bytes withAddress(const EventSample &sample) {
    const Bytes contents = sample.contents();
    const bool isTold = decode(sample.kind, contents + eventAddress()).result == LDAP_SUCCESS;
    return isTold ? contents + eventAddress() : contents;
}

// That of the Auth record has one string whose failure is not looked at.
void decodeOne(Trial &trial, const char *function, const EventSample &sample) {
    static const Bytes contents = withAddress(sample);
    const Watch watch(trial);
    const Session session;
    const BerPtr ber = decoderOf(contents);
    void *event = nullptr, *address = nullptr;
    const int result = trial.code(
        function, [&] { return decodeKind(sample.kind, session, ber.get(), &event, &address); },
        sample.kind == 113 ? Without::mayGoOn : Without::fails);
    trial.expect(session.resultCode() == result, "another code in the session");
    trial.expect(event != nullptr || result != LDAP_SUCCESS, "another output");
    EventFree()(event);
    EventFree()(address);
}

void decodeAddress(Trial &trial) {
    const Watch watch(trial);
    const Session session;
    const BerPtr ber = decoderOf(eventAddress() + eventAddress());
    void *event = nullptr, *address = nullptr;
    trial.code("parseNetAddrEventData",
               [&] { return parseNetAddrEventData(session, ber.get(), &event); });
    trial.expect((event == nullptr) == trial.hasFailedHere(), "another output");
    if (!trial.hasFailedHere()) {
        trial.code("ber_get_IP", [&] { return ber_get_IP(session, ber.get(), &address); });
        trial.expect((address == nullptr) == trial.hasFailedHere(), "another output");
    }
    ldap_event_free(event);
    ldap_event_free(address);
}

// Reads nothing, and gives no record.
void decodeSkulk(Trial &trial) {
    const Session session;
    const BerPtr ber = decoderOf({});
    void *event = nullptr, *address = nullptr;
    trial.code("parseSkulkEventData",
               [&] { return parseSkulkEventData(session, ber.get(), &event, &address); });
}

void addDecoders(Rows &rows) {
    rows.push_back({"skulk", decodeSkulk});
    for (const EventSample &sample : eventSamples())
        for (const auto &[kind, function] : decoders)
            if (kind == sample.kind)
                rows.push_back({sample.name, [&sample, function = function](Trial &trial) {
                                    decodeOne(trial, function, sample);
                                }});
    rows.push_back({"address", decodeAddress});
}

using Register = std::function<int(LDAP *ld, int *id)>;

void registerEvents(Trial &trial, const char *function, const Register &work) {
    ScriptedPeer peer({ScriptedPeer::silence()});
    const Watch watch(trial);
    LDAP *ld = peer.session();
    int id = 0;
    trial.code(function, [&] { return work(ld, &id); });
    peer.closeSession();
}

// libldap keeps a request for which there is to be more with the session.
void parseRegistration(Trial &trial) {
    const Bytes event = sequence({integer(7), tlv(0x0a, Bytes(1, '\0'))});
    ScriptedPeer peer({ScriptedPeer::answer(extendedResponse(
        0, "2.16.840.1.907341.1.27.100.80", sequence({integer(1), tlv(0x31, event)})))});
    const Watch watch(trial);
    LDAP *ld = peer.session();
    EventSpecification wanted{7, 0};
    int id = 0, code = -1, count = -1;
    ldap_monitor_events(ld, 1, &wanted, &id);
    LDAPMessage *message = nullptr;
    timeval patience{10, 0};
    ldap_result(ld, id, LDAP_MSG_ONE, &patience, &message);
    EventSpecification *list = nullptr;
    char *text = nullptr;
    const int result = trial.code("ldap_parse_monitor_events_response", [&] {
        return ldap_parse_monitor_events_response(ld, message, &code, &text, &count, &list, 0);
    });
    const bool isDone = result == LDAP_SUCCESS;
    trial.expect(count == (isDone ? 1 : 0) && (list != nullptr) == isDone, "another output");
    ldap_memfree(text);
    ldapx_memfree(list);
    ldap_msgfree(message);
    peer.closeSession();
}

using Parse = int (*)(LDAP *ld, LDAPMessage *message, int *type, int *result, void **event,
                      void **address);

int parseBoth(LDAP *ld, LDAPMessage *message, int *type, int *result, void **event,
              void **address) {
    return ldap_parse_ds_event_IP(ld, message, type, result, event, 0, address);
}

int parseEventAlone(LDAP *ld, LDAPMessage *message, int *type, int *result, void **event,
                    void ** /*address*/) {
    return ldap_parse_ds_event(ld, message, type, result, event, 0);
}

void parseNotification(Trial &trial, const char *function, Parse parse, const EventSample &sample) {
    static EventStream stream(
        {eventMessage(notification(7, 0, tlv(sample.kind, withAddress(sample))))});
    static const MessagePtr message = stream.next();
    const Watch watch(trial);
    int type = 0, eventResult = 0;
    void *event = nullptr, *address = nullptr;
    const int result = trial.code(
        function,
        [&] {
            return parse(stream.session(), message.get(), &type, &eventResult, &event, &address);
        },
        sample.kind == 113 ? Without::mayGoOn : Without::fails);
    trial.expect(result == LDAP_SUCCESS || event == nullptr || address == nullptr,
                 "another output");
    EventFree()(event);
    EventFree()(address);
}

void addMonitoring(Rows &rows) {
    rows.push_back({"registration", [](Trial &trial) {
                        EventSpecification events[] = {{7, 0}, {8, 1}};
                        registerEvents(trial, "ldap_monitor_events", [&](LDAP *ld, int *id) {
                            return ldap_monitor_events(ld, 2, events, id);
                        });
                    }});
    rows.push_back({"registration with filters", [](Trial &trial) {
                        char filter[] = "(cn=a)";
                        FilteredEventSpecification events[] = {{7, 0, filter}, {8, 1, filter}};
                        registerEvents(trial, "ldap_monitor_events_filtered",
                                       [&](LDAP *ld, int *id) {
                                           return ldap_monitor_events_filtered(ld, 2, events, id);
                                       });
                    }});
    rows.push_back({"registration's answer", parseRegistration});
    for (const EventSample &sample : eventSamples()) {
        rows.push_back({sample.name, [&sample](Trial &trial) {
                            parseNotification(trial, "ldap_parse_ds_event_IP", parseBoth, sample);
                        }});
        rows.push_back({sample.name, [&sample](Trial &trial) {
                            parseNotification(trial, "ldap_parse_ds_event", parseEventAlone,
                                              sample);
                        }});
    }
}

void parseStrings(Trial &trial) {
    const Watch watch(trial);
    const BerPtr ber =
        decoderOf(octetString("one") + octetString("two") +
                  tlv(0x30, sequence({octetString("a")}) + sequence({octetString("b")})));
    char *bytes = nullptr, *text = nullptr, **list = nullptr;
    ber_len_t length = 0;
    const auto parseBytes = [&] { return parseOctetString(ber.get(), &bytes, &length, 0); };
    const auto parseText = [&] { return parseLDAPString(ber.get(), &text, LBER_OCTETSTRING); };
    const auto parseList = [&] { return parseStringSequence(ber.get(), &list); };
    if (trial.code("parseOctetString", parseBytes) == LDAP_SUCCESS &&
        trial.code("parseLDAPString", parseText) == LDAP_SUCCESS)
        trial.code("parseStringSequence", parseList);
    std::free(bytes);
    std::free(text);
    trial.call("freeStringSequence", [&] { freeStringSequence(list); });
}

// The first entry's value stays with the caller.
void parseReferrals(Trial &trial) {
    const Watch watch(trial);
    const Bytes one = sequence({integer(1), octetString("v")});
    const BerPtr ber = decoderOf(sequence({integer(2), sequence({one, one})}));
    int count = 0;
    ReferralEntry *list = nullptr;
    trial.code("parseReferralList", [&] { return parseReferralList(ber.get(), &count, &list); });
    char *first = list != nullptr && count > 0 ? list[0].value : nullptr;
    trial.call("freeReferralList", [&] { freeReferralList(count, list); });
    std::free(first);
}

void parseConnection(Trial &trial) {
    const Watch watch(trial);
    const BerPtr ber = decoderOf(sequence({integer(1), integer(2), octetString("cn=me")}));
    ConnectionInfo *info = nullptr;
    trial.code("parseConnectionData", [&] { return parseConnectionData(ber.get(), &info); });
    trial.call("freeConnectionData", [&] { freeConnectionData(info); });
}

void describe(Trial &trial) {
    const Watch watch(trial);
    void *event = trial.pointer("allocEventData",
                                [] { return allocEventData(sizeof(GeneralEventData), 99); });
    if (event == nullptr)
        return;
    *static_cast<GeneralEventData *>(event) = {};
    trial.expect(trial.call("ldapx_event_kind", [&] { return ldapx_event_kind(event); }) == 99,
                 "another kind");
    trial.expect(trial.pointer("ldapx_event_record_name",
                               [] { return ldapx_event_record_name(99); }) != nullptr,
                 "another name");
    LDAPXEventField field = {};
    trial.expect(
        trial.call("ldapx_event_field", [&] { return ldapx_event_field(event, 0, &field); }) == 1,
        "another field");
    trial.call("ldap_event_free", [&] { ldap_event_free(event); });
}

} // namespace

void addEvents(Rows &rows) {
    addDecoders(rows);
    addMonitoring(rows);
    rows.push_back({"strings", parseStrings});
    rows.push_back({"referrals", parseReferrals});
    rows.push_back({"connection", parseConnection});
    rows.push_back({"record", describe});
}

} // namespace qldapx_test::memory
