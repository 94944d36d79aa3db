// event_decoders.h - the payload decoders by kind.
#pragma once

#include <qldapx.h>

namespace qldapx_test {

using PayloadDecoder = int(LDAP *ld, BerElement *ber, void **eventData, void **ipData);

// Kind 104 has no decoder of this form: the two steps that make it up.
inline int parseNetAddress(LDAP *ld, BerElement *ber, void **eventData, void **ipData) {
    int result = parseNetAddrEventData(ld, ber, eventData);
    return result == LDAP_SUCCESS ? ber_get_IP(ld, ber, ipData) : result;
}

inline int parseUpdate(LDAP *ld, BerElement *ber, void **eventData, void **ipData) {
    return parseUpdateEventData(ld, ber, 4711, eventData, ipData);
}

struct KindDecoder {
    unsigned kind;
    PayloadDecoder *decode;
};

constexpr KindDecoder kindDecoders[] = {
    {97, parseEntryEventData},
    {98, parseValueEventData},
    {99, parseGeneralEventData},
    {100, parseSkulkEventData},
    {101, parseBinderyEventData},
    {102, parseSEVEventData},
    {103, parseModuleStateEventData},
    {104, parseNetAddress},
    {105, parseConnectionStateData},
    {108, parseChangeServerAddressData},
    {109, parseChangeConfigParamData},
    {111, parseStatusLogEventData},
    {112, parseDebugEventData},
    {113, parseAuthEventData},
    {114, parseConnectionEventData},
    {115, parseSearchEventData},
    {116, parseSearchEntryResponseEventData},
    {117, parseUpdate},
    {118, parseCompareEventData},
    {119, parseModDNEventData},
    {120, parseAbandonEventData},
    {121, parseExtOpEventData},
    {122, parseSysExtOpEventData},
    {123, parseResponseEventData},
    {124, parsePasswordModifyData},
    {125, parseUnknownOp},
};

// NULL: the kind has none.
inline PayloadDecoder *payloadDecoder(unsigned kind) {
    for (const KindDecoder &decoder : kindDecoders)
        if (decoder.kind == kind)
            return decoder.decode;
    return nullptr;
}

} // namespace qldapx_test
