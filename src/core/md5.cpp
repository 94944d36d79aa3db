#include "core/md5.h"

#include <utility>

namespace qldapx {
namespace {

constexpr std::array<std::uint32_t, 64> sines = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};

// A round takes the block's words in steps of its own, from a first word on, and turns by four
// distances in turn.
struct Round {
    std::size_t first, step;
    std::array<int, 4> turns;
};

constexpr std::array<Round, 4> rounds = {{{0, 1, {7, 12, 17, 22}},
                                          {1, 5, {5, 9, 14, 20}},
                                          {5, 3, {4, 11, 16, 23}},
                                          {0, 7, {6, 10, 15, 21}}}};

// a + f(b, c, d) of a round. What does not hang on b, the word just made, is added first: the chain
// of steps is what takes the time.
template <std::size_t round>
[[gnu::always_inline]] inline std::uint32_t mix(std::uint32_t a, std::uint32_t b, std::uint32_t c,
                                                std::uint32_t d) {
    if constexpr (round == 0)
        return a + (d ^ (b & (c ^ d)));
    else if constexpr (round == 1)
        return a + (c & ~d) + (b & d); // no bit is in both: a sum is as good as an or
    else if constexpr (round == 2)
        return a + (b ^ (c ^ d));
    else
        return a + (c ^ (b | ~d));
}

template <std::size_t i>
[[gnu::always_inline]] inline void step(Md5Chain &v, const unsigned char *block) {
    constexpr std::size_t number = i / 16, a = (64 - i) % 4;
    constexpr Round round = rounds[number];
    std::uint32_t word = 0;
    std::memcpy(&word, block + (round.first + round.step * i) % 16 * sizeof word, sizeof word);
    const std::uint32_t b = v[(a + 1) % 4];
    v[a] = b + std::rotl(mix<number>(v[a] + sines[i] + word, b, v[(a + 2) % 4], v[(a + 3) % 4]),
                         round.turns[i % 4]);
}

template <std::size_t... i>
[[gnu::always_inline]] inline void steps(Md5Chain &v, const unsigned char *block,
                                         std::index_sequence<i...>) {
    (step<i>(v, block), ...);
}

} // namespace

void md5Transform(Md5Chain &chain, const unsigned char *blocks, std::size_t count) {
    Md5Chain v = chain;
    for (const unsigned char *block = blocks; count > 0; --count, block += md5BlockSize) {
        const Md5Chain before = v;
        steps(v, block, std::make_index_sequence<64>{});
        for (std::size_t i = 0; i < v.size(); ++i)
            v[i] += before[i];
    }
    chain = v;
}

} // namespace qldapx
