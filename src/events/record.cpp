// The records of events, each with its fields in the order of the wire.
#include "events/field_types.h"

#include "events/primitives.h"
#include "qldapx/event.h"

#include <array>
#include <cstddef>

namespace qldapx::events {

namespace {

constexpr Field field(const char *name, const FieldType &type, std::size_t offset,
                      std::size_t count = 0) {
    return {name, &type, static_cast<std::uint16_t>(offset), static_cast<std::uint16_t>(count)};
}

#define FIELD(record, member, type) field(#member, type, offsetof(record, member))
// An array in the record, of so many elements.
#define ARRAY(record, member, type, count) field(#member, type, offsetof(record, member), count)
// Bytes or elements whose number stands in another field.
#define COUNTED(record, member, type, counter)                                                     \
    ARRAY(record, member, type, offsetof(record, counter))

constexpr Field entryEventData[] = {
    FIELD(EntryEventData, string1, string),
    FIELD(EntryEventData, string2, string),
    FIELD(EntryEventData, string3, string),
    // On the wire 1 to 3 come first, in the record 4 and 5 do.
    field(nullptr, structure, 0),
    FIELD(EntryEventData, number1, integer),
    FIELD(EntryEventData, number2, integer),
    FIELD(EntryEventData, number3, integer),
    FIELD(EntryEventData, number4, integer),
    FIELD(EntryEventData, number5, integer),
    // Not asserted: an element of another type has its header skipped, and none at all will do.
    FIELD(EntryEventData, value, finalString),
};

constexpr Field valueEventData[] = {
    FIELD(ValueEventData, string1, string),
    FIELD(ValueEventData, string2, string),
    FIELD(ValueEventData, string3, string),
    FIELD(ValueEventData, string4, string),
    FIELD(ValueEventData, string5, string),
    field(nullptr, structure, 0),
    FIELD(ValueEventData, number1, integer),
    FIELD(ValueEventData, number2, integer),
    FIELD(ValueEventData, number3, integer),
    FIELD(ValueEventData, valueLength, count),
    COUNTED(ValueEventData, value, optionalBytes, valueLength),
    FIELD(ValueEventData, number0, optionalInteger),
};

constexpr Field generalEventData[] = {
    FIELD(GeneralEventData, number1, integer),
    FIELD(GeneralEventData, number2, integer),
    FIELD(GeneralEventData, number3, integer),
    FIELD(GeneralEventData, number4, integer),
    // In the record the fourth stands before the third.
    FIELD(GeneralEventData, string1, string5),
    ARRAY(GeneralEventData, numbers, optionalNumbers, 4),
    ARRAY(GeneralEventData, strings, optionalStrings, 4),
};

constexpr Field binderyEventData[] = {
    FIELD(BinderyEventData, string1, string),  FIELD(BinderyEventData, number1, integer),
    FIELD(BinderyEventData, number2, integer), FIELD(BinderyEventData, number3, integer),
    FIELD(BinderyEventData, string2, string),
};

constexpr Field sevEventData[] = {
    FIELD(SEVEventData, string1, string),
    FIELD(SEVEventData, number1, integer),
    FIELD(SEVEventData, string2, string),
    FIELD(SEVEventData, referralCount, count),
    COUNTED(SEVEventData, referrals, referrals, referralCount),
};

constexpr Field moduleStateEventData[] = {
    FIELD(ModuleStateEventData, string1, string),
    FIELD(ModuleStateEventData, number1, integer),
    ARRAY(ModuleStateEventData, name, requiredText, sizeof(ModuleStateEventData::name)),
    ARRAY(ModuleStateEventData, text, text, sizeof(ModuleStateEventData::text)),
    FIELD(ModuleStateEventData, string4, string),
};

constexpr Field netAddrEventData[] = {
    FIELD(NetAddrEventData, addressType, integer),
    FIELD(NetAddrEventData, length, count),
    COUNTED(NetAddrEventData, value, inlineAddress, length),
};

constexpr Field connectionStateData[] = {
    FIELD(ConnectionStateData, string1, string),
    FIELD(ConnectionStateData, number1, integer),
    FIELD(ConnectionStateData, number2, integer),
    FIELD(ConnectionStateData, string2, string),
};

constexpr Field changeServerAddressData[] = {
    FIELD(ChangeServerAddressData, number1, integer),
    FIELD(ChangeServerAddressData, number2, integer),
    FIELD(ChangeServerAddressData, number3, integer),
    FIELD(ChangeServerAddressData, addressLength, count),
    COUNTED(ChangeServerAddressData, address, address, addressLength),
    FIELD(ChangeServerAddressData, string1, string),
    FIELD(ChangeServerAddressData, string2, string),
};

constexpr Field changeConfigParamData[] = {
    FIELD(ChangeConfigParamData, paramType, integer),
    FIELD(ChangeConfigParamData, paramName, string),
    field(nullptr, parameterTag, 0),
    FIELD(ChangeConfigParamData, intValue, parameterInteger),
    FIELD(ChangeConfigParamData, textValue, parameterText),
    FIELD(ChangeConfigParamData, stringValue, parameterString),
};

constexpr Field statusLogEventData[] = {
    FIELD(StatusLogEventData, number1, integer), FIELD(StatusLogEventData, string1, string),
    FIELD(StatusLogEventData, string2, string),  FIELD(StatusLogEventData, string3, string),
    FIELD(StatusLogEventData, string4, string),  FIELD(StatusLogEventData, string5, string),
    FIELD(StatusLogEventData, string6, string),
};

constexpr Field debugEventData[] = {
    FIELD(DebugEventData, number1, integer),
    FIELD(DebugEventData, number2, integer),
    FIELD(DebugEventData, string1, string),
    FIELD(DebugEventData, string2, string),
    FIELD(DebugEventData, number3, integer),
    FIELD(DebugEventData, itemCount, integer),
    COUNTED(DebugEventData, items, debugItems, itemCount),
};

constexpr Field authEventData[] = {
    FIELD(AuthEventData, connection, connection),
    FIELD(AuthEventData, number1, integer),
    FIELD(AuthEventData, number2, integer),
    FIELD(AuthEventData, string1, string),
    FIELD(AuthEventData, number3, integer),
    // A failure here is not looked at: kept, the event counts without it.
    FIELD(AuthEventData, string2, untestedString),
    FIELD(AuthEventData, number4, integer),
    FIELD(AuthEventData, sequence1, sequence0),
};

constexpr Field connectionEventData[] = {
    FIELD(ConnectionEventData, number1, integer),
    FIELD(ConnectionEventData, number2, integer),
    FIELD(ConnectionEventData, string1, string),
};

constexpr Field searchEventData[] = {
    FIELD(SearchEventData, connection, connection), FIELD(SearchEventData, number1, integer),
    FIELD(SearchEventData, number2, integer),       FIELD(SearchEventData, string1, string),
    FIELD(SearchEventData, string2, string),        FIELD(SearchEventData, number3, integer),
    FIELD(SearchEventData, string3, string),        FIELD(SearchEventData, number4, integer),
    FIELD(SearchEventData, sequence1, sequence),    FIELD(SearchEventData, sequence2, sequence0),
};

constexpr Field searchEntryResponseEventData[] = {
    FIELD(SearchEntryResponseEventData, connection, connection),
    FIELD(SearchEntryResponseEventData, number1, integer),
    FIELD(SearchEntryResponseEventData, number2, integer),
    FIELD(SearchEntryResponseEventData, string1, string),
    FIELD(SearchEntryResponseEventData, string2, string),
    FIELD(SearchEntryResponseEventData, number3, integer),
    FIELD(SearchEntryResponseEventData, sequence1, sequence),
};

constexpr Field updateEventData[] = {
    FIELD(UpdateEventData, connection, connection), FIELD(UpdateEventData, number1, integer),
    FIELD(UpdateEventData, number2, integer),       FIELD(UpdateEventData, number3, integer),
    FIELD(UpdateEventData, string1, string),        FIELD(UpdateEventData, string2, string),
    FIELD(UpdateEventData, string3, string),        FIELD(UpdateEventData, number4, integer),
    FIELD(UpdateEventData, sequence1, sequence0),
};

constexpr Field compareEventData[] = {
    FIELD(CompareEventData, connection, connection), FIELD(CompareEventData, number1, integer),
    FIELD(CompareEventData, number2, integer),       FIELD(CompareEventData, string1, string),
    FIELD(CompareEventData, string2, string),        FIELD(CompareEventData, string3, string),
    FIELD(CompareEventData, string4, string),        FIELD(CompareEventData, string5, string),
    FIELD(CompareEventData, number3, integer),
};

constexpr Field modDNEventData[] = {
    FIELD(ModDNEventData, connection, connection), FIELD(ModDNEventData, number1, integer),
    FIELD(ModDNEventData, number2, integer),       FIELD(ModDNEventData, string1, string),
    FIELD(ModDNEventData, string2, string),        FIELD(ModDNEventData, string3, string),
    FIELD(ModDNEventData, string4, string),        FIELD(ModDNEventData, number3, integer),
    FIELD(ModDNEventData, sequence1, sequence0),
};

constexpr Field abandonEventData[] = {
    FIELD(AbandonEventData, connection, connection), FIELD(AbandonEventData, number1, integer),
    FIELD(AbandonEventData, number2, integer),       FIELD(AbandonEventData, number3, integer),
    FIELD(AbandonEventData, string1, string),        FIELD(AbandonEventData, number4, integer),
};

constexpr Field extOpEventData[] = {
    FIELD(ExtOpEventData, connection, connection), FIELD(ExtOpEventData, number1, integer),
    FIELD(ExtOpEventData, number2, integer),       FIELD(ExtOpEventData, number3, integer),
    FIELD(ExtOpEventData, string1, string),        FIELD(ExtOpEventData, string2, string),
    FIELD(ExtOpEventData, number4, integer),
};

constexpr Field sysExtOpEventData[] = {
    FIELD(SysExtOpEventData, connection, connection), FIELD(SysExtOpEventData, number1, integer),
    FIELD(SysExtOpEventData, number2, integer),       FIELD(SysExtOpEventData, number3, integer),
    FIELD(SysExtOpEventData, string1, string),        FIELD(SysExtOpEventData, string2, string),
    FIELD(SysExtOpEventData, string3, string),        FIELD(SysExtOpEventData, string4, string),
    FIELD(SysExtOpEventData, string5, string),        FIELD(SysExtOpEventData, string6, string),
    FIELD(SysExtOpEventData, number4, integer),
};

constexpr Field responseEventData[] = {
    FIELD(ResponseEventData, connection, connection), FIELD(ResponseEventData, number1, integer),
    FIELD(ResponseEventData, number2, integer),       FIELD(ResponseEventData, number3, integer),
    FIELD(ResponseEventData, number4, integer),       FIELD(ResponseEventData, string1, string),
    FIELD(ResponseEventData, sequence1, sequence1),
};

constexpr Field passwordModifyData[] = {
    FIELD(PasswordModifyData, connection, connection), FIELD(PasswordModifyData, number1, integer),
    FIELD(PasswordModifyData, number2, integer),       FIELD(PasswordModifyData, string1, string),
    FIELD(PasswordModifyData, string2, string),        FIELD(PasswordModifyData, number3, integer),
    FIELD(PasswordModifyData, number4, integer),
};

constexpr Field unknownOpData[] = {
    FIELD(UnknownOpData, number1, integer),
    FIELD(UnknownOpData, string1, string),
};

#undef COUNTED
#undef ARRAY
#undef FIELD

template <std::size_t size>
constexpr Record record(std::uint16_t kind, const char *name, std::size_t bytes,
                        const Field (&fields)[size]) {
    return {name, kind, static_cast<std::uint16_t>(bytes), fields};
}

#define RECORD(kind, type, fields) record(kind, #type, sizeof(type), fields)

// By kind.
constexpr Record records[] = {
    RECORD(0x61, EntryEventData, entryEventData),
    RECORD(0x62, ValueEventData, valueEventData),
    RECORD(0x63, GeneralEventData, generalEventData),
    RECORD(0x65, BinderyEventData, binderyEventData),
    RECORD(0x66, SEVEventData, sevEventData),
    RECORD(0x67, ModuleStateEventData, moduleStateEventData),
    RECORD(0x68, NetAddrEventData, netAddrEventData),
    RECORD(0x69, ConnectionStateData, connectionStateData),
    RECORD(0x6C, ChangeServerAddressData, changeServerAddressData),
    RECORD(0x6D, ChangeConfigParamData, changeConfigParamData),
    RECORD(0x6F, StatusLogEventData, statusLogEventData),
    RECORD(0x70, DebugEventData, debugEventData),
    RECORD(0x71, AuthEventData, authEventData),
    RECORD(0x72, ConnectionEventData, connectionEventData),
    RECORD(0x73, SearchEventData, searchEventData),
    RECORD(0x74, SearchEntryResponseEventData, searchEntryResponseEventData),
    RECORD(0x75, UpdateEventData, updateEventData),
    RECORD(0x76, CompareEventData, compareEventData),
    RECORD(0x77, ModDNEventData, modDNEventData),
    RECORD(0x78, AbandonEventData, abandonEventData),
    RECORD(0x79, ExtOpEventData, extOpEventData),
    RECORD(0x7A, SysExtOpEventData, sysExtOpEventData),
    RECORD(0x7B, ResponseEventData, responseEventData),
    RECORD(0x7C, PasswordModifyData, passwordModifyData),
    RECORD(0x7D, UnknownOpData, unknownOpData),
};

#undef RECORD

// Number of a kind's record, from 1; 0 for a kind without one.
constexpr auto recordNumbers = [] {
    std::array<std::uint8_t, lastKind - firstKind + 1> numbers{};
    std::uint8_t number = 0;
    for (const Record &record : records)
        numbers[record.kind - firstKind] = ++number;
    return numbers;
}();

int readFields(BerElement *ber, const Record &record, char *fields) {
    for (const Field &field : record.fields) {
        int result = field.type->read(ber, fields, field);
        if (result != LDAP_SUCCESS)
            return result;
    }
    return LDAP_SUCCESS;
}

} // namespace

const Record *recordOf(ber_tag_t kind) {
    if (kind < firstKind || kind > lastKind)
        return nullptr;
    std::uint8_t number = recordNumbers[kind - firstKind];
    return number == 0 ? nullptr : &records[number - 1];
}

int readRecord(BerElement *ber, const Record &record, void **eventData) {
    *eventData = allocEventData(record.size, record.kind);
    if (*eventData == nullptr)
        return LDAP_NO_MEMORY;
    std::memset(*eventData, 0, record.size);
    int result = readFields(ber, record, static_cast<char *>(*eventData));
    if (result != LDAP_SUCCESS) {
        discardRecord(*eventData);
        *eventData = nullptr;
    }
    return result;
}

void discardRecord(void *eventData) {
    constexpr KindWord referralKind = 0x66;
    if (kindOf(eventData) == referralKind) {
        // What ldap_event_free leaves to the callers.
        const auto *event = static_cast<const SEVEventData *>(eventData);
        if (event->referrals != nullptr && event->referralCount > 0)
            std::free(event->referrals[0].value);
    }
    ldap_event_free(eventData);
}

} // namespace qldapx::events

using namespace qldapx::events;

extern "C" {

void *allocEventData(size_t size, ber_tag_t kind) {
    if (size > SIZE_MAX - sizeof(KindWord))
        return nullptr;
    auto *block = static_cast<KindWord *>(std::malloc(sizeof(KindWord) + size));
    if (block == nullptr)
        return nullptr;
    *block = kind;
    return block + 1;
}

void ldap_event_free(void *eventData) {
    if (eventData == nullptr)
        return;
    if (const Record *record = recordOf(kindOf(eventData)))
        for (const Field &field : record->fields)
            if (field.type->release != nullptr)
                field.type->release(static_cast<char *>(eventData), field);
    std::free(kindWord(eventData));
}
}
