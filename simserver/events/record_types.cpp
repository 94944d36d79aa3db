#include "events/record.h"

#include "ber.h"

namespace stratasim {
namespace {

using enum FieldType;

constexpr Field i(std::string_view name) {
    return {name, Integer, ber::kInteger};
}
constexpr Field s(std::string_view name) {
    return {name, Text, ber::kOctetString};
}
constexpr Field kBegin{"", Begin, ber::kSequence};
constexpr Field kEnd{"", End, 0};
constexpr Field kConnection{"connection", Connection, ber::kSequence};
constexpr Field texts(std::string_view name) {
    return {name, Texts, ber::kSequence};
}
constexpr Field optionalTexts(std::string_view name, std::uint8_t tag = 0x80) {
    return {name, OptionalTexts, tag};
}

// What the server tells of itself. The numbers are in the order in which they come, which is not
// always that of their names.
constexpr Field kEntry[] = {s("string1"), s("string2"), s("string3"), kBegin,
                            i("number1"), i("number2"), i("number3"), kEnd,
                            i("number4"), i("number5"), s("value")};
constexpr Field kValue[] = {s("string1"),
                            s("string2"),
                            s("string3"),
                            s("string4"),
                            s("string5"),
                            kBegin,
                            i("number1"),
                            i("number2"),
                            i("number3"),
                            kEnd,
                            {"value", OptionalText, ber::kOctetString},
                            {"number0", OptionalInteger, ber::kInteger}};
constexpr Field kGeneral[] = {i("number1"),
                              i("number2"),
                              i("number4"),
                              i("number3"),
                              {"string1", Text, 0x85},
                              {"numbers", OptionalIntegers, 0x86},
                              {"strings", OptionalStrings, 0xa7}};
constexpr Field kBindery[] = {s("string1"), i("number1"), i("number2"), i("number3"), s("string2")};
constexpr Field kSecurityEquivalence[] = {
    s("string1"), i("number1"), s("string2"), {"referrals", Referrals, ber::kSequence}};
constexpr Field kModuleState[] = {s("string1"), i("number1"), s("name"), s("text"), s("string4")};
constexpr Field kNetAddress[] = {i("addressType"), s("address")};
constexpr Field kConnectionState[] = {s("string1"), i("number1"), i("number2"), s("string2")};
constexpr Field kServerAddress[] = {i("number1"), i("number2"), i("number3"),
                                    s("address"), s("string1"), s("string2")};
constexpr Field kParameter[] = {i("paramType"),
                                s("paramName"),
                                {"intValue", Integer, 0x81, 5},
                                {"intValue", Integer, 0x82, 2},
                                {"stringValue", Text, 0x83, 1},
                                {"textValue", Text, 0x84, 3},
                                {"", Nothing, 0x85, 0}};
constexpr Field kStatusLog[] = {i("number1"), s("string1"), s("string2"), s("string3"),
                                s("string4"), s("string5"), s("string6")};
constexpr Field kDebug[] = {i("number1"), i("number2"), s("string1"),
                            s("string2"), i("number3"), {"items", Items, ber::kSequence}};

// What clients do.
constexpr Field kAuth[] = {kConnection,  i("number1"), i("number2"), s("string1"),
                           i("number3"), s("string2"), i("number4"), optionalTexts("sequence1")};
constexpr Field kConnectionOnly[] = {i("number1"), i("number2"), s("string1")};
constexpr Field kSearch[] = {
    kConnection,  i("number1"), i("number2"), s("string1"),       s("string2"),
    i("number3"), s("string3"), i("number4"), texts("sequence1"), optionalTexts("sequence2")};
constexpr Field kSearchEntry[] = {kConnection,  i("number1"), i("number2"),      s("string1"),
                                  s("string2"), i("number3"), texts("sequence1")};
constexpr Field kUpdate[] = {kConnection,  i("number1"), i("number2"),
                             i("number3"), s("string1"), s("string2"),
                             s("string3"), i("number4"), optionalTexts("sequence1")};
constexpr Field kCompare[] = {kConnection,  i("number1"), i("number2"), s("string1"), s("string2"),
                              s("string3"), s("string4"), s("string5"), i("number3")};
constexpr Field kModifyDn[] = {kConnection,  i("number1"), i("number2"),
                               s("string1"), s("string2"), s("string3"),
                               s("string4"), i("number3"), optionalTexts("sequence1")};
constexpr Field kAbandon[] = {kConnection,  i("number1"), i("number2"),
                              i("number3"), s("string1"), i("number4")};
constexpr Field kExtended[] = {kConnection,  i("number1"), i("number2"), i("number3"),
                               s("string1"), s("string2"), i("number4")};
constexpr Field kSystemExtended[] = {kConnection,  i("number1"), i("number2"), i("number3"),
                                     s("string1"), s("string2"), s("string3"), s("string4"),
                                     s("string5"), s("string6"), i("number4")};
constexpr Field kResponse[] = {kConnection,
                               i("number1"),
                               i("number2"),
                               i("number3"),
                               i("number4"),
                               s("string1"),
                               optionalTexts("sequence1", 0x81)};
constexpr Field kPassword[] = {kConnection,  i("number1"), i("number2"), s("string1"),
                               s("string2"), i("number3"), i("number4")};
constexpr Field kUnknown[] = {i("number1"), s("string1")};

constexpr RecordType kTypes[] = {
    {97, "EntryEventData", kEntry},
    {98, "ValueEventData", kValue},
    {99, "GeneralEventData", kGeneral},
    {100, "", {}},
    {101, "BinderyEventData", kBindery},
    {102, "SEVEventData", kSecurityEquivalence},
    {103, "ModuleStateEventData", kModuleState},
    {104, "NetAddrEventData", kNetAddress},
    {105, "ConnectionStateData", kConnectionState},
    {106, "", {}},
    {107, "", {}},
    {108, "ChangeServerAddressData", kServerAddress},
    {109, "ChangeConfigParamData", kParameter},
    {110, "", {}},
    {111, "StatusLogEventData", kStatusLog},
    {112, "DebugEventData", kDebug},
    {113, "AuthEventData", kAuth},
    {114, "ConnectionEventData", kConnectionOnly},
    {115, "SearchEventData", kSearch},
    {116, "SearchEntryResponseEventData", kSearchEntry},
    {117, "UpdateEventData", kUpdate},
    {118, "CompareEventData", kCompare},
    {119, "ModDNEventData", kModifyDn},
    {120, "AbandonEventData", kAbandon},
    {121, "ExtOpEventData", kExtended},
    {122, "SysExtOpEventData", kSystemExtended},
    {123, "ResponseEventData", kResponse},
    {124, "PasswordModifyData", kPassword},
    {125, "UnknownOpData", kUnknown},
};

} // namespace

const RecordType *findRecordType(int kind) {
    if (kind < kFirstKind || kind > kLastKind)
        return nullptr;
    return &kTypes[kind - kFirstKind];
}

} // namespace stratasim
