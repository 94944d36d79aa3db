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

// Exported by libldap, but in none of its installed headers.
extern "C" BerElement *ldap_get_message_ber(LDAPMessage *message);

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

// IntermediateResponse (RFC 4511, 4.13), where its parts lie in the message.
struct Intermediate {
    berval name;
    berval value;
};

// Takes what libldap takes: a part may be absent, or be tagged as in an extended response. (It
// looked at the operation's own tag and length when it received it.)
Intermediate readIntermediate(BerElement *ber) {
    Intermediate parts{};
    berval part{};
    ber_len_t length = 0;
    ber_skip_tag(ber, &length);
    ber_tag_t tag = ber_skip_element(ber, &part);
    if (tag == LDAP_TAG_IM_RES_OID || tag == LDAP_TAG_EXOP_RES_OID) {
        parts.name = part;
        tag = ber_skip_element(ber, &part);
    }
    if (tag == LDAP_TAG_IM_RES_VALUE || tag == LDAP_TAG_EXOP_RES_VALUE)
        parts.value = part;
    return parts;
}

// A NUL at its end is the string's terminator, as everywhere in liblber.
bool isNotification(const berval &name) {
    constexpr ber_len_t length = sizeof notificationOid - 1;
    return (name.bv_len == length || name.bv_len == length + 1) &&
           std::memcmp(name.bv_val, notificationOid, name.bv_len) == 0;
}

// ldap_parse_intermediate would copy name and value, which costs as much as all the rest: events
// are read where libldap has received them.
int parseNotification(LDAP *ld, LDAPMessage *msg, int *eventType, int *eventResult,
                      void **eventData, int freeit, void **ipData) {
    if (eventType == nullptr || eventResult == nullptr)
        return LDAP_PARAM_ERROR;
    if (eventData != nullptr)
        *eventData = nullptr;
    int version = 0;
    ldap_get_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    if (version < LDAP_VERSION3)
        return LDAP_NOT_SUPPORTED;
    if (ldap_msgtype(msg) != static_cast<int>(LDAP_RES_INTERMEDIATE))
        return LDAP_PARAM_ERROR;
    Decoder decoder(ldap_get_message_ber(msg));
    if (!decoder)
        return LDAP_NO_MEMORY;
    MessagePtr released(freeit != 0 ? msg : nullptr);
    Intermediate parts = readIntermediate(decoder.element());
    if (!isNotification(parts.name))
        return LDAP_DECODING_ERROR;
    decoder.restart(parts.value);
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
