#include "events_by_hand.h"

#include <cstdint>
#include <cstdlib>
#include <qldapx.h>

namespace {

// Every reader: true when it has read.
bool string(BerElement *ber, char **out, ber_tag_t tag = LBER_OCTETSTRING) {
    ber_len_t length = 0;
    if (ber_peek_tag(ber, &length) != tag)
        return false;
    if (length == 0) {
        *out = nullptr;
        ber_skip_tag(ber, &length);
        return true;
    }
    *out = static_cast<char *>(std::malloc(length + 1));
    if (*out == nullptr)
        return false;
    ++length;
    return ber_scanf(ber, "s", *out, &length) != LBER_ERROR;
}

bool connection(BerElement *ber, ConnectionInfo **out) {
    if (ber_scanf(ber, "{") == LBER_ERROR)
        return true;
    *out = static_cast<ConnectionInfo *>(std::calloc(1, sizeof(ConnectionInfo)));
    return *out != nullptr &&
           ber_scanf(ber, "ii", &(*out)->number1, &(*out)->number2) != LBER_ERROR &&
           string(ber, &(*out)->text) && ber_scanf(ber, "}") != LBER_ERROR;
}

bool sequence(BerElement *ber, char ***out) {
    ber_len_t length = 0;
    char *last = nullptr;
    *out = static_cast<char **>(std::calloc(1, sizeof(char *)));
    if (*out == nullptr)
        return false;
    std::size_t count = 0;
    for (ber_tag_t tag = ber_first_element(ber, &length, &last); tag != LBER_DEFAULT;
         tag = ber_next_element(ber, &length, last)) {
        auto *grown = static_cast<char **>(std::realloc(*out, (count + 2) * sizeof(char *)));
        if (grown == nullptr)
            return false;
        *out = grown;
        if (ber_scanf(ber, "{a", &grown[count]) == LBER_ERROR)
            return false;
        grown[++count] = nullptr;
    }
    return true;
}

bool sequenceIf(BerElement *ber, ber_tag_t tag, char ***out) {
    ber_len_t length = 0;
    return ber_peek_tag(ber, &length) != tag || sequence(ber, out);
}

bool referrals(BerElement *ber, std::int32_t *count, ReferralEntry **list) {
    if (ber_scanf(ber, "{") == LBER_ERROR)
        return true;
    if (ber_scanf(ber, "i{", count) == LBER_ERROR)
        return false;
    *list = static_cast<ReferralEntry *>(
        std::calloc(static_cast<std::size_t>(*count), sizeof(ReferralEntry)));
    for (int i = 0; *list != nullptr && i < *count; ++i)
        if (ber_scanf(ber, "{i", &(*list)[i].type) == LBER_ERROR || !string(ber, &(*list)[i].value))
            return false;
    return *list != nullptr;
}

void release(char **list) {
    for (char **string = list; list != nullptr && *string != nullptr; ++string)
        std::free(*string);
    std::free(list);
}
void release(ConnectionInfo *info) {
    std::free(info->text);
    std::free(info);
}
void release(char *string) {
    std::free(string);
}
template <class... Fields>
void releaseAll(Fields... fields) {
    (release(fields), ...);
}

#define I(...) (ber_scanf(ber, __VA_ARGS__) != LBER_ERROR)
#define S(member) string(ber, &r->member)

bool read(BerElement *ber, EntryEventData *r) {
    ber_len_t length = 0;
    if (!(S(string1) && S(string2) && S(string3) &&
          I("{iii}ii", &r->number1, &r->number2, &r->number3, &r->number4, &r->number5)))
        return false;
    if (ber_peek_tag(ber, &length) != LBER_OCTETSTRING || length == 0)
        return ber_skip_tag(ber, &length) != LBER_ERROR;
    r->value = static_cast<char *>(std::malloc(++length));
    return r->value != nullptr && I("s", r->value, &length);
}
void release(EntryEventData *r) {
    releaseAll(r->string1, r->string2, r->string3, r->value);
}

bool read(BerElement *ber, ValueEventData *r) {
    ber_len_t length = 0;
    if (!(S(string1) && S(string2) && S(string3) && S(string4) && S(string5) &&
          I("{iii}", &r->number1, &r->number2, &r->number3)))
        return false;
    if (ber_peek_tag(ber, &length) == LBER_OCTETSTRING && length != 0) {
        r->value = static_cast<char *>(std::malloc(++length));
        if (r->value == nullptr || !I("s", r->value, &length))
            return false;
        r->valueLength = static_cast<std::uint32_t>(length);
    }
    return ber_peek_tag(ber, &length) != LBER_INTEGER || I("i", &r->number0);
}
void release(ValueEventData *r) {
    releaseAll(r->string1, r->string2, r->string3, r->string4, r->string5, r->value);
}

bool read(BerElement *ber, GeneralEventData *r) {
    ber_len_t length = 0;
    if (!(I("iiii", &r->number1, &r->number2, &r->number3, &r->number4) &&
          string(ber, &r->string1, 0x85)))
        return false;
    if (ber_peek_tag(ber, &length) == 0x86) {
        ber_skip_tag(ber, &length);
        for (int i = 0; ber_peek_tag(ber, &length) == LBER_INTEGER; ++i)
            if (i == 4 || !I("i", &r->numbers[i]))
                return false;
    }
    if (ber_peek_tag(ber, &length) == 0xA7) {
        ber_skip_tag(ber, &length);
        for (int i = 0; ber_peek_tag(ber, &length) == LBER_OCTETSTRING; ++i)
            if (i == 3 || !S(strings[i]))
                return false;
    }
    return true;
}
void release(GeneralEventData *r) {
    releaseAll(r->string1, r->strings[0], r->strings[1], r->strings[2], r->strings[3]);
}

bool read(BerElement *ber, BinderyEventData *r) {
    return S(string1) && I("iii", &r->number1, &r->number2, &r->number3) && S(string2);
}
void release(BinderyEventData *r) {
    releaseAll(r->string1, r->string2);
}

bool read(BerElement *ber, SEVEventData *r) {
    return S(string1) && I("i", &r->number1) && S(string2) &&
           referrals(ber, &r->referralCount, &r->referrals);
}
void release(SEVEventData *r) {
    releaseAll(r->string1, r->string2);
    for (int i = 1; i < r->referralCount; ++i)
        std::free(r->referrals[i].value);
    std::free(r->referrals);
}

bool read(BerElement *ber, ModuleStateEventData *r) {
    ber_len_t length = 0;
    if (!(S(string1) && I("i", &r->number1)) || ber_peek_tag(ber, &length) != LBER_OCTETSTRING ||
        length == 0 || length > 31)
        return false;
    length = sizeof r->name;
    if (!I("s", r->name, &length) || ber_peek_tag(ber, &length) != LBER_OCTETSTRING || length > 127)
        return false;
    length = sizeof r->text;
    return I("s", r->text, &length) && S(string4);
}
void release(ModuleStateEventData *r) {
    releaseAll(r->string1, r->string4);
}

bool read(BerElement *ber, ConnectionStateData *r) {
    return S(string1) && I("ii", &r->number1, &r->number2) && S(string2);
}
void release(ConnectionStateData *r) {
    releaseAll(r->string1, r->string2);
}

bool read(BerElement *ber, ChangeServerAddressData *r) {
    ber_len_t length = 0;
    if (!I("iii", &r->number1, &r->number2, &r->number3) ||
        ber_peek_tag(ber, &length) != LBER_OCTETSTRING)
        return false;
    r->address = static_cast<char *>(std::malloc(++length));
    if (r->address == nullptr || !I("s", r->address, &length))
        return false;
    r->addressLength = static_cast<std::uint32_t>(length);
    return S(string1) && S(string2);
}
void release(ChangeServerAddressData *r) {
    releaseAll(r->address, r->string1, r->string2);
}

bool read(BerElement *ber, ChangeConfigParamData *r) {
    ber_len_t length = 0;
    if (!(I("i", &r->paramType) && S(paramName)))
        return false;
    switch (ber_peek_tag(ber, &length)) {
    case 0x81:
        return r->paramType == 5 && I("i", &r->intValue);
    case 0x82:
        return r->paramType == 2 && I("i", &r->intValue);
    case 0x83:
        return r->paramType == 1 && string(ber, &r->stringValue, 0x83);
    case 0x84:
        return r->paramType == 3 && string(ber, &r->textValue, 0x84);
    case 0x85:
        return r->paramType == 0;
    default:
        return false;
    }
}
void release(ChangeConfigParamData *r) {
    releaseAll(r->paramName);
    if (r->paramType == 1)
        release(r->stringValue);
    if (r->paramType == 3)
        release(r->textValue);
}

bool read(BerElement *ber, StatusLogEventData *r) {
    return I("i", &r->number1) && S(string1) && S(string2) && S(string3) && S(string4) &&
           S(string5) && S(string6);
}
void release(StatusLogEventData *r) {
    releaseAll(r->string1, r->string2, r->string3, r->string4, r->string5, r->string6);
}

bool bytes(BerElement *ber, ber_len_t length, void **out) {
    *out = std::malloc(++length);
    return *out != nullptr && I("s", *out, &length);
}

bool triples(BerElement *ber, DebugItem *item) {
    if (!I("{i{", &item->number))
        return false;
    auto *numbers = static_cast<std::int32_t *>(
        std::malloc(static_cast<std::size_t>(item->number) * 3 * sizeof(std::int32_t)));
    item->pointer = numbers;
    for (int i = 0; numbers != nullptr && i < item->number; ++i, numbers += 3)
        if (!I("{iii}", &numbers[0], &numbers[1], &numbers[2]))
            return false;
    return item->pointer != nullptr && I("}");
}

bool item(BerElement *ber, DebugItem *item) {
    ber_len_t length = 0;
    ber_tag_t tag = ber_peek_tag(ber, &length);
    void *text = nullptr;
    *item = {};
    item->kind = static_cast<std::int32_t>(tag - 0x80);
    switch (tag) {
    case 0x81:
    case 0x84:
        return I("i", &item->number);
    case 0x82:
        if (!bytes(ber, length, &text))
            return false;
        item->text = static_cast<char *>(text);
        return true;
    case 0x83:
        item->number = static_cast<std::int32_t>(length);
        return bytes(ber, length, &item->pointer);
    case 0x85:
        if (!I("{i", &item->number) || ber_peek_tag(ber, &length) != LBER_OCTETSTRING)
            return false;
        item->length = static_cast<std::int32_t>(length);
        return bytes(ber, length, &item->pointer) && I("}");
    case 0x86:
        return I("{iii}", &item->number, &item->length, &item->third);
    case 0x87:
        return triples(ber, item);
    default:
        return false;
    }
}

bool read(BerElement *ber, DebugEventData *r) {
    if (!(I("ii", &r->number1, &r->number2) && S(string1) && S(string2) &&
          I("ii", &r->number3, &r->itemCount) && I("{")))
        return false;
    r->items = static_cast<DebugItem *>(
        std::malloc(static_cast<std::size_t>(r->itemCount) * sizeof(DebugItem)));
    for (int i = 0; r->items != nullptr && i < r->itemCount; ++i)
        if (!item(ber, &r->items[i]))
            return false;
    return I("}");
}
void release(DebugEventData *r) {
    releaseAll(r->string1, r->string2);
    for (int i = 0; i < r->itemCount; ++i) {
        const DebugItem &item = r->items[i];
        if (item.kind == 2)
            std::free(item.text);
        else if (item.kind == 3 || item.kind == 5 || item.kind == 7)
            std::free(item.pointer);
    }
    std::free(r->items);
}

#define C connection(ber, &r->connection)
#define Q(member, tag) sequenceIf(ber, tag, &r->member)

bool read(BerElement *ber, AuthEventData *r) {
    return C && I("ii", &r->number1, &r->number2) && S(string1) && I("i", &r->number3) &&
           S(string2) && I("i", &r->number4) && Q(sequence1, 0x80);
}
void release(AuthEventData *r) {
    releaseAll(r->connection, r->string1, r->string2, r->sequence1);
}

bool read(BerElement *ber, ConnectionEventData *r) {
    return I("ii", &r->number1, &r->number2) && S(string1);
}
void release(ConnectionEventData *r) {
    releaseAll(r->string1);
}

bool read(BerElement *ber, SearchEventData *r) {
    return C && I("ii", &r->number1, &r->number2) && S(string1) && S(string2) &&
           I("i", &r->number3) && S(string3) && I("i", &r->number4) &&
           sequence(ber, &r->sequence1) && Q(sequence2, 0x80);
}
void release(SearchEventData *r) {
    releaseAll(r->connection, r->string1, r->string2, r->string3, r->sequence1, r->sequence2);
}

bool read(BerElement *ber, SearchEntryResponseEventData *r) {
    return C && I("ii", &r->number1, &r->number2) && S(string1) && S(string2) &&
           I("i", &r->number3) && sequence(ber, &r->sequence1);
}
void release(SearchEntryResponseEventData *r) {
    releaseAll(r->connection, r->string1, r->string2, r->sequence1);
}

bool read(BerElement *ber, UpdateEventData *r) {
    return C && I("iii", &r->number1, &r->number2, &r->number3) && S(string1) && S(string2) &&
           S(string3) && I("i", &r->number4) && Q(sequence1, 0x80);
}
void release(UpdateEventData *r) {
    releaseAll(r->connection, r->string1, r->string2, r->string3, r->sequence1);
}

bool read(BerElement *ber, CompareEventData *r) {
    return C && I("ii", &r->number1, &r->number2) && S(string1) && S(string2) && S(string3) &&
           S(string4) && S(string5) && I("i", &r->number3);
}
void release(CompareEventData *r) {
    releaseAll(r->connection, r->string1, r->string2, r->string3, r->string4, r->string5);
}

bool read(BerElement *ber, ModDNEventData *r) {
    return C && I("ii", &r->number1, &r->number2) && S(string1) && S(string2) && S(string3) &&
           S(string4) && I("i", &r->number3) && Q(sequence1, 0x80);
}
void release(ModDNEventData *r) {
    releaseAll(r->connection, r->string1, r->string2, r->string3, r->string4, r->sequence1);
}

bool read(BerElement *ber, AbandonEventData *r) {
    return C && I("iii", &r->number1, &r->number2, &r->number3) && S(string1) &&
           I("i", &r->number4);
}
void release(AbandonEventData *r) {
    releaseAll(r->connection, r->string1);
}

bool read(BerElement *ber, ExtOpEventData *r) {
    return C && I("iii", &r->number1, &r->number2, &r->number3) && S(string1) && S(string2) &&
           I("i", &r->number4);
}
void release(ExtOpEventData *r) {
    releaseAll(r->connection, r->string1, r->string2);
}

bool read(BerElement *ber, SysExtOpEventData *r) {
    return C && I("iii", &r->number1, &r->number2, &r->number3) && S(string1) && S(string2) &&
           S(string3) && S(string4) && S(string5) && S(string6) && I("i", &r->number4);
}
void release(SysExtOpEventData *r) {
    releaseAll(r->connection, r->string1, r->string2, r->string3, r->string4, r->string5,
               r->string6);
}

bool read(BerElement *ber, ResponseEventData *r) {
    return C && I("iiii", &r->number1, &r->number2, &r->number3, &r->number4) && S(string1) &&
           Q(sequence1, 0x81);
}
void release(ResponseEventData *r) {
    releaseAll(r->connection, r->string1, r->sequence1);
}

bool read(BerElement *ber, PasswordModifyData *r) {
    return C && I("ii", &r->number1, &r->number2) && S(string1) && S(string2) &&
           I("i", &r->number3) && I("i", &r->number4);
}
void release(PasswordModifyData *r) {
    releaseAll(r->connection, r->string1, r->string2);
}

bool read(BerElement *ber, UnknownOpData *r) {
    return I("i", &r->number1) && S(string1);
}
void release(UnknownOpData *r) {
    releaseAll(r->string1);
}

#undef Q
#undef C
#undef S

int store(LDAP *ld, int result) {
    ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &result);
    return result;
}

template <class Record>
int decode(LDAP *ld, BerElement *ber) {
    auto *record = static_cast<Record *>(std::calloc(1, sizeof(Record)));
    ber_len_t length = 0;
    bool isRead = record != nullptr && read(ber, record);
    // The address that may follow.
    if (isRead && ber_peek_tag(ber, &length) == LBER_INTEGER)
        isRead = false;
    if (record != nullptr)
        release(record);
    std::free(record);
    return store(ld, isRead ? LDAP_SUCCESS : LDAP_DECODING_ERROR);
}

int decodeAddress(LDAP *ld, BerElement *ber) {
    int type = 0;
    ber_len_t length = 0;
    if (!I("i", &type) || ber_peek_tag(ber, &length) != LBER_OCTETSTRING)
        return store(ld, LDAP_DECODING_ERROR);
    auto *record = static_cast<NetAddrEventData *>(std::malloc(8 + length + 1));
    if (record == nullptr)
        return store(ld, LDAP_NO_MEMORY);
    record->addressType = type;
    ++length;
    bool isRead = I("s", record->value, &length);
    record->length = static_cast<std::uint32_t>(length);
    std::free(record);
    int result = store(ld, isRead ? LDAP_SUCCESS : LDAP_DECODING_ERROR);
    // Another address may follow, which has a session result code of its own.
    if (ber_peek_tag(ber, &length) != LBER_INTEGER)
        ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &result);
    return result;
}

#undef I

struct Decoder {
    unsigned kind;
    int (*decode)(LDAP *ld, BerElement *ber);
};

constexpr Decoder decoders[] = {
    {97, decode<EntryEventData>},
    {98, decode<ValueEventData>},
    {99, decode<GeneralEventData>},
    {101, decode<BinderyEventData>},
    {102, decode<SEVEventData>},
    {103, decode<ModuleStateEventData>},
    {104, decodeAddress},
    {105, decode<ConnectionStateData>},
    {108, decode<ChangeServerAddressData>},
    {109, decode<ChangeConfigParamData>},
    {111, decode<StatusLogEventData>},
    {112, decode<DebugEventData>},
    {113, decode<AuthEventData>},
    {114, decode<ConnectionEventData>},
    {115, decode<SearchEventData>},
    {116, decode<SearchEntryResponseEventData>},
    {117, decode<UpdateEventData>},
    {118, decode<CompareEventData>},
    {119, decode<ModDNEventData>},
    {120, decode<AbandonEventData>},
    {121, decode<ExtOpEventData>},
    {122, decode<SysExtOpEventData>},
    {123, decode<ResponseEventData>},
    {124, decode<PasswordModifyData>},
    {125, decode<UnknownOpData>},
};

} // namespace

namespace bench {

int decodeByHand(unsigned kind, LDAP *ld, BerElement *ber) {
    for (const Decoder &decoder : decoders)
        if (decoder.kind == kind)
            return decoder.decode(ld, ber);
    return LDAP_OTHER;
}

} // namespace bench
