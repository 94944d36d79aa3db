#include "text.h"

#include <fmt/chrono.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace stratasim {
namespace {

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

int hexDigit(char c) {
    c = lower(c);
    if (c >= '0' && c <= '9')
        return c - '0';
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

int base64Digit(char c) {
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    if (c == '+')
        return 62;
    return c == '/' ? 63 : -1;
}

void appendUtf8(std::string &out, std::uint32_t point) {
    const auto put = [&out](std::uint32_t byte) { out.push_back(static_cast<char>(byte)); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xc0U | (point >> 6U));
        put(0x80U | (point & 0x3fU));
    } else if (point < 0x10000) {
        put(0xe0U | (point >> 12U));
        put(0x80U | ((point >> 6U) & 0x3fU));
        put(0x80U | (point & 0x3fU));
    } else {
        put(0xf0U | (point >> 18U));
        put(0x80U | ((point >> 12U) & 0x3fU));
        put(0x80U | ((point >> 6U) & 0x3fU));
        put(0x80U | (point & 0x3fU));
    }
}

std::uint32_t unitAt(std::string_view bytes, std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at])) << 8U |
           static_cast<unsigned char>(bytes[at + 1]);
}

} // namespace

std::string lowerCase(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), lower);
    return out;
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

std::string_view trim(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::vector<std::string_view> splitAt(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (std::size_t at = text.find(separator); at != std::string_view::npos;
         at = text.find(separator)) {
        pieces.push_back(text.substr(0, at));
        text.remove_prefix(at + 1);
    }
    pieces.push_back(text);
    return pieces;
}

std::string foldText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (c != ' ')
            out.push_back(lower(c));
        else if (!out.empty() && out.back() != ' ')
            out.push_back(' ');
    }
    if (!out.empty() && out.back() == ' ')
        out.pop_back();
    return out;
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<std::string> decodeHex(std::string_view text) {
    if (text.size() % 2 != 0)
        return std::nullopt;
    std::string out;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = hexDigit(text[i]);
        const int low = hexDigit(text[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        out.push_back(static_cast<char>(high * 16 + low));
    }
    return out;
}

std::string hexOf(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string out;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        out += digits[byte >> 4U];
        out += digits[byte & 0xfU];
    }
    return out;
}

std::optional<std::string> decodeBase64(std::string_view text) {
    if (text.size() % 4 != 0)
        return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && !text.empty() && text.back() == '=') {
        text.remove_suffix(1);
        ++padding;
    }
    std::string out;
    std::uint32_t bits = 0;
    unsigned held = 0;
    for (const char c : text) {
        const int digit = base64Digit(c);
        if (digit < 0)
            return std::nullopt;
        bits = (bits << 6U) | static_cast<std::uint32_t>(digit);
        held += 6;
        if (held >= 8) {
            held -= 8;
            out.push_back(static_cast<char>(bits >> held));
        }
    }
    return out;
}

std::optional<std::string> utf8FromUtf16Be(std::string_view bytes) {
    if (bytes.size() % 2 != 0)
        return std::nullopt;
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        std::uint32_t point = unitAt(bytes, i);
        if (point >= 0xd800 && point < 0xe000) {
            if (point >= 0xdc00 || i + 2 >= bytes.size())
                return std::nullopt;
            const std::uint32_t low = unitAt(bytes, i + 2);
            if (low < 0xdc00 || low >= 0xe000)
                return std::nullopt;
            point = 0x10000 + ((point - 0xd800) << 10U) + (low - 0xdc00);
            i += 2;
        }
        appendUtf8(out, point);
    }
    return out;
}

std::optional<std::string> latin1FromUtf8(std::string_view text) {
    constexpr unsigned char next = 0x80, nextMask = 0xc0, firstTwo = 0xc2, lastTwo = 0xc3;
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto byte = static_cast<unsigned char>(text[i]);
        if (byte >= next) {
            const auto second = i + 1 < text.size() ? static_cast<unsigned char>(text[++i]) : 0U;
            if (byte < firstTwo || byte > lastTwo || (second & nextMask) != next)
                return std::nullopt;
            byte = static_cast<unsigned char>((byte - firstTwo) * 0x40 + second);
        }
        out.push_back(static_cast<char>(byte));
    }
    return out;
}

std::string utf8FromLatin1(std::string_view bytes) {
    std::string out;
    for (const char c : bytes)
        appendUtf8(out, static_cast<unsigned char>(c));
    return out;
}

std::string generalizedTime(std::int64_t secondsSinceEpoch) {
    return fmt::format("{:%Y%m%d%H%M%SZ}",
                       fmt::gmtime(static_cast<std::time_t>(secondsSinceEpoch)));
}

} // namespace stratasim
