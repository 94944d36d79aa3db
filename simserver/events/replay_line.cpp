#include "events/replay_line.h"

#include "events/types.h"
#include "text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <optional>
#include <stdexcept>

namespace stratasim {
namespace {

using Json = nlohmann::json;

[[noreturn]] void fail(std::string_view name, std::string_view problem) {
    throw std::runtime_error(fmt::format("\"{}\" {}", name, problem));
}

/** The member of that name; null when there is none. */
const Json &member(const Json &object, std::string_view name) {
    static const Json none;
    const auto found = object.find(name);
    return found == object.end() ? none : *found;
}

std::int32_t toInteger(const Json &json, std::string_view name) {
    if (json.is_null())
        return 0;
    if (!json.is_number_integer())
        fail(name, "is no integer");
    const bool large = json.is_number_unsigned() &&
                       json.get<std::uint64_t>() > std::numeric_limits<std::int32_t>::max();
    const auto value = large ? std::numeric_limits<std::int64_t>::max() : json.get<std::int64_t>();
    if (value < std::numeric_limits<std::int32_t>::min() ||
        value > std::numeric_limits<std::int32_t>::max())
        fail(name, "is outside 32 bits");
    return static_cast<std::int32_t>(value);
}

/** A string, or bytes as {"base64": "..."}. */
std::string toBytes(const Json &json, std::string_view name) {
    if (json.is_null())
        return {};
    if (json.is_string())
        return json.get<std::string>();
    const Json &encoded = json.is_object() ? member(json, "base64") : json;
    if (!encoded.is_string())
        fail(name, "is neither a string nor {\"base64\": \"...\"}");
    auto bytes = decodeBase64(encoded.get_ref<const std::string &>());
    if (!bytes)
        fail(name, "is no base64");
    return std::move(*bytes);
}

/** Reads each element of a list with `read`. */
template <typename Item, typename Read>
std::vector<Item> toList(const Json &json, std::string_view name, const Read &read) {
    if (!json.is_array())
        fail(name, "is no list");
    std::vector<Item> items;
    for (const Json &item : json)
        items.push_back(read(item, name));
    return items;
}

/** The slots of a fixed array: the empty ones at its end are not sent. */
std::vector<std::string> toStrings(const Json &json, std::string_view name) {
    constexpr std::size_t most = 3;
    auto strings = toList<std::string>(json, name, toBytes);
    for (std::size_t at = strings.size(); at-- > 0 && json[at].is_null();)
        strings.pop_back();
    if (strings.size() > most)
        fail(name, "has more than 3 strings");
    return strings;
}

std::vector<std::int32_t> toIntegers(const Json &json, std::string_view name) {
    constexpr std::size_t most = 4;
    auto numbers = toList<std::int32_t>(json, name, toInteger);
    if (numbers.size() > most)
        fail(name, "has more than 4 numbers");
    return numbers;
}

ConnectionInfo toConnection(const Json &json, std::string_view name) {
    if (!json.is_object())
        fail(name, "is no object");
    return {toInteger(member(json, "number1"), "number1"),
            toInteger(member(json, "number2"), "number2"), toBytes(member(json, "text"), "text")};
}

Referral toReferral(const Json &json, std::string_view name) {
    if (!json.is_object())
        fail(name, "has an element that is no object");
    return {toInteger(member(json, "type"), "type"), toBytes(member(json, "value"), "value")};
}

std::array<std::int32_t, 3> toTriple(const Json &json, std::string_view name) {
    if (!json.is_array() || json.size() != 3)
        fail(name, "has an element that is no list of 3 numbers");
    return {toInteger(json[0], name), toInteger(json[1], name), toInteger(json[2], name)};
}

DebugItem toItem(const Json &json, std::string_view name) {
    if (!json.is_object())
        fail(name, "has an element that is no object");
    DebugItem item;
    item.kind = toInteger(member(json, "kind"), "kind");
    if (item.kind < 1 || item.kind > 7)
        fail(name, "has an element whose kind is not 1 to 7");
    item.numbers = {toInteger(member(json, "number"), "number"), 0, 0};
    if (item.kind == 6) {
        item.numbers[1] = toInteger(member(json, "length"), "length");
        item.numbers[2] = toInteger(member(json, "third"), "third");
    }
    const char *bytes = item.kind == 2 ? "text" : "pointer";
    item.bytes = toBytes(member(json, bytes), bytes);
    if (const Json &triples = member(json, "triples"); item.kind == 7 && !triples.is_null())
        item.triples = toList<std::array<std::int32_t, 3>>(triples, "triples", toTriple);
    return item;
}

FieldValue toValue(const Json &json, const Field &field) {
    switch (field.type) {
    case FieldType::Integer:
    case FieldType::OptionalInteger:
        return toInteger(json, field.name);
    case FieldType::Text:
    case FieldType::OptionalText:
        return toBytes(json, field.name);
    case FieldType::Connection:
        return toConnection(json, field.name);
    case FieldType::Texts:
    case FieldType::OptionalTexts:
        return toList<std::string>(json, field.name, toBytes);
    case FieldType::OptionalStrings:
        return toStrings(json, field.name);
    case FieldType::OptionalIntegers:
        return toIntegers(json, field.name);
    case FieldType::Referrals:
        return toList<Referral>(json, field.name, toReferral);
    case FieldType::Items:
        return toList<DebugItem>(json, field.name, toItem);
    case FieldType::Begin:
    case FieldType::End:
    case FieldType::Nothing:
        break;
    }
    return {};
}

Record readRecord(const Json &payload, int kind) {
    Record::Values values;
    for (const Field &field : findRecordType(kind)->fields) {
        const Json &json = member(payload, field.name);
        if (!json.is_null())
            values.emplace_back(field.name, toValue(json, field));
    }
    Record record(kind, std::move(values));
    const auto fields = record.type().fields;
    const bool hasChoice = !fields.empty() && fields.back().when != Field::kAlways;
    if (hasChoice && std::none_of(fields.begin(), fields.end(), [&](const Field &field) {
            return field.when != Field::kAlways && record.has(field);
        }))
        fail(fields.front().name, "is none of 0, 1, 2, 3 and 5");
    return record;
}

/** The kind that the line gives, or else that of the event. */
int readKind(const Json &line, std::int32_t type) {
    const Json &given = member(line, "kind");
    const EventRow *row = findEvent(type);
    if (given.is_null() && row == nullptr)
        fail("kind", "is missing");
    const int kind = given.is_null() ? row->kind : toInteger(given, "kind");
    if (findRecordType(kind) == nullptr)
        fail("kind", fmt::format("is not {} to {}", kFirstKind, kLastKind));
    return kind;
}

NetAddress readAddress(const Json &address) {
    if (address.is_null())
        return {};
    if (!address.is_object())
        fail("address", "is no object");
    return {toInteger(member(address, "addressType"), "addressType"),
            toBytes(member(address, "value"), "value")};
}

Json parse(std::string_view line) {
    try {
        return Json::parse(line);
    } catch (const Json::parse_error &error) {
        throw std::runtime_error(fmt::format("no JSON, from byte {} on", error.byte));
    } catch (const Json::out_of_range &) {
        throw std::runtime_error("a number is larger than any that is meant here");
    }
}

} // namespace

EventPointer parseReplayLine(std::string_view line) {
    const Json json = parse(line);
    if (!json.is_object())
        throw std::runtime_error("not a JSON object");
    const Json &type = member(json, "type");
    if (type.is_null())
        fail("type", "is missing");
    const Json &payload = member(json, "payload");
    if (!payload.is_null() && !payload.is_object())
        fail("payload", "is no object");
    const std::int32_t number = toInteger(type, "type");
    return std::make_shared<const Event>(
        number, toInteger(member(json, "result"), "result"),
        readRecord(payload.is_null() ? Json::object() : payload, readKind(json, number)),
        readAddress(member(json, "address")));
}

} // namespace stratasim
