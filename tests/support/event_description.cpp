// The records as text. Each is read member by member, not by the library's own description.
#include "support/event_description.h"

#include "support/ber.h"

#include <cstring>
#include <qldapx.h>

namespace qldapx_test {

namespace {

std::string text(std::int32_t number) {
    return std::to_string(number);
}
std::string text(std::uint32_t number) {
    return std::to_string(number);
}
std::string text(const char *string) {
    return string == nullptr ? "NULL" : string;
}
std::string text(char **sequence) {
    if (sequence == nullptr)
        return "NULL";
    std::string all;
    for (; *sequence != nullptr; ++sequence)
        all += (all.empty() ? "" : ",") + std::string(*sequence);
    return "[" + all + "]";
}
std::string text(const ConnectionInfo *info) {
    if (info == nullptr)
        return "NULL";
    return text(info->number1) + "/" + text(info->number2) + "/" + text(info->text);
}

// Bytes with a NUL behind them.
std::string bytes(const void *data, std::size_t length) {
    const char *start = static_cast<const char *>(data);
    if (start == nullptr)
        return "NULL";
    return start[length] == '\0' ? toHex({start, length}) : "without NUL";
}

std::string text(const ReferralEntry *list, int count) {
    if (list == nullptr)
        return "none";
    std::string all;
    for (const ReferralEntry *entry = list; entry < list + count; ++entry)
        all += (all.empty() ? "" : ",") + text(entry->type) + ":" + text(entry->length) + ":" +
               text(entry->value);
    return all.empty() ? "empty" : all;
}

std::string triples(const DebugItem &item) {
    std::string all;
    const auto *numbers = static_cast<const std::int32_t *>(item.pointer);
    for (std::int32_t i = 0; i < 3 * item.number; ++i)
        all += (all.empty() ? "" : ",") + text(numbers[i]);
    return all;
}

std::string text(const DebugItem &item) {
    std::string number = text(item.number);
    switch (item.kind) {
    case 1:
    case 4:
        return number;
    case 2:
        return text(item.text);
    case 3:
        return number + ":" + bytes(item.pointer, static_cast<std::size_t>(item.number));
    case 5:
        return number + ":" + text(item.length) + ":" +
               bytes(item.pointer, static_cast<std::size_t>(item.length));
    case 6:
        return number + ":" + text(item.length) + ":" + text(item.third);
    case 7:
        return number + ":" + triples(item);
    default:
        return "unknown kind";
    }
}

std::string text(const DebugItem *items, int count) {
    if (items == nullptr)
        return "none";
    std::string all;
    for (const DebugItem *item = items; item < items + count; ++item)
        all += (all.empty() ? "" : " ") + text(item->kind) + ":" + text(*item);
    return all;
}

template <class T, std::size_t size>
std::string text(const T (&array)[size]) {
    std::string all;
    for (const T &element : array)
        all += (all.empty() ? "" : ",") + text(element);
    return all;
}

#define IS(member) #member "=" + text(r->member)
#define AND(member) " " IS(member)

std::string describe(const EntryEventData *r) {
    return IS(string1) + AND(string2) + AND(string3) + AND(number4) + AND(number5) + AND(number1) +
           AND(number2) + AND(number3) + AND(value);
}
std::string describe(const ValueEventData *r) {
    return IS(number0) + AND(string1) + AND(string2) + AND(string3) + AND(string4) + AND(string5) +
           AND(number1) + AND(number2) + AND(number3) + AND(valueLength) +
           " value=" + bytes(r->value, r->valueLength);
}
std::string describe(const GeneralEventData *r) {
    return IS(number1) + AND(number2) + AND(number4) + AND(number3) + AND(string1) + AND(numbers) +
           AND(strings);
}
std::string describe(const BinderyEventData *r) {
    return IS(string1) + AND(number1) + AND(number2) + AND(number3) + AND(string2);
}
std::string describe(const SEVEventData *r) {
    return IS(string1) + AND(number1) + AND(string2) + AND(referralCount) +
           " referrals=" + text(r->referrals, r->referralCount);
}
std::string describe(const ModuleStateEventData *r) {
    return IS(string1) + AND(number1) + AND(string4) + " name=" + r->name + " text=" + r->text;
}
std::string describe(const NetAddrEventData *r) {
    return IS(addressType) + AND(length) + " value=" + bytes(r->value, r->length);
}
std::string describe(const ConnectionStateData *r) {
    return IS(string1) + AND(number1) + AND(number2) + AND(string2);
}
std::string describe(const ChangeServerAddressData *r) {
    return IS(number1) + AND(number2) + AND(number3) + AND(addressLength) +
           " address=" + bytes(r->address, r->addressLength) + AND(string1) + AND(string2);
}
std::string describe(const ChangeConfigParamData *r) {
    return IS(paramType) + AND(paramName) + (r->paramType == 3 ? AND(textValue) : AND(intValue)) +
           AND(stringValue);
}
std::string describe(const StatusLogEventData *r) {
    return IS(number1) + AND(string1) + AND(string2) + AND(string3) + AND(string4) + AND(string5) +
           AND(string6);
}
std::string describe(const DebugEventData *r) {
    return IS(number1) + AND(number2) + AND(string1) + AND(string2) + AND(number3) +
           AND(itemCount) + " items=" + text(r->items, r->itemCount);
}
std::string describe(const AuthEventData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(string1) + AND(number3) +
           AND(string2) + AND(sequence1) + AND(number4);
}
std::string describe(const ConnectionEventData *r) {
    return IS(number1) + AND(number2) + AND(string1);
}
std::string describe(const SearchEventData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(string1) + AND(string2) +
           AND(number3) + AND(string3) + AND(sequence1) + AND(sequence2) + AND(number4);
}
std::string describe(const SearchEntryResponseEventData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(string1) + AND(string2) +
           AND(sequence1) + AND(number3);
}
std::string describe(const UpdateEventData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(number3) + AND(string1) +
           AND(string2) + AND(string3) + AND(sequence1) + AND(number4);
}
std::string describe(const CompareEventData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(string1) + AND(string2) +
           AND(string3) + AND(string4) + AND(string5) + AND(number3);
}
std::string describe(const ModDNEventData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(string1) + AND(string2) +
           AND(string3) + AND(string4) + AND(sequence1) + AND(number3);
}
std::string describe(const AbandonEventData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(number3) + AND(string1) +
           AND(number4);
}
std::string describe(const ExtOpEventData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(number3) + AND(string1) +
           AND(string2) + AND(number4);
}
std::string describe(const SysExtOpEventData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(number3) + AND(string1) +
           AND(string2) + AND(string3) + AND(string4) + AND(string5) + AND(string6) + AND(number4);
}
std::string describe(const ResponseEventData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(number3) + AND(number4) +
           AND(string1) + AND(sequence1);
}
std::string describe(const PasswordModifyData *r) {
    return IS(connection) + AND(number1) + AND(number2) + AND(string1) + AND(string2) +
           AND(number3) + AND(number4);
}
std::string describe(const UnknownOpData *r) {
    return IS(number1) + AND(string1);
}

#undef AND
#undef IS

struct Description {
    unsigned kind;
    std::string (*describe)(const void *record);
};

template <class Record>
std::string describeAs(const void *record) {
    return describe(static_cast<const Record *>(record));
}

constexpr Description descriptions[] = {
    {97, describeAs<EntryEventData>},
    {98, describeAs<ValueEventData>},
    {99, describeAs<GeneralEventData>},
    {101, describeAs<BinderyEventData>},
    {102, describeAs<SEVEventData>},
    {103, describeAs<ModuleStateEventData>},
    {104, describeAs<NetAddrEventData>},
    {105, describeAs<ConnectionStateData>},
    {108, describeAs<ChangeServerAddressData>},
    {109, describeAs<ChangeConfigParamData>},
    {111, describeAs<StatusLogEventData>},
    {112, describeAs<DebugEventData>},
    {113, describeAs<AuthEventData>},
    {114, describeAs<ConnectionEventData>},
    {115, describeAs<SearchEventData>},
    {116, describeAs<SearchEntryResponseEventData>},
    {117, describeAs<UpdateEventData>},
    {118, describeAs<CompareEventData>},
    {119, describeAs<ModDNEventData>},
    {120, describeAs<AbandonEventData>},
    {121, describeAs<ExtOpEventData>},
    {122, describeAs<SysExtOpEventData>},
    {123, describeAs<ResponseEventData>},
    {124, describeAs<PasswordModifyData>},
    {125, describeAs<UnknownOpData>},
};

} // namespace

std::string describeRecord(unsigned kind, const void *record) {
    if (record == nullptr)
        return "none";
    for (const Description &description : descriptions)
        if (description.kind == kind)
            return description.describe(record);
    return "unknown kind";
}

} // namespace qldapx_test
