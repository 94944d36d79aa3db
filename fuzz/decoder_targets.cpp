// The decoders of payloads, one by one, on a value of just the size that they may read.
#include "ber_ptr.h"
#include "heap_watch.h"
#include "record_reader.h"
#include "support/event_decoders.h"
#include "targets.h"

#include <cstring>
#include <memory>
#include <qldapx.h>

namespace qldapx_fuzz {

namespace {

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

void decode(unsigned kind, LDAP *ld, BerElement *ber) {
    void *event = nullptr, *address = nullptr;
    int result = LDAP_SUCCESS;
    ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &result);
    if (!returns([&] { result = qldapx_test::payloadDecoder(kind)(ld, ber, &event, &address); }))
        return;
    requireContract(kind, result, sessionCode(ld), event);
    readAndFree(event);
    readAndFree(address);
}

} // namespace

const std::vector<unsigned> &decodedKinds() {
    static const std::vector<unsigned> kinds = [] {
        std::vector<unsigned> all;
        for (const qldapx_test::KindDecoder &decoder : qldapx_test::kindDecoders)
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
    decode(target.kind, ld, ber.get());
}

} // namespace qldapx_fuzz
