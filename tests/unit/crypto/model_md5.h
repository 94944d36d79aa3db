// model_md5.h - MD5 as OpenSSL computes it. On its own, because OpenSSL's header declares the name
// MD5, too.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace qldapx_test::md5_model {

using Digest = std::array<unsigned char, 16>;

Digest digestOf(std::string_view data);
// Of data that so many bits stand before, which have left the four words as they are at the
// beginning. Whole blocks of them: a multiple of 512.
Digest digestAfter(std::uint64_t bits, std::string_view data);

} // namespace qldapx_test::md5_model
