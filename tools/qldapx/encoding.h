#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace qldapx {

std::string base64(std::string_view bytes);

/** Bytes as {"base64": "..."}, whatever they are. */
template <typename Json>
Json jsonBytes(std::string_view bytes) {
    return {{"base64", base64(bytes)}};
}

/** Lower-case digits, two a byte. */
std::string hexadecimal(std::string_view bytes);

} // namespace qldapx
