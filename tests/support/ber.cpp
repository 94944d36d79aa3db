#include "support/ber.h"

#include <stdexcept>

namespace qldapx_test {

namespace {

constexpr unsigned char sequenceTag = 0x30;

int digitValue(char digit) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::size_t value = digits.find(digit);
    if (value == digits.npos)
        throw std::invalid_argument(std::string("not a hexadecimal digit: ") + digit);
    return static_cast<int>(value);
}

char byte(std::uint64_t value) {
    return static_cast<char>(value & 0xff);
}

Bytes bigEndian(std::uint64_t value, unsigned width) {
    Bytes bytes;
    for (unsigned left = width; left > 0; --left)
        bytes += byte(value >> (8 * (left - 1)));
    return bytes;
}

unsigned widthOf(std::uint64_t value) {
    unsigned width = 1;
    while ((value >>= 8) != 0)
        ++width;
    return width;
}

} // namespace

Bytes fromHex(std::string_view digits) {
    Bytes bytes;
    int high = -1;
    for (char digit : digits) {
        if (digit == ' ')
            continue;
        int value = digitValue(digit);
        if (high >= 0)
            bytes += static_cast<char>(high * 16 + value);
        high = high >= 0 ? -1 : value;
    }
    if (high >= 0)
        throw std::invalid_argument("an odd number of hexadecimal digits");
    return bytes;
}

std::string toHex(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (char c : bytes) {
        auto value = static_cast<unsigned char>(c);
        text += text.empty() ? "" : " ";
        text += digits[value >> 4];
        text += digits[value & 0xf];
    }
    return text;
}

Bytes join(std::initializer_list<Bytes> pieces) {
    Bytes all;
    for (const Bytes &piece : pieces)
        all += piece;
    return all;
}

Bytes tlv(unsigned char tag, const Bytes &content) {
    constexpr std::size_t longestShortForm = 0x7f;
    if (content.size() > longestShortForm)
        return longTlv(tag, content, widthOf(content.size()));
    return join({Bytes(1, byte(tag)), Bytes(1, byte(content.size())), content});
}

Bytes longTlv(unsigned char tag, const Bytes &content, unsigned lengthBytes) {
    return join({Bytes(1, byte(tag)), Bytes(1, byte(0x80 + lengthBytes)),
                 bigEndian(content.size(), lengthBytes), content});
}

Bytes integer(std::int64_t value) {
    unsigned width = 1;
    while (width < sizeof value && (value < -(std::int64_t{1} << (8 * width - 1)) ||
                                    value >= std::int64_t{1} << (8 * width - 1)))
        ++width;
    return tlv(0x02, bigEndian(static_cast<std::uint64_t>(value), width));
}

Bytes octetString(const Bytes &content) {
    return tlv(0x04, content);
}

Bytes sequence(std::initializer_list<Bytes> elements) {
    return tlv(sequenceTag, join(elements));
}

Bytes set(std::initializer_list<Bytes> elements) {
    return tlv(0x31, join(elements));
}

Bytes wideSequence(std::initializer_list<Bytes> elements) {
    return longTlv(sequenceTag, join(elements), 4);
}

} // namespace qldapx_test
