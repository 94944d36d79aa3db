// Registrations for events, and the notifications that follow.
#include "hostile/call.h"

#include "fuzz/record_reader.h"

#include <qldapx.h>

namespace hostile {

namespace {

volatile unsigned sink;

int takeAnswer(const Call &call, LDAPMessage *message) {
    int code = 0, count = -1;
    char *text = nullptr;
    EventSpecification *events = nullptr;
    const int result =
        ldap_parse_monitor_events_response(call.ld, message, &code, &text, &count, &events, 0);
    require(call.stored() == result, "The session remembers another result.");
    requireOneOf({LDAP_SUCCESS, LDAP_DECODING_ERROR, LDAP_PARAM_ERROR, LDAP_NO_RESULTS_RETURNED},
                 result);
    require(count >= 0 && (events != nullptr || count == 0), "A count without events.");
    require(result == LDAP_SUCCESS || events == nullptr, "Events after a failure.");
    for (int i = 0; i < count; ++i)
        sink = static_cast<unsigned>(events[i].eventType ^ events[i].eventResult);
    ldapx_memfree(events);
    ldap_memfree(text);
    return result != LDAP_SUCCESS ? result : code;
}

// Once with all that it has; now and then with less, and released by the parser.
int takeEvent(Call &call, MessagePtr message) {
    int type = 0, eventResult = 0;
    void *event = nullptr, *address = nullptr;
    const int result =
        ldap_parse_ds_event_IP(call.ld, message.get(), &type, &eventResult, &event, 0, &address);
    require(call.stored() == result, "The session remembers another result.");
    requireOneOf({LDAP_SUCCESS, LDAP_DECODING_ERROR, LDAP_PARAM_ERROR}, result);
    require(result == LDAP_SUCCESS || event == nullptr, "A record after a failure.");
    qldapx_fuzz::readAndFree(event);
    qldapx_fuzz::readAndFree(address);
    const bool isIntermediate =
        ldap_msgtype(message.get()) == static_cast<int>(LDAP_RES_INTERMEDIATE);
    if (call.random.percent(10)) {
        const int again = ldap_parse_ds_event(call.ld, message.get(), &type, &eventResult, nullptr,
                                              isIntermediate ? 1 : 0);
        if (isIntermediate)
            static_cast<void>(message.release());
        require(again == result || (result == LDAP_DECODING_ERROR && again == LDAP_SUCCESS),
                "Another result without the record.");
    }
    return result;
}

// Each parser is given what is not meant for it, too.
int take(Call &call, MessagePtr message) {
    const bool isEvent = ldap_msgtype(message.get()) == static_cast<int>(LDAP_RES_INTERMEDIATE);
    if (isEvent == !call.random.percent(3))
        return takeEvent(call, std::move(message));
    return takeAnswer(call, message.get());
}

// The first fault is what counts. A server may go on for ever.
int takeAll(Call &call, int id) {
    int result = LDAP_SUCCESS, taken = 0;
    for (constexpr int most = 30; taken < most; ++taken) {
        MessagePtr message = nextMessage(call, id);
        if (message == nullptr)
            break;
        const int one = take(call, std::move(message));
        result = result == LDAP_SUCCESS ? one : result;
    }
    return result == LDAP_SUCCESS && taken < 2 ? call.stored() : result;
}

int finish(Call &call, int sent, int id) {
    if (sent != LDAP_SUCCESS)
        return sent;
    const int result = takeAll(call, id);
    abandon(call, id);
    return result;
}

int runPlain(Call &call) {
    EventSpecification events[] = {{7, 0}, {8, 0}};
    int id = 0;
    const int sent = ldap_monitor_events(call.ld, 2, events, &id);
    return finish(call, sent, id);
}

int runFiltered(Call &call) {
    FilteredEventSpecification events[] = {{7, 0, arg("(cn=*)")}, {8, 0, arg("(sn=a)")}};
    int id = 0;
    const int sent = ldap_monitor_events_filtered(call.ld, 2, events, &id);
    return finish(call, sent, id);
}

} // namespace

void addEvents(std::vector<Operation> &all) {
    all.push_back({"ldap_monitor_events", 50, 90, runPlain});
    all.push_back({"ldap_monitor_events_filtered", 20, 90, runFiltered});
}

} // namespace hostile
