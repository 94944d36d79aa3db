// events_instructions list - names the kinds that can be counted.
// events_instructions KIND library|hand N - decodes and releases an event's payload N times, for
// callgrind to count instructions of: by the library, or by hand on liblber.
#include "events_by_hand.h"
#include "support/event_decoders.h"
#include "support/event_samples.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <qldapx.h>

namespace {

using namespace qldapx_test;

int decode(PayloadDecoder *call, LDAP *ld, BerElement *ber) {
    void *event = nullptr, *address = nullptr;
    int result = call(ld, ber, &event, &address);
    if (event != nullptr)
        ldap_event_free(event);
    return result;
}

// The first sample of a kind has all that the kind can have.
const EventSample *sampleOf(unsigned kind) {
    for (const EventSample &sample : eventSamples())
        if (sample.kind == kind)
            return &sample;
    return nullptr;
}

int repeat(const KindDecoder &decoder, bool isByHand, int rounds) {
    LDAP *ld = nullptr;
    const EventSample *sample = sampleOf(decoder.kind);
    if (ldap_initialize(&ld, nullptr) != LDAP_SUCCESS || sample == nullptr)
        return 1;
    Bytes contents = sample->contents();
    BerElement *ber = ber_alloc_t(0);
    int result = LDAP_SUCCESS;
    while (rounds-- > 0 && result == LDAP_SUCCESS) {
        berval value{contents.size(), contents.data()};
        ber_init2(ber, &value, 0);
        result =
            isByHand ? bench::decodeByHand(decoder.kind, ld, ber) : decode(decoder.decode, ld, ber);
    }
    ber_free(ber, 0);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    return result == LDAP_SUCCESS ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    for (const KindDecoder &decoder : kindDecoders) {
        if (decoder.kind == 100) // reads nothing
            continue;
        if (argc == 2)
            std::printf("%u\n", decoder.kind);
        else if (argc == 4 && std::strtoul(argv[1], nullptr, 10) == decoder.kind)
            return repeat(decoder, std::strcmp(argv[2], "hand") == 0, std::atoi(argv[3]));
    }
    if (argc == 2)
        return 0;
    std::fprintf(stderr, "usage: %s list | KIND library|hand N\n", argv[0]);
    return 2;
}
