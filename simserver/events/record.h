#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace stratasim {

/** Where a client's connection comes from; type 0 is unknown. */
struct NetAddress {
    static constexpr std::int32_t kIpv4 = 1, kIpv6 = 2;

    std::int32_t type = 0;
    std::string bytes; // those of the address and two of the port, most significant first
};

/** The operation that an event tells of. */
struct ConnectionInfo {
    std::int32_t number1 = 0; // of the connection
    std::int32_t number2 = 0; // the message id
    std::string text;         // the bound DN
};

struct Referral {
    std::int32_t type = 0;
    std::string value;
};

/** One of the items of a debug event; which members it has depends on its kind. */
struct DebugItem {
    std::int32_t kind = 0;
    std::array<std::int32_t, 3> numbers{};
    std::string bytes;
    std::vector<std::array<std::int32_t, 3>> triples;
};

/** What a field holds; monostate is 0, empty or absent, whichever the field has. */
using FieldValue = std::variant<std::monostate, std::int32_t, std::string, std::vector<std::string>,
                                std::vector<std::int32_t>, ConnectionInfo, std::vector<Referral>,
                                std::vector<DebugItem>>;

/** How a field stands on the wire. */
enum class FieldType {
    Integer,
    OptionalInteger, // left out when it is absent and nothing follows the payload
    Text,
    OptionalText,     // left out when it is empty
    Begin,            // of a SEQUENCE around the next fields
    End,              // of that SEQUENCE
    Connection,       // SEQUENCE { INTEGER, INTEGER, OCTET STRING }, left out when it is absent
    Texts,            // elements SEQUENCE { OCTET STRING }
    OptionalTexts,    // the same, left out when it is absent
    OptionalStrings,  // elements OCTET STRING, left out when it is absent
    OptionalIntegers, // elements INTEGER, left out when it is absent
    Referrals,        // SEQUENCE { INTEGER count, SEQUENCE OF SEQUENCE { INTEGER, OCTET STRING } }
    Items,            // INTEGER count, SEQUENCE of debug items
    Nothing,          // an element without content
};

struct Field {
    static constexpr std::int32_t kAlways = -1;

    std::string_view name;
    FieldType type;
    std::uint8_t tag;
    std::int32_t when = kAlways; // the value of the record's first field with which it is there
};

/** A record that an event may carry; its fields are in wire order. */
struct RecordType {
    int kind; // the tag of the payload
    std::string_view name;
    std::span<const Field> fields;
};

inline constexpr int kFirstKind = 97, kLastKind = 125;

/** The record of a kind, which has no name when it is empty; null for what is no kind. */
const RecordType *findRecordType(int kind);

/** A record with what its fields hold. */
class Record {
  public:
    using Values = std::vector<std::pair<std::string_view, FieldValue>>;

    explicit Record(int kind, Values values = {})
        : type_(findRecordType(kind)), values_(std::move(values)) {}

    const RecordType &type() const { return *type_; }
    const FieldValue &value(std::string_view name) const;
    std::int32_t integer(std::string_view name) const;
    /** Whether the field is one of this record, judged by what the first field holds. */
    bool has(const Field &field) const;

  private:
    const RecordType *type_;
    Values values_;
};

/** Appends the payload of a record; `followed` says that something stands behind it. */
void appendPayload(std::string &out, const Record &record, bool followed);
/** The values of a field as a filter sees them. */
std::vector<std::string> fieldTexts(const Record &record, const Field &field);

} // namespace stratasim
