#include "text.h"

#include "errors.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace qldapx {
namespace {

constexpr char32_t firstSurrogate = 0xd800;
constexpr char32_t lastSurrogate = 0xdfff;
constexpr char32_t firstBeyondUnit = 0x10000;
constexpr char32_t lastCodePoint = 0x10ffff;

std::size_t sequenceLength(unsigned char lead) {
    if (lead < 0x80)
        return 1;
    if (lead >= 0xc2 && lead <= 0xdf)
        return 2;
    if (lead >= 0xe0 && lead <= 0xef)
        return 3;
    return lead >= 0xf0 && lead <= 0xf4 ? 4 : 0;
}

// Longer sequences than a value needs, and halves of surrogate pairs, are not UTF-8.
bool isShortest(char32_t value, std::size_t length) {
    constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, firstBeyondUnit};
    return value >= smallest[length] && value <= lastCodePoint &&
           (value < firstSurrogate || value > lastSurrogate);
}

bool steersTerminal(char32_t value) {
    constexpr char32_t lineSeparator = 0x2028;
    constexpr char32_t lastEmbedding = 0x202e; // right-to-left overrides reorder what is shown
    return value < 0x20 || (value >= 0x7f && value < 0xa0) ||
           (value >= lineSeparator && value <= lastEmbedding) ||
           (value >= 0x2066 && value <= 0x2069);
}

std::string escapedBytes(std::string_view bytes) {
    std::string result;
    for (const char byte : bytes)
        result += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
    return result;
}

} // namespace

CodePoint firstCodePoint(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.empty() ? '\0' : text.front());
    const std::size_t length = sequenceLength(lead);
    if (text.empty() || length == 0 || length > text.size())
        return {};
    if (length == 1)
        return {lead, 1};
    char32_t value = lead & (0xffU >> (length + 1));
    for (const char next : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(next);
        if ((byte & 0xc0U) != 0x80U)
            return {};
        value = value << 6U | (byte & 0x3fU);
    }
    return isShortest(value, length) ? CodePoint{value, length} : CodePoint{};
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const CodePoint point = firstCodePoint(text);
        if (point.length == 0)
            return false;
        text.remove_prefix(point.length);
    }
    return true;
}

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const CodePoint point = firstCodePoint(text);
        const std::size_t length = point.length == 0 ? 1 : point.length;
        const std::string_view bytes = text.substr(0, length);
        result += point.length == 0 || steersTerminal(point.value) ? escapedBytes(bytes) : bytes;
        text.remove_prefix(length);
    }
    return result;
}

std::size_t columns(std::string_view text) {
    std::size_t count = 0;
    for (const char byte : text)
        count += (static_cast<unsigned char>(byte) & 0xc0U) != 0x80U ? 1 : 0;
    return count;
}

std::string_view prefixOf(std::string_view text, std::size_t width) {
    std::size_t bytes = 0;
    for (; bytes < text.size() && width > 0; --width)
        bytes += std::max<std::size_t>(firstCodePoint(text.substr(bytes)).length, 1);
    return text.substr(0, bytes);
}

std::vector<unsigned short> utf16(std::string_view text) {
    std::vector<unsigned short> units;
    for (std::string_view rest = text; !rest.empty();) {
        const CodePoint point = firstCodePoint(rest);
        if (point.length == 0)
            throw UsageError(fmt::format("\"{}\" is not UTF-8: byte {} begins no character; "
                                         "run qldapx in a UTF-8 locale or convert the name first",
                                         printable(text), text.size() - rest.size() + 1));
        if (point.value >= firstBeyondUnit) {
            const char32_t offset = point.value - firstBeyondUnit;
            units.push_back(static_cast<unsigned short>(0xd800U + (offset >> 10U)));
            units.push_back(static_cast<unsigned short>(0xdc00U + (offset & 0x3ffU)));
        } else {
            units.push_back(static_cast<unsigned short>(point.value));
        }
        rest.remove_prefix(point.length);
    }
    units.push_back(0);
    return units;
}

std::size_t terminalWidth() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
    std::vector<std::string> lines;
    for (const std::string &word : split(text, ' ')) {
        if (word.empty())
            continue;
        if (lines.empty() || columns(lines.back()) + 1 + columns(word) > width)
            lines.push_back(word);
        else
            lines.back() += " " + word;
    }
    return lines;
}

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> pieces;
    while (true) {
        const std::size_t end = text.find(separator);
        pieces.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return pieces;
        text.remove_prefix(end + 1);
    }
}

} // namespace qldapx
