// The parsers of messages, which libldap must have received.
#include "heap_watch.h"
#include "message_run.h"
#include "record_reader.h"
#include "support/event_samples.h"
#include "support/ldap_message.h"
#include "targets.h"

#include <qldapx.h>

namespace qldapx_fuzz {

namespace {

constexpr char responseOid[] = "2.16.840.1.907341.1.27.100.80";
volatile int sink;

Texts parseAnswer(LDAP *ld, MessagePtr message) {
    int code = 0, count = -1;
    char *text = nullptr;
    EventSpecification *events = nullptr;
    int result =
        ldap_parse_monitor_events_response(ld, message.get(), &code, &text, &count, &events, 0);
    requireStored(ld, result);
    requireOneOf({LDAP_SUCCESS, LDAP_DECODING_ERROR, LDAP_PARAM_ERROR, LDAP_NO_RESULTS_RETURNED},
                 result);
    require(count >= 0 && (events != nullptr || count == 0), "a count without events");
    require(result == LDAP_SUCCESS || events == nullptr, "events after a failure");
    for (int i = 0; i < count; ++i)
        sink = sink + events[i].eventType + events[i].eventResult;
    ldapx_memfree(events);
    ldap_memfree(text);
    return {};
}

Texts parseEvent(LDAP *ld, MessagePtr message) {
    int type = 0, eventResult = 0, result = LDAP_SUCCESS;
    void *event = nullptr, *address = nullptr;
    if (!returns([&] {
            result =
                ldap_parse_ds_event_IP(ld, message.get(), &type, &eventResult, &event, 0, &address);
        }))
        return {};
    requireStored(ld, result);
    requireOneOf({LDAP_SUCCESS, LDAP_DECODING_ERROR, LDAP_PARAM_ERROR}, result);
    require(result == LDAP_SUCCESS || event == nullptr, "a record after a failure");
    readAndFree(event);
    readAndFree(address);
    int again = ldap_parse_ds_event(ld, message.get(), &type, &eventResult, &event, 0);
    require(again == result, "another result without the address");
    readAndFree(event);
    return {};
}

} // namespace

void runMonitorResponse(const Target & /*target*/, const Bytes &bytes) {
    withMessage(qldapx_test::extendedResponse(0, responseOid, bytes), parseAnswer);
}

void runMonitorAnswer(const Target & /*target*/, const Bytes &bytes) {
    if (!hasEmptyName(bytes))
        withMessage(bytes, parseAnswer);
}

void runNotification(const Target & /*target*/, const Bytes &bytes) {
    withMessage(qldapx_test::eventMessage(bytes), parseEvent);
}

void runIntermediate(const Target & /*target*/, const Bytes &bytes) {
    withMessage(bytes, parseEvent);
}

} // namespace qldapx_fuzz
