#include "events/debug_items.h"

#include "events/primitives.h"

namespace qldapx::events {

namespace {

struct Triple {
    std::int32_t numbers[3];
};

// The shortest item: 82 00. The shortest triple: 30 06 02 00 02 00 02 00.
constexpr ber_len_t shortestItem = 2;
constexpr ber_len_t shortestTriple = 8;

int readNumber(BerElement *ber, DebugItem *item) {
    return readInteger(ber, &item->number, nextTag(ber));
}

// The tag has been seen: it is an item's.
int copyNext(BerElement *ber, char **copy, ber_len_t *length) {
    berval bytes;
    ber_skip_element(ber, &bytes);
    *length = bytes.bv_len;
    return copyBytes(bytes, copy);
}

int readText(BerElement *ber, DebugItem *item) {
    ber_len_t length = 0;
    return copyNext(ber, &item->text, &length);
}

int readCountedBytes(BerElement *ber, DebugItem *item) {
    ber_len_t length = 0;
    char *bytes = nullptr;
    int result = copyNext(ber, &bytes, &length);
    item->number = static_cast<std::int32_t>(length);
    item->pointer = bytes;
    return result;
}

int readNumberedBytes(BerElement *ber, DebugItem *item) {
    ber_len_t length = 0;
    if (enter(ber, 0x85) != LDAP_SUCCESS || readInteger(ber, &item->number) != LDAP_SUCCESS ||
        ber_peek_tag(ber, &length) != LBER_OCTETSTRING)
        return LDAP_DECODING_ERROR;
    if (length == 0)
        return LDAP_SUCCESS; // and leaves the empty string unread: kept
    char *bytes = nullptr;
    int result = copyNext(ber, &bytes, &length);
    item->length = static_cast<std::int32_t>(length);
    item->pointer = bytes;
    return result;
}

int readTriple(BerElement *ber, ber_tag_t tag, Triple *triple) {
    int result = enter(ber, tag);
    for (std::int32_t &number : triple->numbers)
        if (result == LDAP_SUCCESS)
            result = readInteger(ber, &number);
    return result;
}

int readThreeNumbers(BerElement *ber, DebugItem *item) {
    Triple triple{};
    int result = readTriple(ber, 0x86, &triple);
    item->number = triple.numbers[0];
    item->length = triple.numbers[1];
    item->third = triple.numbers[2];
    return result;
}

int readTriples(BerElement *ber, DebugItem *item) {
    std::int32_t count = 0;
    if (enter(ber, 0x87) != LDAP_SUCCESS || readInteger(ber, &count) != LDAP_SUCCESS ||
        enter(ber) != LDAP_SUCCESS)
        return LDAP_DECODING_ERROR;
    item->number = count;
    if (count < 1)
        return LDAP_SUCCESS;
    auto wanted = static_cast<std::size_t>(count);
    if (wanted > bytesLeft(ber) / shortestTriple)
        return LDAP_DECODING_ERROR;
    auto *triples = static_cast<Triple *>(std::malloc(wanted * sizeof(Triple)));
    if (triples == nullptr)
        return LDAP_NO_MEMORY;
    item->pointer = triples;
    int result = LDAP_SUCCESS;
    for (std::size_t i = 0; result == LDAP_SUCCESS && i < wanted; ++i)
        result = readTriple(ber, LBER_SEQUENCE, &triples[i]);
    return result;
}

// What an item's kind makes of it. The kind is the number of the element's context tag.
struct ItemKind {
    int (*read)(BerElement *ber, DebugItem *item);
    // What the item owns: a block, NULL if none.
    void *(*owned)(const DebugItem &item);
};

void *nothing(const DebugItem & /*item*/) {
    return nullptr;
}

void *ownedText(const DebugItem &item) {
    return item.text;
}

void *ownedBlock(const DebugItem &item) {
    return item.pointer;
}

constexpr ItemKind itemKinds[] = {
    {readNumber, nothing},     {readText, ownedText},           {readCountedBytes, ownedBlock},
    {readNumber, nothing},     {readNumberedBytes, ownedBlock}, {readThreeNumbers, nothing},
    {readTriples, ownedBlock},
};

// Of an item that has one: a list only ever holds such, but for a last one that failed at once.
const ItemKind &itemKind(std::int32_t kind) {
    return itemKinds[kind - 1];
}

int readItem(BerElement *ber, DebugItem *item) {
    *item = {};
    ber_tag_t tag = nextTag(ber);
    if (tag < 0x81 || tag > 0x87)
        return LDAP_DECODING_ERROR;
    item->kind = static_cast<std::int32_t>(tag - 0x80);
    return itemKind(item->kind).read(ber, item);
}

int readNoItems(BerElement *ber) {
    ber_len_t length = 0;
    if (ber_peek_tag(ber, &length) == LBER_SEQUENCE && length == 0)
        ber_skip_tag(ber, &length);
    return LDAP_SUCCESS;
}

} // namespace

int readDebugItems(BerElement *ber, char *record, const Field &field) {
    auto &count = at<std::int32_t>(record, field.count);
    if (count < 1)
        return readNoItems(ber);
    auto wanted = count;
    count = 0; // so many of the list are there to be released
    if (enter(ber) != LDAP_SUCCESS ||
        static_cast<ber_len_t>(wanted) > bytesLeft(ber) / shortestItem)
        return LDAP_DECODING_ERROR;
    auto *items =
        static_cast<DebugItem *>(std::malloc(static_cast<std::size_t>(wanted) * sizeof(DebugItem)));
    if (items == nullptr)
        return LDAP_NO_MEMORY;
    at<DebugItem *>(record, field.offset) = items;
    int result = LDAP_SUCCESS;
    while (result == LDAP_SUCCESS && count < wanted)
        result = readItem(ber, &items[count++]);
    return result;
}

void releaseDebugItems(char *record, const Field &field) {
    auto *items = at<DebugItem *>(record, field.offset);
    for (std::int32_t i = 0; i < at<std::int32_t>(record, field.count) && items != nullptr; ++i)
        if (items[i].kind != 0)
            std::free(itemKind(items[i].kind).owned(items[i]));
    std::free(items);
}

} // namespace qldapx::events
