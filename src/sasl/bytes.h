// bytes.h - what a byte is in a list of directives or tokens.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace qldapx {

enum class Kind : std::uint8_t { other, white, token, quote, equals, comma };
constexpr std::size_t kindCount = 6;

inline constexpr char notInTokens[] = "%(),:;<=>?@[\\]{}";

constexpr bool isTokenByte(unsigned c) {
    const bool isControl = c < 0x20 || c == 0x7f;
    return !isControl && c != ' ' &&
           std::find(std::begin(notInTokens), std::end(notInTokens), static_cast<int>(c)) ==
               std::end(notInTokens);
}

constexpr Kind kindOf(unsigned c) {
    switch (c) {
    case '\t':
    case '\n':
    case '\r':
    case ' ':
        return Kind::white;
    case '"':
        return Kind::quote; // a token's byte like any other, where no value begins with it
    case '=':
        return Kind::equals;
    case ',':
        return Kind::comma;
    default:
        return isTokenByte(c) ? Kind::token : Kind::other;
    }
}

constexpr std::array<Kind, 256> makeByteKinds() {
    std::array<Kind, 256> table{};
    for (unsigned c = 0; c < table.size(); ++c)
        table[c] = kindOf(c);
    return table;
}

inline constexpr std::array<Kind, 256> byteKinds = makeByteKinds();

constexpr bool isWhite(unsigned char c) {
    return byteKinds[c] == Kind::white;
}

constexpr bool isToken(unsigned char c) {
    return byteKinds[c] == Kind::token || byteKinds[c] == Kind::quote;
}

} // namespace qldapx
