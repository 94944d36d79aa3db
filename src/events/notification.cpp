// notification.cpp - event notifications:
//
// intermediate response 2.16.840.1.907341.1.27.100.81
// SEQUENCE {
//     eventType   INTEGER,
//     eventResult INTEGER,
//     payload     [APPLICATION n] { ... },            n is the payload's kind
//     address     INTEGER, OCTET STRING OPTIONAL }
#include "core/decoder.h"
#include "core/session.h"
#include "events/primitives.h"
#include "events/record.h"
#include "qldapx/event.h"

namespace {

using namespace qldapx;
using namespace qldapx::events;

constexpr char notificationOid[] = "2.16.840.1.907341.1.27.100.81";

// The payload's decoder is chosen by its tag alone. A kind without one is an event without record,
// whose payload is not looked at.
int readPayload(BerElement *ber, void **eventData, void **ipData) {
    ber_len_t length = 0;
    ber_tag_t kind = ber_peek_tag(ber, &length);
    if (kind == LBER_DEFAULT)
        return bytesLeft(ber) == 0 ? LDAP_SUCCESS : LDAP_DECODING_ERROR;
    ber_skip_tag(ber, &length);
    const Record *record = recordOf(kind);
    if (record == nullptr)
        return LDAP_SUCCESS;
    int result =
        kind == netAddressKind ? readAddress(ber, eventData) : readRecord(ber, *record, eventData);
    return result == LDAP_SUCCESS ? readOptionalAddress(ber, ipData) : result;
}

int readNotification(BerElement *ber, int *eventType, int *eventResult, void **eventData,
                     void **ipData) {
    int result = enter(ber);
    if (result == LDAP_SUCCESS)
        result = readInteger(ber, eventType);
    if (result == LDAP_SUCCESS)
        result = readInteger(ber, eventResult);
    if (result != LDAP_SUCCESS || eventData == nullptr)
        return result;
    result = readPayload(ber, eventData, ipData);
    if (result != LDAP_SUCCESS && *eventData != nullptr) {
        discardRecord(*eventData);
        *eventData = nullptr;
    }
    return result;
}

int parseNotification(LDAP *ld, LDAPMessage *msg, int *eventType, int *eventResult,
                      void **eventData, int freeit, void **ipData) {
    if (eventType == nullptr || eventResult == nullptr)
        return LDAP_PARAM_ERROR;
    if (eventData != nullptr)
        *eventData = nullptr;
    LdapStringPtr name;
    BervalPtr value;
    int result = ldap_parse_intermediate(ld, msg, Out(name), Out(value), nullptr, freeit);
    if (result != LDAP_SUCCESS)
        return result;
    if (name == nullptr || std::strcmp(name.get(), notificationOid) != 0 || value == nullptr)
        return LDAP_DECODING_ERROR;
    Decoder decoder(*value);
    if (!decoder)
        return LDAP_NO_MEMORY;
    return readNotification(decoder.element(), eventType, eventResult, eventData, ipData);
}

} // namespace

extern "C" {

int ldap_parse_ds_event_IP(LDAP *ld, LDAPMessage *msg, int *eventType, int *eventResult,
                           void **eventData, int freeit, void **ipData) {
    return storeResult(
        ld, parseNotification(ld, msg, eventType, eventResult, eventData, freeit, ipData));
}

int ldap_parse_ds_event(LDAP *ld, LDAPMessage *msg, int *eventType, int *eventResult,
                        void **eventData, int freeit) {
    return ldap_parse_ds_event_IP(ld, msg, eventType, eventResult, eventData, freeit, nullptr);
}
}
