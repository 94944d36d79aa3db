// event_samples.h - event payloads of every kind, written by hand, and what is in them.
#pragma once

#include "support/ber.h"

#include <ostream>
#include <string>
#include <vector>

namespace qldapx_test {

struct EventSample {
    const char *name;
    unsigned char kind;
    // The payload's contents, element by element.
    std::vector<Bytes> elements;
    // Every field of the record, in its order: describeRecord's words.
    std::string fields;

    [[nodiscard]] Bytes contents() const;
    [[nodiscard]] Bytes payload() const { return tlv(kind, contents()); }
};

void PrintTo(const EventSample &sample, std::ostream *out);

const std::vector<EventSample> &eventSamples();

// The optional address: INTEGER, OCTET STRING.
Bytes eventAddress();

// Value of a notification.
Bytes notification(int type, int result, const Bytes &rest);

// IntermediateResponse ::= [APPLICATION 25] SEQUENCE { responseName [0], responseValue [1] }
Bytes eventMessage(const Bytes &value);

} // namespace qldapx_test
