#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace stratasim {

using Bytes = std::span<const std::uint8_t>;

inline std::string_view asText(Bytes bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

inline Bytes asBytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t *>(text.data()), text.size()};
}

namespace ber {

inline constexpr std::uint8_t kBoolean = 0x01;
inline constexpr std::uint8_t kInteger = 0x02;
inline constexpr std::uint8_t kOctetString = 0x04;
inline constexpr std::uint8_t kEnumerated = 0x0a;
inline constexpr std::uint8_t kSequence = 0x30;
inline constexpr std::uint8_t kSet = 0x31;

/** Bytes that are not the BER that was asked for; what() says what was wrong. */
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Element {
    std::uint8_t tag = 0;
    Bytes value;
};

/**
 * Reads elements one after the other from bytes that somebody else wrote. Lengths may be
 * non-minimal; indefinite lengths and tag numbers above 30 have no place in LDAP and are errors.
 * `what` names the field in the error's text.
 */
class Reader {
  public:
    explicit Reader(Bytes data) : rest_(data) {}

    bool atEnd() const { return rest_.empty(); }
    /** 0 at the end of the data: no element of LDAP has that tag. */
    std::uint8_t peekTag() const { return rest_.empty() ? std::uint8_t{0} : rest_.front(); }

    Element next(std::string_view what);
    Bytes take(std::uint8_t tag, std::string_view what);
    std::optional<Bytes> takeIf(std::uint8_t tag, std::string_view what);
    std::string_view text(std::string_view what) { return asText(take(kOctetString, what)); }
    std::int64_t integer(std::uint8_t tag, std::string_view what);
    std::int32_t integer32(std::uint8_t tag, std::string_view what);
    bool boolean(std::uint8_t tag, std::string_view what);
    Reader sequence(std::string_view what) { return Reader(take(kSequence, what)); }
    void expectEnd(std::string_view what) const;
    /** Everything that is left, which is taken. */
    Bytes rest() { return std::exchange(rest_, {}); }

  private:
    Bytes rest_;
};

std::int64_t decodeInteger(Bytes content, std::string_view what);

/** Appends elements to a string; lengths are minimal. */
class Writer {
  public:
    explicit Writer(std::string &out) : out_(out) {}

    /** Opens a constructed element; close() with the returned mark completes its length. */
    [[nodiscard]] std::size_t open(std::uint8_t tag);
    void close(std::size_t mark);

    /** Tag and length of an element whose content the caller appends. */
    void header(std::uint8_t tag, std::size_t length);
    void octets(std::string_view value, std::uint8_t tag = kOctetString);
    void integer(std::int64_t value, std::uint8_t tag = kInteger);

  private:
    std::string &out_;
};

/** What the first bytes of a stream say about the message that they begin. */
struct Frame {
    enum class Status { Incomplete, Complete, Malformed, TooLarge };
    Status status = Status::Incomplete;
    std::size_t length = 0;
};

/** Finds the length of the SEQUENCE at the beginning of `data` without waiting for its content. */
Frame frameOf(Bytes data, std::size_t maximum);

} // namespace ber
} // namespace stratasim
