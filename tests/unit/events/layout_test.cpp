// The records' layout, which programs are compiled against: every offset and size.
#include <cstddef>
#include <gtest/gtest.h>
#include <qldapx.h>

namespace {

struct Member {
    const char *name;
    std::size_t offset;
    std::size_t size;
    std::size_t expectedOffset;
    std::size_t expectedSize;
};

#define MEMBER(record, member, offset, size)                                                       \
    Member {                                                                                       \
#record "." #member, offsetof(record, member), sizeof(record::member), offset, size        \
    }

const Member members[] = {
    MEMBER(EventSpecification, eventType, 0, 4),
    MEMBER(EventSpecification, eventResult, 4, 4),
    MEMBER(FilteredEventSpecification, eventType, 0, 4),
    MEMBER(FilteredEventSpecification, eventResult, 4, 4),
    MEMBER(FilteredEventSpecification, filter, 8, 8),
    MEMBER(ReferralEntry, type, 0, 4),
    MEMBER(ReferralEntry, length, 4, 4),
    MEMBER(ReferralEntry, value, 8, 8),
    MEMBER(ConnectionInfo, number1, 0, 4),
    MEMBER(ConnectionInfo, number2, 4, 4),
    MEMBER(ConnectionInfo, text, 8, 8),
    MEMBER(EntryEventData, string1, 0, 8),
    MEMBER(EntryEventData, string2, 8, 8),
    MEMBER(EntryEventData, string3, 16, 8),
    MEMBER(EntryEventData, number4, 24, 4),
    MEMBER(EntryEventData, number5, 28, 4),
    MEMBER(EntryEventData, number1, 32, 4),
    MEMBER(EntryEventData, number2, 36, 4),
    MEMBER(EntryEventData, number3, 40, 4),
    MEMBER(EntryEventData, value, 48, 8),
    MEMBER(ValueEventData, number0, 0, 4),
    MEMBER(ValueEventData, string1, 8, 8),
    MEMBER(ValueEventData, string2, 16, 8),
    MEMBER(ValueEventData, string3, 24, 8),
    MEMBER(ValueEventData, string4, 32, 8),
    MEMBER(ValueEventData, string5, 40, 8),
    MEMBER(ValueEventData, number1, 48, 4),
    MEMBER(ValueEventData, number2, 52, 4),
    MEMBER(ValueEventData, number3, 56, 4),
    MEMBER(ValueEventData, valueLength, 60, 4),
    MEMBER(ValueEventData, value, 64, 8),
    MEMBER(GeneralEventData, number1, 0, 4),
    MEMBER(GeneralEventData, number2, 4, 4),
    MEMBER(GeneralEventData, number4, 8, 4),
    MEMBER(GeneralEventData, number3, 12, 4),
    MEMBER(GeneralEventData, string1, 16, 8),
    MEMBER(GeneralEventData, numbers, 24, 16),
    MEMBER(GeneralEventData, strings, 40, 32),
    MEMBER(BinderyEventData, string1, 0, 8),
    MEMBER(BinderyEventData, number1, 8, 4),
    MEMBER(BinderyEventData, number2, 12, 4),
    MEMBER(BinderyEventData, number3, 16, 4),
    MEMBER(BinderyEventData, string2, 24, 8),
    MEMBER(SEVEventData, string1, 0, 8),
    MEMBER(SEVEventData, number1, 8, 4),
    MEMBER(SEVEventData, string2, 16, 8),
    MEMBER(SEVEventData, referralCount, 24, 4),
    MEMBER(SEVEventData, referrals, 32, 8),
    MEMBER(ModuleStateEventData, string1, 0, 8),
    MEMBER(ModuleStateEventData, number1, 8, 4),
    MEMBER(ModuleStateEventData, string4, 16, 8),
    MEMBER(ModuleStateEventData, name, 24, 32),
    MEMBER(ModuleStateEventData, text, 56, 128),
    MEMBER(NetAddrEventData, addressType, 0, 4),
    MEMBER(NetAddrEventData, length, 4, 4),
    MEMBER(NetAddrEventData, value, 8, 1),
    MEMBER(ConnectionStateData, string1, 0, 8),
    MEMBER(ConnectionStateData, number1, 8, 4),
    MEMBER(ConnectionStateData, number2, 12, 4),
    MEMBER(ConnectionStateData, string2, 16, 8),
    MEMBER(ChangeServerAddressData, number1, 0, 4),
    MEMBER(ChangeServerAddressData, number2, 4, 4),
    MEMBER(ChangeServerAddressData, number3, 8, 4),
    MEMBER(ChangeServerAddressData, addressLength, 12, 4),
    MEMBER(ChangeServerAddressData, address, 16, 8),
    MEMBER(ChangeServerAddressData, string1, 24, 8),
    MEMBER(ChangeServerAddressData, string2, 32, 8),
    MEMBER(ChangeConfigParamData, paramType, 0, 4),
    MEMBER(ChangeConfigParamData, paramName, 8, 8),
    MEMBER(ChangeConfigParamData, intValue, 16, 4),
    MEMBER(ChangeConfigParamData, textValue, 16, 8),
    MEMBER(ChangeConfigParamData, stringValue, 24, 8),
    MEMBER(StatusLogEventData, number1, 0, 4),
    MEMBER(StatusLogEventData, string1, 8, 8),
    MEMBER(StatusLogEventData, string2, 16, 8),
    MEMBER(StatusLogEventData, string3, 24, 8),
    MEMBER(StatusLogEventData, string4, 32, 8),
    MEMBER(StatusLogEventData, string5, 40, 8),
    MEMBER(StatusLogEventData, string6, 48, 8),
    MEMBER(DebugItem, kind, 0, 4),
    MEMBER(DebugItem, number, 8, 4),
    MEMBER(DebugItem, length, 12, 4),
    MEMBER(DebugItem, text, 8, 8),
    MEMBER(DebugItem, pointer, 16, 8),
    MEMBER(DebugItem, third, 16, 4),
    MEMBER(DebugEventData, number1, 0, 4),
    MEMBER(DebugEventData, number2, 4, 4),
    MEMBER(DebugEventData, string1, 8, 8),
    MEMBER(DebugEventData, string2, 16, 8),
    MEMBER(DebugEventData, number3, 24, 4),
    MEMBER(DebugEventData, itemCount, 28, 4),
    MEMBER(DebugEventData, items, 32, 8),
    MEMBER(AuthEventData, connection, 0, 8),
    MEMBER(AuthEventData, number1, 8, 4),
    MEMBER(AuthEventData, number2, 12, 4),
    MEMBER(AuthEventData, string1, 16, 8),
    MEMBER(AuthEventData, number3, 24, 4),
    MEMBER(AuthEventData, string2, 32, 8),
    MEMBER(AuthEventData, sequence1, 40, 8),
    MEMBER(AuthEventData, number4, 48, 4),
    MEMBER(ConnectionEventData, number1, 0, 4),
    MEMBER(ConnectionEventData, number2, 4, 4),
    MEMBER(ConnectionEventData, string1, 8, 8),
    MEMBER(SearchEventData, connection, 0, 8),
    MEMBER(SearchEventData, number1, 8, 4),
    MEMBER(SearchEventData, number2, 12, 4),
    MEMBER(SearchEventData, string1, 16, 8),
    MEMBER(SearchEventData, string2, 24, 8),
    MEMBER(SearchEventData, number3, 32, 4),
    MEMBER(SearchEventData, string3, 40, 8),
    MEMBER(SearchEventData, sequence1, 48, 8),
    MEMBER(SearchEventData, sequence2, 56, 8),
    MEMBER(SearchEventData, number4, 64, 4),
    MEMBER(SearchEntryResponseEventData, connection, 0, 8),
    MEMBER(SearchEntryResponseEventData, number1, 8, 4),
    MEMBER(SearchEntryResponseEventData, number2, 12, 4),
    MEMBER(SearchEntryResponseEventData, string1, 16, 8),
    MEMBER(SearchEntryResponseEventData, string2, 24, 8),
    MEMBER(SearchEntryResponseEventData, sequence1, 32, 8),
    MEMBER(SearchEntryResponseEventData, number3, 40, 4),
    MEMBER(UpdateEventData, connection, 0, 8),
    MEMBER(UpdateEventData, number1, 8, 4),
    MEMBER(UpdateEventData, number2, 12, 4),
    MEMBER(UpdateEventData, number3, 16, 4),
    MEMBER(UpdateEventData, string1, 24, 8),
    MEMBER(UpdateEventData, string2, 32, 8),
    MEMBER(UpdateEventData, string3, 40, 8),
    MEMBER(UpdateEventData, sequence1, 48, 8),
    MEMBER(UpdateEventData, number4, 56, 4),
    MEMBER(CompareEventData, connection, 0, 8),
    MEMBER(CompareEventData, number1, 8, 4),
    MEMBER(CompareEventData, number2, 12, 4),
    MEMBER(CompareEventData, string1, 16, 8),
    MEMBER(CompareEventData, string2, 24, 8),
    MEMBER(CompareEventData, string3, 32, 8),
    MEMBER(CompareEventData, string4, 40, 8),
    MEMBER(CompareEventData, string5, 48, 8),
    MEMBER(CompareEventData, number3, 56, 4),
    MEMBER(ModDNEventData, connection, 0, 8),
    MEMBER(ModDNEventData, number1, 8, 4),
    MEMBER(ModDNEventData, number2, 12, 4),
    MEMBER(ModDNEventData, string1, 16, 8),
    MEMBER(ModDNEventData, string2, 24, 8),
    MEMBER(ModDNEventData, string3, 32, 8),
    MEMBER(ModDNEventData, string4, 40, 8),
    MEMBER(ModDNEventData, sequence1, 48, 8),
    MEMBER(ModDNEventData, number3, 56, 4),
    MEMBER(AbandonEventData, connection, 0, 8),
    MEMBER(AbandonEventData, number1, 8, 4),
    MEMBER(AbandonEventData, number2, 12, 4),
    MEMBER(AbandonEventData, number3, 16, 4),
    MEMBER(AbandonEventData, string1, 24, 8),
    MEMBER(AbandonEventData, number4, 32, 4),
    MEMBER(ExtOpEventData, connection, 0, 8),
    MEMBER(ExtOpEventData, number1, 8, 4),
    MEMBER(ExtOpEventData, number2, 12, 4),
    MEMBER(ExtOpEventData, number3, 16, 4),
    MEMBER(ExtOpEventData, string1, 24, 8),
    MEMBER(ExtOpEventData, string2, 32, 8),
    MEMBER(ExtOpEventData, number4, 40, 4),
    MEMBER(SysExtOpEventData, connection, 0, 8),
    MEMBER(SysExtOpEventData, number1, 8, 4),
    MEMBER(SysExtOpEventData, number2, 12, 4),
    MEMBER(SysExtOpEventData, number3, 16, 4),
    MEMBER(SysExtOpEventData, string1, 24, 8),
    MEMBER(SysExtOpEventData, string2, 32, 8),
    MEMBER(SysExtOpEventData, string3, 40, 8),
    MEMBER(SysExtOpEventData, string4, 48, 8),
    MEMBER(SysExtOpEventData, string5, 56, 8),
    MEMBER(SysExtOpEventData, string6, 64, 8),
    MEMBER(SysExtOpEventData, number4, 72, 4),
    MEMBER(ResponseEventData, connection, 0, 8),
    MEMBER(ResponseEventData, number1, 8, 4),
    MEMBER(ResponseEventData, number2, 12, 4),
    MEMBER(ResponseEventData, number3, 16, 4),
    MEMBER(ResponseEventData, number4, 20, 4),
    MEMBER(ResponseEventData, string1, 24, 8),
    MEMBER(ResponseEventData, sequence1, 32, 8),
    MEMBER(PasswordModifyData, connection, 0, 8),
    MEMBER(PasswordModifyData, number1, 8, 4),
    MEMBER(PasswordModifyData, number2, 12, 4),
    MEMBER(PasswordModifyData, string1, 16, 8),
    MEMBER(PasswordModifyData, string2, 24, 8),
    MEMBER(PasswordModifyData, number3, 32, 4),
    MEMBER(PasswordModifyData, number4, 36, 4),
    MEMBER(UnknownOpData, number1, 0, 4),
    MEMBER(UnknownOpData, string1, 8, 8),
};

#undef MEMBER

TEST(EventLayout, Members) {
    for (const Member &member : members) {
        EXPECT_EQ(member.offset, member.expectedOffset) << member.name;
        EXPECT_EQ(member.size, member.expectedSize) << member.name;
    }
}

TEST(EventLayout, Sizes) {
    EXPECT_EQ(sizeof(EventSpecification), 8U);
    EXPECT_EQ(sizeof(FilteredEventSpecification), 16U);
    EXPECT_EQ(sizeof(ReferralEntry), 16U);
    EXPECT_EQ(sizeof(ConnectionInfo), 16U);
    EXPECT_EQ(sizeof(EntryEventData), 56U);
    EXPECT_EQ(sizeof(ValueEventData), 72U);
    EXPECT_EQ(sizeof(GeneralEventData), 72U);
    EXPECT_EQ(sizeof(BinderyEventData), 32U);
    EXPECT_EQ(sizeof(SEVEventData), 40U);
    EXPECT_EQ(sizeof(ModuleStateEventData), 184U);
    EXPECT_EQ(sizeof(NetAddrEventData), 12U);
    EXPECT_EQ(sizeof(ConnectionStateData), 24U);
    EXPECT_EQ(sizeof(ChangeServerAddressData), 40U);
    EXPECT_EQ(sizeof(ChangeConfigParamData), 32U);
    EXPECT_EQ(sizeof(StatusLogEventData), 56U);
    EXPECT_EQ(sizeof(DebugItem), 24U);
    EXPECT_EQ(sizeof(DebugEventData), 40U);
    EXPECT_EQ(sizeof(AuthEventData), 56U);
    EXPECT_EQ(sizeof(ConnectionEventData), 16U);
    EXPECT_EQ(sizeof(SearchEventData), 72U);
    EXPECT_EQ(sizeof(SearchEntryResponseEventData), 48U);
    EXPECT_EQ(sizeof(UpdateEventData), 64U);
    EXPECT_EQ(sizeof(CompareEventData), 64U);
    EXPECT_EQ(sizeof(ModDNEventData), 64U);
    EXPECT_EQ(sizeof(AbandonEventData), 40U);
    EXPECT_EQ(sizeof(ExtOpEventData), 48U);
    EXPECT_EQ(sizeof(SysExtOpEventData), 80U);
    EXPECT_EQ(sizeof(ResponseEventData), 40U);
    EXPECT_EQ(sizeof(PasswordModifyData), 40U);
    EXPECT_EQ(sizeof(UnknownOpData), 16U);
}

} // namespace
