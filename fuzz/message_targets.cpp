// The parsers of messages, which libldap must have received.
#include "ber_ptr.h"
#include "event_session.h"
#include "heap_watch.h"
#include "record_reader.h"
#include "support/event_samples.h"
#include "support/ldap_message.h"
#include "targets.h"

#include <cstring>
#include <qldapx.h>

namespace qldapx_fuzz {

namespace {

constexpr char responseOid[] = "2.16.840.1.907341.1.27.100.80";
constexpr ber_tag_t responseNameTag = 0x8a;

// libldap's own parser of an answer ends the process over a name without characters
// (assert( resoid[ 0 ] != '\0' )). That is libldap's fault and would hide ours, so no answer with
// such an element, wherever it stands, is sent.
bool hasEmptyName(const Bytes &operation) {
    BerPtr ber = decoderOf({operation.size(), const_cast<char *>(operation.data())});
    berval element;
    ber_len_t length = 0;
    ber_skip_tag(ber.get(), &length);
    for (ber_tag_t tag; (tag = ber_skip_element(ber.get(), &element)) != LBER_ERROR;)
        if (tag == responseNameTag && (element.bv_len == 0 || element.bv_val[0] == '\0'))
            return true;
    return false;
}

// The session outlives the run; only a message that libldap refuses ends it.
void withMessage(const Bytes &operation, void (*parse)(LDAP *ld, LDAPMessage *message)) {
    static std::unique_ptr<EventSession> session;
    if (session == nullptr)
        session = std::make_unique<EventSession>();
    HeapWatch watch(operation.size());
    if (MessagePtr message = session->receive(operation)) {
        parse(session->get(), message.get());
        message.reset();
        session->endRegistration();
    } else {
        session.reset();
        watch.releaseAll(); // libldap loses the message that it refuses
    }
}

void requireStored(LDAP *ld, int result) {
    int stored = 0;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &stored);
    require(stored == result, "the session remembers another result");
}

// The message may be one of another operation.
void requireOneOf(std::initializer_list<int> expected, int result) {
    for (int one : expected)
        if (one == result)
            return;
    require(false, "an unexpected result");
}

volatile int sink;

void parseAnswer(LDAP *ld, LDAPMessage *message) {
    int code = 0, count = -1;
    char *text = nullptr;
    EventSpecification *events = nullptr;
    int result = ldap_parse_monitor_events_response(ld, message, &code, &text, &count, &events, 0);
    requireStored(ld, result);
    requireOneOf({LDAP_SUCCESS, LDAP_DECODING_ERROR, LDAP_PARAM_ERROR, LDAP_NO_RESULTS_RETURNED},
                 result);
    require(count >= 0 && (events != nullptr || count == 0), "a count without events");
    require(result == LDAP_SUCCESS || events == nullptr, "events after a failure");
    for (int i = 0; i < count; ++i)
        sink = sink + events[i].eventType + events[i].eventResult;
    ldapx_memfree(events);
    ldap_memfree(text);
}

void parseEvent(LDAP *ld, LDAPMessage *message) {
    int type = 0, eventResult = 0, result = LDAP_SUCCESS;
    void *event = nullptr, *address = nullptr;
    if (!returns([&] {
            result = ldap_parse_ds_event_IP(ld, message, &type, &eventResult, &event, 0, &address);
        }))
        return;
    requireStored(ld, result);
    requireOneOf({LDAP_SUCCESS, LDAP_DECODING_ERROR, LDAP_PARAM_ERROR}, result);
    require(result == LDAP_SUCCESS || event == nullptr, "a record after a failure");
    readAndFree(event);
    readAndFree(address);
    int again = ldap_parse_ds_event(ld, message, &type, &eventResult, &event, 0);
    require(again == result, "another result without the address");
    readAndFree(event);
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
