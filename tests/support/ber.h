// ber.h - BER written by hand, so that no test compares the library with liblber's own opinion.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace qldapx_test {

using Bytes = std::string;

// "02 01 7f" as bytes; blanks are ignored.
Bytes fromHex(std::string_view digits);
// The bytes as "02 01 7f", for comparisons that a person can read.
std::string toHex(std::string_view bytes);

Bytes join(std::initializer_list<Bytes> pieces);

// An element with the shortest length.
Bytes tlv(unsigned char tag, const Bytes &content);
// An element whose length takes exactly so many bytes after the first (0x81 ... 0x88), which BER
// allows even when fewer would do.
Bytes longTlv(unsigned char tag, const Bytes &content, unsigned lengthBytes);

Bytes integer(std::int64_t value);
Bytes octetString(const Bytes &content);
Bytes sequence(std::initializer_list<Bytes> elements);
Bytes set(std::initializer_list<Bytes> elements);
// A SEQUENCE as liblber's encoder without DER writes it: always four length bytes.
Bytes wideSequence(std::initializer_list<Bytes> elements);

} // namespace qldapx_test
