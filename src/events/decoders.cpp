// The decoders of the payload kinds, and what they have in common.
#include "core/session.h"
#include "events/primitives.h"
#include "events/record.h"

namespace {

using namespace qldapx::events;

int decode(ber_tag_t kind, LDAP *ld, BerElement *ber, void **eventData, void **ipData) {
    int result = readRecord(ber, *recordOf(kind), eventData);
    if (result == LDAP_SUCCESS)
        result = readOptionalAddress(ber, ipData);
    return qldapx::storeResult(ld, result);
}

} // namespace

extern "C" {

#define DECODER(name, kind)                                                                        \
    int name(LDAP *ld, BerElement *ber, void **eventData, void **ipData) {                         \
        return decode(kind, ld, ber, eventData, ipData);                                           \
    }

DECODER(parseEntryEventData, 0x61)
DECODER(parseValueEventData, 0x62)
DECODER(parseGeneralEventData, 0x63)
DECODER(parseBinderyEventData, 0x65)
DECODER(parseSEVEventData, 0x66)
DECODER(parseModuleStateEventData, 0x67)
DECODER(parseConnectionStateData, 0x69)
DECODER(parseChangeServerAddressData, 0x6C)
DECODER(parseChangeConfigParamData, 0x6D)
DECODER(parseStatusLogEventData, 0x6F)
DECODER(parseDebugEventData, 0x70)
DECODER(parseAuthEventData, 0x71)
DECODER(parseConnectionEventData, 0x72)
DECODER(parseSearchEventData, 0x73)
DECODER(parseSearchEntryResponseEventData, 0x74)
DECODER(parseCompareEventData, 0x76)
DECODER(parseModDNEventData, 0x77)
DECODER(parseAbandonEventData, 0x78)
DECODER(parseExtOpEventData, 0x79)
DECODER(parseSysExtOpEventData, 0x7A)
DECODER(parseResponseEventData, 0x7B)
DECODER(parsePasswordModifyData, 0x7C)
DECODER(parseUnknownOp, 0x7D)

#undef DECODER

int parseUpdateEventData(LDAP *ld, BerElement *ber, int /*eventType*/, void **eventData,
                         void **ipData) {
    return decode(0x75, ld, ber, eventData, ipData);
}

// Nothing is read, not even the address.
int parseSkulkEventData(LDAP *ld, BerElement * /*ber*/, void **eventData, void ** /*ipData*/) {
    *eventData = nullptr;
    return qldapx::storeResult(ld, LDAP_SUCCESS);
}
}
