// monitor.cpp - the registration for events and its answer:
//
// request 2.16.840.1.907341.1.27.100.79, filtered 2.16.840.1.907341.1.27.100.84
// SEQUENCE {
//     count  INTEGER,
//     events SET OF SEQUENCE {
//         eventType   INTEGER,
//         eventResult ENUMERATED,
//         filter      OCTET STRING } }               filtered only
//
// response 2.16.840.1.907341.1.27.100.80: as the request without filters
#include "core/exchange.h"
#include "core/session.h"
#include "events/primitives.h"
#include "events/registration.h"
#include "qldapx/event.h"

namespace {

using namespace qldapx;
using namespace qldapx::events;

constexpr char plainOid[] = "2.16.840.1.907341.1.27.100.79";
constexpr char filteredOid[] = "2.16.840.1.907341.1.27.100.84";
constexpr char responseOid[] = "2.16.840.1.907341.1.27.100.80";

int encode(BerElement *ber, const EventSpecification &event) {
    return ber_printf(ber, "{ie}", event.eventType, event.eventResult);
}

int encode(BerElement *ber, const FilteredEventSpecification &event) {
    return ber_printf(ber, "{ies}", event.eventType, event.eventResult, event.filter);
}

template <class Specification>
bool encodeAll(BerElement *ber, int count, const Specification *events) {
    if (ber_printf(ber, "{i[", count) == -1)
        return false;
    for (int i = 0; i < count; ++i)
        if (encode(ber, events[i]) == -1)
            return false;
    return ber_printf(ber, "]}") != -1;
}

template <class Specification>
int monitor(LDAP *ld, const char *oid, int count, const Specification *events, int *msgidp) {
    // A negative count is sent as it is: kept, the server answers it.
    if (count == 0 || events == nullptr)
        return LDAP_PARAM_ERROR;
    Exchange exchange(ld);
    BerElement *encoder = exchange.newEncoder();
    if (encoder == nullptr)
        return LDAP_NO_MEMORY;
    if (!encodeAll(encoder, count, events))
        return storeResult(ld, LDAP_ENCODING_ERROR);
    return storeResult(ld, exchange.start(oid, msgidp));
}

using EventsPtr = std::unique_ptr<EventSpecification, Releaser<std::free>>;

// The shortest event: 30 04 02 00 0a 00.
constexpr ber_len_t shortestEvent = 6;

int readEvents(BerElement *ber, int count, EventSpecification *events) {
    for (int i = 0; i < count; ++i)
        if (enter(ber) != LDAP_SUCCESS || readInteger(ber, &events[i].eventType) != LDAP_SUCCESS ||
            readInteger(ber, &events[i].eventResult, LBER_ENUMERATED) != LDAP_SUCCESS)
            return LDAP_DECODING_ERROR;
    return LDAP_SUCCESS;
}

// A body that does not begin as a list of events is an empty list: kept, the registration stands
// all the same.
int readResponse(BerElement *ber, int *count, EventSpecification **events) {
    int announced = 0;
    if (enter(ber) != LDAP_SUCCESS || readInteger(ber, &announced) != LDAP_SUCCESS ||
        enter(ber, LBER_SET) != LDAP_SUCCESS)
        return LDAP_SUCCESS;
    if (announced < 0 || static_cast<ber_len_t>(announced) > bytesLeft(ber) / shortestEvent)
        return LDAP_DECODING_ERROR;
    EventsPtr list(static_cast<EventSpecification *>(
        std::malloc(static_cast<std::size_t>(announced) * sizeof(EventSpecification))));
    if (list == nullptr)
        return LDAP_NO_MEMORY;
    int result = readEvents(ber, announced, list.get());
    if (result == LDAP_SUCCESS) {
        *events = list.release();
        *count = announced;
    }
    return result;
}

// Gives whether it is the answer to a registration, or why it is not.
int parseResponse(LDAP *ld, LDAPMessage *message, int *count, EventSpecification **events,
                  int freeit, bool *isAnswer) {
    LdapStringPtr oid;
    BervalPtr value;
    int result = ldap_parse_extended_result(ld, message, Out(oid), Out(value), freeit);
    if (result != LDAP_SUCCESS || oid == nullptr)
        return result;
    if (std::strcmp(oid.get(), responseOid) != 0)
        return LDAP_DECODING_ERROR;
    *isAnswer = true;
    if (value == nullptr || count == nullptr || events == nullptr)
        return LDAP_SUCCESS;
    Decoder decoder(*value);
    return decoder ? readResponse(decoder.element(), count, events) : LDAP_NO_MEMORY;
}

int parse(LDAP *ld, LDAPMessage *message, int *resultCode, char **errorMessage, int *count,
          EventSpecification **events, int freeit) {
    int msgid = ldap_msgid(message);
    int result =
        ldap_parse_result(ld, message, resultCode, nullptr, errorMessage, nullptr, nullptr, 0);
    if (result != LDAP_SUCCESS)
        return result;
    bool isAnswer = false;
    result = parseResponse(ld, message, count, events, freeit, &isAnswer);
    if (result == LDAP_SUCCESS && isAnswer && *resultCode == LDAP_SUCCESS)
        result = keepOpen(ld, msgid);
    return result;
}

} // namespace

extern "C" {

int ldap_monitor_events(LDAP *ld, int count, EventSpecification *events, int *msgidp) {
    return monitor(ld, plainOid, count, events, msgidp);
}

int ldap_monitor_events_filtered(LDAP *ld, int count, FilteredEventSpecification *events,
                                 int *msgidp) {
    return monitor(ld, filteredOid, count, events, msgidp);
}

int ldap_parse_monitor_events_response(LDAP *ld, LDAPMessage *result, int *resultCode,
                                       char **errorMessage, int *count, EventSpecification **events,
                                       int freeit) {
    if (resultCode == nullptr)
        return storeResult(ld, LDAP_PARAM_ERROR);
    if (events != nullptr)
        *events = nullptr;
    if (count != nullptr)
        *count = 0;
    if (errorMessage != nullptr)
        *errorMessage = nullptr;
    int code = parse(ld, result, resultCode, errorMessage, count, events, freeit);
    if (code != LDAP_SUCCESS && events != nullptr) {
        std::free(*events);
        *events = nullptr;
        if (count != nullptr)
            *count = 0;
    }
    return storeResult(ld, code);
}
}
