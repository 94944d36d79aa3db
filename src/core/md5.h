// md5.h - the block transform of MD5 (RFC 1321, 3.4), for the digest and for the random pool, which
// lays its blocks out by itself.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qldapx {

static_assert(std::endian::native == std::endian::little, "words are read as they lie");

constexpr std::size_t md5BlockSize = 64;
constexpr std::size_t md5LengthOffset = 56; // of the bit count in the last block

// A, B, C, D.
using Md5Chain = std::array<std::uint32_t, 4>;

constexpr Md5Chain md5Start = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

// Takes whole blocks into the chain.
void md5Transform(Md5Chain &chain, const unsigned char *blocks, std::size_t count);

} // namespace qldapx
