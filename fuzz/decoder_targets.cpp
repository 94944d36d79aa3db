// The decoders of payloads, one by one, on a value of just the size that they may read.
#include "ber_ptr.h"
#include "heap_watch.h"
#include "record_reader.h"
#include "targets.h"

#include <cstring>
#include <memory>
#include <qldapx.h>

namespace qldapx_fuzz {

namespace {

int parseUpdate(LDAP *ld, BerElement *ber, void **eventData, void **ipData) {
    return parseUpdateEventData(ld, ber, 4711, eventData, ipData);
}

int parseNetAddress(LDAP *ld, BerElement *ber, void **eventData, void **ipData) {
    int result = parseNetAddrEventData(ld, ber, eventData);
    return result == LDAP_SUCCESS ? ber_get_IP(ld, ber, ipData) : result;
}

struct Decoder {
    unsigned kind;
    int (*decode)(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
};

constexpr Decoder decoders[] = {
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

const Decoder &ofKind(unsigned kind) {
    const Decoder *decoder = decoders;
    while (decoder->kind != kind)
        ++decoder;
    return *decoder;
}

LDAP *newSession() {
    LDAP *ld = nullptr;
    require(ldap_initialize(&ld, nullptr) == LDAP_SUCCESS, "no session");
    return ld;
}

int sessionCode(LDAP *ld) {
    int code = 0;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
    return code;
}

constexpr unsigned kindWithoutRecord = 100;

void requireContract(unsigned kind, int result, int stored, const void *event) {
    require(result == LDAP_SUCCESS || result == LDAP_DECODING_ERROR, "an unexpected result");
    require(stored == result, "the session remembers another result");
    require(result != LDAP_SUCCESS || (event == nullptr) == (kind == kindWithoutRecord),
            "success and no record, or a record that there is none of");
}

void decode(const Decoder &decoder, LDAP *ld, BerElement *ber) {
    void *event = nullptr, *address = nullptr;
    int result = LDAP_SUCCESS;
    ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &result);
    if (!returns([&] { result = decoder.decode(ld, ber, &event, &address); }))
        return;
    requireContract(decoder.kind, result, sessionCode(ld), event);
    readAndFree(event);
    readAndFree(address);
}

} // namespace

const std::vector<unsigned> &decodedKinds() {
    static const std::vector<unsigned> kinds = [] {
        std::vector<unsigned> all;
        for (const Decoder &decoder : decoders)
            all.push_back(decoder.kind);
        return all;
    }();
    return kinds;
}

void runDecoder(const Target &target, const Bytes &bytes) {
    static LDAP *const ld = newSession();
    HeapWatch watch(bytes.size());
    // liblber may read one byte behind the value, and no more.
    std::unique_ptr<char[]> block(new char[bytes.size() + 1]());
    std::memcpy(block.get(), bytes.data(), bytes.size());
    BerPtr ber = decoderOf({bytes.size(), block.get()});
    decode(ofKind(target.kind), ld, ber.get());
}

} // namespace qldapx_fuzz
