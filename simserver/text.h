#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

std::string lowerCase(std::string_view text);
bool equalIgnoringCase(std::string_view a, std::string_view b);
std::string_view trim(std::string_view text);
std::vector<std::string_view> splitAt(std::string_view text, char separator);

/** Lower case, no spaces at the ends, runs of spaces as one: two equal texts match. */
std::string foldText(std::string_view text);

std::optional<std::int64_t> parseInteger(std::string_view text);

/** The bytes of a text of hexadecimal digits; nullopt unless it is pairs of them. */
std::optional<std::string> decodeHex(std::string_view text);
/** Two lower-case digits for each byte. */
std::string hexOf(std::string_view bytes);
std::optional<std::string> decodeBase64(std::string_view text);

/** UTF-8 of big-endian UTF-16; nullopt for an odd length or a lone surrogate. */
std::optional<std::string> utf8FromUtf16Be(std::string_view bytes);

/** ISO 8859-1 of UTF-8; nullopt for what is no UTF-8 or has characters that are not there. */
std::optional<std::string> latin1FromUtf8(std::string_view text);
std::string utf8FromLatin1(std::string_view bytes);

/** RFC 4517 generalized time, in UTC. */
std::string generalizedTime(std::int64_t secondsSinceEpoch);

} // namespace stratasim
