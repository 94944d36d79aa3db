#include "events/event_json.h"

#include "encoding.h"
#include "events/moment.h"
#include "output.h"
#include "text.h"

namespace qldapx {
namespace {

using Json = Output::Json;

Json jsonValue(std::string_view value) {
    return isUtf8(value) ? Json(value) : jsonBytes<Json>(value);
}

// NULL stands for what is empty or not there.
Json jsonText(const char *text) {
    return text == nullptr ? Json() : jsonValue(text);
}

Json jsonBytesOf(const void *bytes, std::size_t count) {
    return bytes == nullptr ? Json() : jsonValue({static_cast<const char *>(bytes), count});
}

Json jsonSequence(char *const *strings) {
    if (strings == nullptr)
        return {};
    Json list = Json::array();
    for (; *strings != nullptr; ++strings)
        list.push_back(jsonText(*strings));
    return list;
}

Json jsonConnection(const ConnectionInfo *connection) {
    if (connection == nullptr)
        return {};
    return {{"number1", connection->number1},
            {"number2", connection->number2},
            {"text", jsonText(connection->text)}};
}

Json jsonReferrals(const ReferralEntry *entries, std::uint32_t count) {
    Json list = Json::array();
    for (const ReferralEntry *entry = entries; entry != nullptr && entry < entries + count; ++entry)
        list.push_back(
            {{"type", entry->type}, {"value", jsonBytesOf(entry->value, entry->length)}});
    return list;
}

Json jsonTriples(const std::int32_t *numbers, std::int32_t count) {
    Json list = Json::array();
    for (std::int32_t i = 0; i < count && numbers != nullptr; ++i, numbers += 3)
        list.push_back({numbers[0], numbers[1], numbers[2]});
    return list;
}

Json jsonItem(const DebugItem &item) {
    switch (item.kind) {
    case 2:
        return {{"kind", item.kind}, {"text", jsonText(item.text)}};
    case 3:
        return {{"kind", item.kind},
                {"pointer", jsonBytesOf(item.pointer, static_cast<std::size_t>(item.number))}};
    case 5:
        return {{"kind", item.kind},
                {"number", item.number},
                {"pointer", jsonBytesOf(item.pointer, static_cast<std::size_t>(item.length))}};
    case 6:
        return {{"kind", item.kind},
                {"number", item.number},
                {"length", item.length},
                {"third", item.third}};
    case 7:
        return {
            {"kind", item.kind},
            {"triples", jsonTriples(static_cast<const std::int32_t *>(item.pointer), item.number)}};
    default:
        return {{"kind", item.kind}, {"number", item.number}};
    }
}

template <typename Element>
Json jsonList(const Element *elements, std::uint32_t count, Json (*one)(Element)) {
    Json list = Json::array();
    for (std::uint32_t i = 0; i < count; ++i)
        list.push_back(one(elements[i]));
    return list;
}

Json jsonNumber(std::int32_t number) {
    return number;
}

Json jsonSlot(char *text) {
    return jsonText(text);
}

Json jsonItems(const DebugItem *items, std::uint32_t count) {
    Json list = Json::array();
    for (std::uint32_t i = 0; i < count && items != nullptr; ++i)
        list.push_back(jsonItem(items[i]));
    return list;
}

Json jsonField(const events::field &field) {
    switch (field.type) {
    case LDAPX_EVENT_INTEGER:
        return valueOf<std::int32_t>(field);
    case LDAPX_EVENT_STRING:
        return jsonText(valueOf<char *>(field));
    case LDAPX_EVENT_BYTES:
        return jsonBytesOf(valueOf<char *>(field), field.count);
    case LDAPX_EVENT_TEXT:
        return jsonText(&valueOf<char>(field));
    case LDAPX_EVENT_SEQUENCE:
        return jsonSequence(valueOf<char **>(field));
    case LDAPX_EVENT_CONNECTION:
        return jsonConnection(valueOf<ConnectionInfo *>(field));
    case LDAPX_EVENT_REFERRALS:
        return jsonReferrals(valueOf<ReferralEntry *>(field), field.count);
    case LDAPX_EVENT_INTEGERS:
        return jsonList(&valueOf<std::int32_t>(field), field.count, jsonNumber);
    case LDAPX_EVENT_STRINGS:
        return jsonList(&valueOf<char *>(field), field.count, jsonSlot);
    case LDAPX_EVENT_ITEMS:
        return jsonItems(valueOf<DebugItem *>(field), field.count);
    default:
        return jsonBytes<Json>({&valueOf<char>(field), field.count}); // LDAPX_EVENT_ADDRESS
    }
}

Json jsonRecord(const void *record) {
    Json fields = Json::object();
    for (const events::field &field : events::field_range(record))
        fields[field.name] = jsonField(field);
    return fields;
}

Json jsonAddress(const NetAddrEventData *address) {
    if (address == nullptr)
        return {};
    Json fields = jsonRecord(address);
    fields.erase("length"); // the value has its own
    return fields;
}

} // namespace

std::string eventJson(const Event &event) {
    Json all = {{"time", universalTime(event.time)},
                {"type", event.type()},
                {"result", event.result_code()},
                {"kind", nullptr},
                {"record", nullptr},
                {"payload", nullptr},
                {"address", jsonAddress(event.address())}};
    if (const events::record_ref record = event.data()) {
        all["kind"] = record.kind();
        all["record"] = record.name().c_str();
        all["payload"] = jsonRecord(record.get());
    }
    return qldapx::jsonText(all) + "\n";
}

} // namespace qldapx
