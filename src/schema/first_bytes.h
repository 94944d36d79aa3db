// first_bytes.h - the beginning of a text as a number, which orders as the text does.
#pragma once

#include <cstdint>

namespace qldapx::schema {

// The first eight bytes, each as fold(byte), zero behind the end.
template <class Fold>
std::uint64_t firstBytes(const char *text, Fold fold) {
    std::uint64_t bytes = 0;
    for (int i = 0; i < 8; ++i) {
        const unsigned char c = fold(static_cast<unsigned char>(text[i]));
        bytes = bytes << 8 | c;
        if (c == 0)
            return bytes << 8 * (7 - i);
    }
    return bytes;
}

} // namespace qldapx::schema
