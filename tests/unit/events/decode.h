// decode.h - a payload decoder's call, and what came of it.
#pragma once

#include "session.h"
#include "support/event_decoders.h"
#include "support/event_description.h"
#include "support/event_samples.h"

#include <cstdlib>
#include <memory>
#include <qldapx.h>

namespace qldapx_test {

// Also releases what ldap_event_free must leave: the first referral's value.
struct EventFree {
    void operator()(void *eventData) const {
        char *left = nullptr;
        if (eventData != nullptr && ldapx_event_kind(eventData) == 102) {
            const auto *event = static_cast<const SEVEventData *>(eventData);
            if (event->referrals != nullptr && event->referralCount > 0)
                left = event->referrals[0].value;
        }
        ldap_event_free(eventData);
        std::free(left);
    }
};
using EventPtr = std::unique_ptr<void, EventFree>;

struct BerFree {
    void operator()(BerElement *ber) const { ber_free(ber, 1); }
};
using BerPtr = std::unique_ptr<BerElement, BerFree>;

// Bytes to decode; any number of them, none included.
inline BerPtr decoderOf(const Bytes &bytes) {
    berval value{bytes.size(), const_cast<char *>(bytes.data())};
    return BerPtr(ber_init(&value));
}

inline ber_len_t bytesLeft(BerElement *ber) {
    ber_len_t bytes = 0;
    ber_get_option(ber, LBER_OPT_BER_REMAINING_BYTES, &bytes);
    return bytes;
}

// Of a kind that has a decoder.
inline int decodeKind(unsigned kind, LDAP *ld, BerElement *ber, void **eventData, void **ipData) {
    PayloadDecoder *decoder = payloadDecoder(kind);
    EXPECT_NE(decoder, nullptr) << kind;
    return decoder == nullptr ? LDAP_OTHER : decoder(ld, ber, eventData, ipData);
}

struct Decoded {
    int result = 0;
    int sessionResult = 0;
    std::string fields;
    std::string address;
    ber_len_t left = 0;
};

// Decodes a payload's contents and releases what came of it.
inline Decoded decode(unsigned kind, const Bytes &contents) {
    static Session session;
    session.store(Session::before);
    BerPtr ber = decoderOf(contents);
    void *event = nullptr, *address = nullptr;
    Decoded decoded;
    decoded.result = decodeKind(kind, session, ber.get(), &event, &address);
    decoded.sessionResult = session.resultCode();
    EventPtr eventOwner(event), addressOwner(address);
    decoded.fields = describeRecord(kind, event);
    decoded.address = describeRecord(104, address);
    decoded.left = bytesLeft(ber.get());
    return decoded;
}

} // namespace qldapx_test
