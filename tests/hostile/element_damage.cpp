// Faults of single elements, of lists of them, and of bytes.
#include "hostile/damage.h"

namespace hostile {

namespace {

using namespace qldapx_test;

constexpr unsigned char tags[] = {0x00, 0x01, 0x02, 0x04, 0x05, 0x0a, 0x0c, 0x24, 0x30, 0x31,
                                  0x61, 0x63, 0x64, 0x65, 0x73, 0x78, 0x79, 0x7d, 0x7f, 0x80,
                                  0x81, 0x82, 0x85, 0x86, 0x87, 0x8a, 0x8b, 0xa0, 0xa3, 0xff};

void changeTag(Node &node, Random &random) {
    node.tag = random.percent(60) ? random.pick(tags)
                                  : static_cast<unsigned char>(node.tag ^ 1U << random.below(8));
}

// Indefinite, huge, negative, of more bytes than there are, reserved.
const Bytes lengths[] = {fromHex("80"),
                         fromHex("81"),
                         fromHex("81 00"),
                         fromHex("82 ff ff"),
                         fromHex("84 7f ff ff ff"),
                         fromHex("84 80 00 00 00"),
                         fromHex("84 ff ff ff ff"),
                         fromHex("85 01 00 00 00 00"),
                         fromHex("ff"),
                         fromHex("88 ff ff ff ff ff ff ff ff"),
                         fromHex("88 7f ff ff ff ff ff ff ff"),
                         fromHex("89 00 00 00 00 00 00 00 00 01")};

// In the fewest bytes, or in so many behind the first.
Bytes lengthOf(std::size_t length, unsigned count = 0) {
    const Bytes content(length, 'x');
    const Bytes element = count == 0 ? tlv(0, content) : longTlv(0, content, count);
    return element.substr(1, element.size() - 1 - length);
}

// Now and then the right one, in more bytes than it needs.
void changeLength(Node &node, Random &random) {
    flatten(node);
    const std::size_t right = node.content.size();
    switch (random.below(4)) {
    case 0:
        node.length = lengthOf(right, 1 + static_cast<unsigned>(random.below(8)));
        return;
    case 1:
        node.length = lengthOf(right + 1 + random.upTo(20));
        return;
    case 2:
        node.length = lengthOf(random.upTo(right));
        return;
    default:
        node.length = random.pick(lengths);
    }
}

void flipBits(Bytes &bytes, Random &random) {
    if (bytes.empty())
        return;
    for (std::size_t left = 1 + random.upTo(3); left > 0; --left) {
        char &byte = random.pick(bytes);
        byte = static_cast<char>(byte ^ 1 << random.below(8));
    }
}

void changeBytes(Bytes &bytes, Random &random) {
    if (bytes.empty())
        return;
    constexpr char likely[] = {'\0', '\xff', '\x80', '\x7f', ' ', '(', '"', '\\', '$', ','};
    for (std::size_t left = 1 + random.upTo(3); left > 0; --left)
        random.pick(bytes) = random.percent(50) ? random.pick(likely) : random.byte();
}

void cut(Bytes &bytes, Random &random) {
    bytes.resize(random.below(bytes.size() + 1));
}

void takeOut(Bytes &bytes, Random &random) {
    const std::size_t start = random.below(bytes.size() + 1);
    bytes.erase(start, random.upTo(bytes.size() - start));
}

void putIn(Bytes &bytes, Random &random) {
    constexpr const char *texts[] = {
        "\"",           ",",     "=",   "\\",  "$",  "( ", " )", "'", "realm=a,",
        "X-A ( 'b' ) ", "NAME ", "{1}", "1.2", "30", "+",  ";"};
    const Bytes some =
        random.percent(50) ? Bytes(random.pick(texts)) : Bytes(1 + random.upTo(20), random.byte());
    bytes.insert(random.below(bytes.size() + 1), some);
}

void repeatPiece(Bytes &bytes, Random &random) {
    const std::size_t start = random.below(bytes.size() + 1);
    const Bytes piece = bytes.substr(start, 1 + random.upTo(40));
    const std::size_t times = random.percent(90) ? random.upTo(8) : random.upTo(200);
    for (std::size_t i = 0; i < times; ++i)
        bytes.insert(start, piece);
}

constexpr void (*byteFaults[])(Bytes &, Random &) = {flipBits, changeBytes, cut,
                                                     takeOut,  putIn,       repeatPiece};

// The element's length is that of the new bytes.
void changeContent(Node &node, Random &random) {
    flatten(node);
    random.pick(byteFaults)(node.content, random);
}

const Bytes numbers[] = {fromHex("00"),
                         fromHex("01"),
                         fromHex("02"),
                         fromHex("ff"),
                         fromHex("7f"),
                         fromHex("80"),
                         fromHex("00 ff"),
                         fromHex("7f ff"),
                         fromHex("00 ff ff"),
                         fromHex("10 00 00"),
                         fromHex("7f ff ff ff"),
                         fromHex("80 00 00 00"),
                         fromHex("40 00 00 00"),
                         fromHex("20 00 00 00"),
                         fromHex("00 00 00 02"),
                         fromHex("00 80 00 00 00"),
                         fromHex("01 00 00 00 00"),
                         Bytes()};

void changeNumber(Node &node, Random &random) {
    node.elements.clear();
    node.content =
        random.percent(70) ? random.pick(numbers) : Bytes(1, static_cast<char>(random.below(120)));
}

void makeLong(Node &node, Random &random) {
    constexpr std::size_t sizes[] = {127, 128, 256, 769, 770, 771, 772, 1500, 4095, 4096, 9000};
    node.elements.clear();
    node.content = Bytes(random.pick(sizes), random.percent(80) ? 'a' : random.byte());
}

void empty(Node &node, Random & /*random*/) {
    node.elements.clear();
    node.content.clear();
}

void nest(Node &node, Random &random) {
    Bytes nested = encode(node);
    const std::size_t depth = 1 + (random.percent(80) ? random.upTo(6) : random.upTo(600));
    const unsigned char tag = random.percent(70) ? 0x30 : random.pick(tags);
    for (std::size_t i = 0; i < depth; ++i)
        nested = tlv(tag, nested);
    node.whole = nested;
}

void replaceByAny(Node &node, Random &random) {
    Bytes any(random.upTo(40), '\0');
    for (char &byte : any)
        byte = random.byte();
    node.whole = any;
}

constexpr void (*elementFaults[])(Node &, Random &) = {
    changeTag, changeLength, changeContent, changeContent, changeContent, changeNumber,
    makeLong,  empty,        nest,          replaceByAny,  changeTag,     changeLength};

void takeAway(std::vector<Node> &list, Random &random) {
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(random.below(list.size())));
}

void repeat(std::vector<Node> &list, Random &random) {
    const auto place = static_cast<std::ptrdiff_t>(random.below(list.size()));
    const Node copy = list[static_cast<std::size_t>(place)];
    list.insert(list.begin() + place, 1 + random.upTo(random.percent(90) ? 4 : 100), copy);
}

void exchange(std::vector<Node> &list, Random &random) {
    std::swap(random.pick(list), random.pick(list));
}

void replaceByOther(std::vector<Node> &list, Random &random) {
    const Node other = random.pick(list);
    random.pick(list) = other;
}

constexpr void (*listFaults[])(std::vector<Node> &, Random &) = {takeAway, repeat, exchange,
                                                                 replaceByOther};

void collect(Node &node, std::vector<Node *> &all) {
    all.push_back(&node);
    for (Node &element : node.elements)
        collect(element, all);
}

} // namespace

void damageElement(Node &message, Random &random) {
    std::vector<Node *> all;
    collect(message, all);
    Node &node = *all[all.size() > 1 && random.percent(97) ? 1 + random.below(all.size() - 1) : 0];
    if (!node.elements.empty() && random.percent(60))
        random.pick(listFaults)(node.elements, random);
    else
        random.pick(elementFaults)(node, random);
}

void damageBytes(Bytes &message, Random &random) {
    random.pick(byteFaults)(message, random);
}

} // namespace hostile
