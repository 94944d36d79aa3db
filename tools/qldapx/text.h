#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qldapx {

/** A valid UTF-8 sequence at the start of a text, and how many bytes it takes; 0 when none. */
struct CodePoint {
    char32_t value = 0;
    std::size_t length = 0;
};
CodePoint firstCodePoint(std::string_view text);

bool isUtf8(std::string_view text);

/**
 * The text with all that could steer a terminal, and all that is not UTF-8, written as \xHH:
 * what a server sends goes to people's screens.
 */
std::string printable(std::string_view text);

/** The columns that a printable text takes, one a character. */
std::size_t columns(std::string_view text);

/** As much of a printable text as fits into so many columns. */
std::string_view prefixOf(std::string_view text, std::size_t width);

/** UTF-16 in the machine's byte order with a zero unit at its end; throws UsageError. */
std::vector<unsigned short> utf16(std::string_view text);

constexpr std::size_t screenWidth = 80;

/** The columns of the terminal that is standard output; 0 for anything else. */
std::size_t terminalWidth();

/** The text in lines of at most that many columns, broken at spaces; none for an empty text. */
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

std::vector<std::string> split(std::string_view text, char separator);

} // namespace qldapx
