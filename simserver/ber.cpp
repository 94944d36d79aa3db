#include "ber.h"

#include <fmt/format.h>

#include <limits>

namespace stratasim::ber {
namespace {

constexpr std::size_t kMaxLengthOctets = 8;

/** Reads a definite length at the front of `data`; nullopt when octets of it are missing. */
struct Length {
    std::size_t value = 0;
    std::size_t octets = 0;
};

enum class LengthStatus { Good, Incomplete, Malformed };

LengthStatus readLength(Bytes data, Length &length) {
    if (data.empty())
        return LengthStatus::Incomplete;
    const std::uint8_t first = data[0];
    if (first < 0x80) {
        length = {first, 1};
        return LengthStatus::Good;
    }
    const std::size_t count = first & 0x7fU;
    if (count == 0 || count > kMaxLengthOctets)
        return LengthStatus::Malformed;
    if (data.size() < 1 + count)
        return LengthStatus::Incomplete;
    std::uint64_t value = 0;
    for (std::size_t i = 1; i <= count; ++i)
        value = (value << 8U) | data[i];
    if (value > std::numeric_limits<std::size_t>::max() / 2)
        value = std::numeric_limits<std::size_t>::max() / 2;
    length = {static_cast<std::size_t>(value), 1 + count};
    return LengthStatus::Good;
}

[[noreturn]] void fail(std::string_view what, std::string_view problem) {
    throw Error(fmt::format("{}: {}", what, problem));
}

} // namespace

Element Reader::next(std::string_view what) {
    if (rest_.empty())
        fail(what, "missing");
    const std::uint8_t tag = rest_[0];
    if ((tag & 0x1fU) == 0x1fU)
        fail(what, "tag number above 30");
    Length length;
    if (readLength(rest_.subspan(1), length) != LengthStatus::Good)
        fail(what, "bad length");
    const Bytes body = rest_.subspan(1 + length.octets);
    if (length.value > body.size())
        fail(what, fmt::format("length runs {} bytes past the end", length.value - body.size()));
    rest_ = body.subspan(length.value);
    return {tag, body.first(length.value)};
}

Bytes Reader::take(std::uint8_t tag, std::string_view what) {
    if (!atEnd() && peekTag() != tag)
        fail(what, fmt::format("tag {:#04x} where {:#04x} is due", peekTag(), tag));
    return next(what).value;
}

std::optional<Bytes> Reader::takeIf(std::uint8_t tag, std::string_view what) {
    if (peekTag() != tag)
        return std::nullopt;
    return next(what).value;
}

std::int64_t decodeInteger(Bytes content, std::string_view what) {
    if (content.empty())
        fail(what, "integer without content");
    if (content.size() > sizeof(std::int64_t))
        fail(what, "integer too large");
    std::uint64_t value = (content[0] & 0x80U) != 0 ? ~std::uint64_t{0} : 0;
    for (const std::uint8_t byte : content)
        value = (value << 8U) | byte;
    return static_cast<std::int64_t>(value);
}

std::int64_t Reader::integer(std::uint8_t tag, std::string_view what) {
    return decodeInteger(take(tag, what), what);
}

std::int32_t Reader::integer32(std::uint8_t tag, std::string_view what) {
    const std::int64_t value = integer(tag, what);
    if (value < std::numeric_limits<std::int32_t>::min() ||
        value > std::numeric_limits<std::int32_t>::max())
        fail(what, "integer outside 32 bits");
    return static_cast<std::int32_t>(value);
}

bool Reader::boolean(std::uint8_t tag, std::string_view what) {
    const Bytes content = take(tag, what);
    if (content.size() != 1)
        fail(what, "boolean that is not one byte");
    return content[0] != 0;
}

void Reader::expectEnd(std::string_view what) const {
    if (!atEnd())
        fail(what, fmt::format("{} bytes after the last element", rest_.size()));
}

std::size_t Writer::open(std::uint8_t tag) {
    out_.push_back(static_cast<char>(tag));
    out_.push_back('\0');
    return out_.size();
}

namespace {

/** Writes the octets of a long length, most significant first; returns how many there are. */
std::size_t longLength(std::size_t length, char (&octets)[sizeof(std::size_t)]) {
    std::size_t count = 0;
    for (std::size_t left = length; left != 0; left >>= 8U)
        ++count;
    for (std::size_t i = 0; i < count; ++i)
        octets[i] = static_cast<char>(length >> (8U * (count - 1 - i)));
    return count;
}

} // namespace

void Writer::close(std::size_t mark) {
    const std::size_t length = out_.size() - mark;
    if (length < 0x80) {
        out_[mark - 1] = static_cast<char>(length);
        return;
    }
    char octets[sizeof(std::size_t)];
    const std::size_t count = longLength(length, octets);
    out_[mark - 1] = static_cast<char>(0x80U | count);
    out_.insert(mark, octets, count);
}

void Writer::header(std::uint8_t tag, std::size_t length) {
    out_.push_back(static_cast<char>(tag));
    if (length < 0x80) {
        out_.push_back(static_cast<char>(length));
        return;
    }
    char octets[sizeof(std::size_t)];
    const std::size_t count = longLength(length, octets);
    out_.push_back(static_cast<char>(0x80U | count));
    out_.append(octets, count);
}

void Writer::octets(std::string_view value, std::uint8_t tag) {
    // The length is known here: writing it first spares moving a large value.
    header(tag, value.size());
    out_.append(value);
}

void Writer::integer(std::int64_t value, std::uint8_t tag) {
    int shift = 56;
    // A leading byte may go when the next one begins with the same sign bit.
    while (shift > 0 && (value >> (shift - 1) == 0 || value >> (shift - 1) == -1))
        shift -= 8;
    const std::size_t mark = open(tag);
    for (; shift >= 0; shift -= 8)
        out_.push_back(static_cast<char>(value >> shift));
    close(mark);
}

Frame frameOf(Bytes data, std::size_t maximum) {
    if (data.empty())
        return {};
    if (data[0] != kSequence)
        return {Frame::Status::Malformed, 0};
    Length length;
    switch (readLength(data.subspan(1), length)) {
    case LengthStatus::Incomplete:
        return {};
    case LengthStatus::Malformed:
        return {Frame::Status::Malformed, 0};
    case LengthStatus::Good:
        break;
    }
    const std::size_t total = 1 + length.octets + length.value;
    if (total > maximum)
        return {Frame::Status::TooLarge, total};
    return {data.size() < total ? Frame::Status::Incomplete : Frame::Status::Complete, total};
}

} // namespace stratasim::ber
