// ber_ptr.h - bytes to be decoded where they lie.
#pragma once

#include <lber.h>
#include <memory>

namespace qldapx_fuzz {

struct BerFree {
    void operator()(BerElement *ber) const { ber_free(ber, 0); }
};
using BerPtr = std::unique_ptr<BerElement, BerFree>;

inline BerPtr decoderOf(berval value) {
    BerPtr ber(ber_alloc_t(0));
    ber_init2(ber.get(), &value, 0);
    return ber;
}

} // namespace qldapx_fuzz
