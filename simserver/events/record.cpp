#include "events/record.h"

#include "ber.h"

#include <algorithm>

namespace stratasim {

const FieldValue &Record::value(std::string_view name) const {
    static const FieldValue none;
    const auto found = std::find_if(values_.begin(), values_.end(),
                                    [&](const auto &value) { return value.first == name; });
    return found == values_.end() ? none : found->second;
}

namespace {

/** What the field holds, or what stands for nothing. */
template <typename T>
const T &valueOr(const FieldValue &value) {
    static const T none{};
    const T *held = std::get_if<T>(&value);
    return held != nullptr ? *held : none;
}

using Texts = std::vector<std::string>;
using Integers = std::vector<std::int32_t>;

void writeTexts(ber::Writer &writer, const Texts &texts, std::uint8_t tag) {
    const std::size_t list = writer.open(tag);
    for (const std::string &text : texts) {
        const std::size_t element = writer.open(ber::kSequence);
        writer.octets(text);
        writer.close(element);
    }
    writer.close(list);
}

void writeStrings(ber::Writer &writer, const Texts &strings, std::uint8_t tag) {
    const std::size_t list = writer.open(tag);
    for (const std::string &text : strings)
        writer.octets(text);
    writer.close(list);
}

void writeIntegers(ber::Writer &writer, std::span<const std::int32_t> numbers, std::uint8_t tag) {
    const std::size_t list = writer.open(tag);
    for (const std::int32_t number : numbers)
        writer.integer(number);
    writer.close(list);
}

void writeConnection(ber::Writer &writer, const ConnectionInfo &connection, std::uint8_t tag) {
    const std::size_t sequence = writer.open(tag);
    writer.integer(connection.number1);
    writer.integer(connection.number2);
    writer.octets(connection.text);
    writer.close(sequence);
}

void writeReferrals(ber::Writer &writer, const std::vector<Referral> &referrals) {
    const std::size_t outer = writer.open(ber::kSequence);
    writer.integer(static_cast<std::int64_t>(referrals.size()));
    const std::size_t list = writer.open(ber::kSequence);
    for (const Referral &referral : referrals) {
        const std::size_t element = writer.open(ber::kSequence);
        writer.integer(referral.type);
        writer.octets(referral.value);
        writer.close(element);
    }
    writer.close(list);
    writer.close(outer);
}

// SEQUENCE { count INTEGER, SEQUENCE OF SEQUENCE { INTEGER, INTEGER, INTEGER } } under the tag of
// the item, which stands in the place of the outer SEQUENCE's.
void writeTriples(ber::Writer &writer, const DebugItem &item, std::uint8_t tag) {
    const std::size_t outer = writer.open(tag);
    writer.integer(static_cast<std::int64_t>(item.triples.size()));
    const std::size_t list = writer.open(ber::kSequence);
    for (const auto &triple : item.triples)
        writeIntegers(writer, triple, ber::kSequence);
    writer.close(list);
    writer.close(outer);
}

void writeItem(ber::Writer &writer, const DebugItem &item) {
    const auto tag = static_cast<std::uint8_t>(0x80 + item.kind);
    switch (item.kind) {
    case 1:
    case 4:
        return writer.integer(item.numbers[0], tag);
    case 2:
    case 3:
        return writer.octets(item.bytes, tag);
    case 5: {
        const std::size_t pair = writer.open(tag);
        writer.integer(item.numbers[0]);
        writer.octets(item.bytes);
        return writer.close(pair);
    }
    case 6:
        return writeIntegers(writer, item.numbers, tag);
    default:
        return writeTriples(writer, item, tag);
    }
}

void writeItems(ber::Writer &writer, const std::vector<DebugItem> &items) {
    writer.integer(static_cast<std::int64_t>(items.size()));
    const std::size_t list = writer.open(ber::kSequence);
    for (const DebugItem &item : items)
        writeItem(writer, item);
    writer.close(list);
}

/** Whether a field that may be left out is there. */
bool isPresent(const Field &field, const FieldValue &value, bool followed) {
    switch (field.type) {
    case FieldType::OptionalInteger:
        // A reader would take the number of what follows the payload for this one.
        return followed || value.index() != 0;
    case FieldType::OptionalText:
        return !valueOr<std::string>(value).empty();
    case FieldType::Connection:
    case FieldType::OptionalTexts:
    case FieldType::OptionalStrings:
    case FieldType::OptionalIntegers:
        return value.index() != 0;
    default:
        return true;
    }
}

void writeField(ber::Writer &writer, const Field &field, const FieldValue &value) {
    switch (field.type) {
    case FieldType::Integer:
    case FieldType::OptionalInteger:
        return writer.integer(valueOr<std::int32_t>(value), field.tag);
    case FieldType::Text:
    case FieldType::OptionalText:
    case FieldType::Nothing:
        return writer.octets(valueOr<std::string>(value), field.tag);
    case FieldType::Connection:
        return writeConnection(writer, valueOr<ConnectionInfo>(value), field.tag);
    case FieldType::Texts:
    case FieldType::OptionalTexts:
        return writeTexts(writer, valueOr<Texts>(value), field.tag);
    case FieldType::OptionalStrings:
        return writeStrings(writer, valueOr<Texts>(value), field.tag);
    case FieldType::OptionalIntegers:
        return writeIntegers(writer, valueOr<Integers>(value), field.tag);
    case FieldType::Referrals:
        return writeReferrals(writer, valueOr<std::vector<Referral>>(value));
    case FieldType::Items:
        return writeItems(writer, valueOr<std::vector<DebugItem>>(value));
    case FieldType::Begin:
    case FieldType::End:
        break; // the caller keeps the mark
    }
}

} // namespace

std::int32_t Record::integer(std::string_view name) const {
    return valueOr<std::int32_t>(value(name));
}

bool Record::has(const Field &field) const {
    return field.when == Field::kAlways || integer(type_->fields.front().name) == field.when;
}

void appendPayload(std::string &out, const Record &record, bool followed) {
    ber::Writer writer(out);
    const std::size_t payload = writer.open(static_cast<std::uint8_t>(record.type().kind));
    std::size_t group = 0;
    for (const Field &field : record.type().fields) {
        if (field.type == FieldType::Begin)
            group = writer.open(field.tag);
        else if (field.type == FieldType::End)
            writer.close(group);
        else if (const FieldValue &value = record.value(field.name);
                 record.has(field) && isPresent(field, value, followed))
            writeField(writer, field, value);
    }
    writer.close(payload);
}

namespace {

/** The one value that a filter finds of a debug item: its text or bytes, or else its number. */
std::string itemText(const DebugItem &item) {
    return item.bytes.empty() ? std::to_string(item.numbers[0]) : item.bytes;
}

struct TextsOf {
    Texts operator()(std::monostate /*none*/) const { return {}; }
    Texts operator()(std::int32_t number) const { return {std::to_string(number)}; }
    Texts operator()(const std::string &text) const { return text.empty() ? Texts{} : Texts{text}; }
    Texts operator()(const Texts &texts) const { return texts; }
    Texts operator()(const ConnectionInfo &connection) const { return (*this)(connection.text); }
    Texts operator()(const Integers &numbers) const {
        Texts texts;
        for (const std::int32_t number : numbers)
            texts.push_back(std::to_string(number));
        return texts;
    }
    Texts operator()(const std::vector<Referral> &referrals) const {
        Texts texts;
        for (const Referral &referral : referrals)
            texts.push_back(referral.value);
        return texts;
    }
    Texts operator()(const std::vector<DebugItem> &items) const {
        Texts texts;
        for (const DebugItem &item : items)
            texts.push_back(itemText(item));
        return texts;
    }
};

} // namespace

std::vector<std::string> fieldTexts(const Record &record, const Field &field) {
    const FieldValue &value = record.value(field.name);
    if (field.name.empty() || !record.has(field))
        return {};
    if (field.type == FieldType::Integer && value.index() == 0)
        return {"0"};
    return std::visit(TextsOf{}, value);
}

} // namespace stratasim
