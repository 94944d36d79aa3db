// Faults of whole messages and of the connection.
#include "hostile/damage.h"

#include "support/ldap_message.h"

#include <utility>

namespace hostile {

namespace {

using namespace qldapx_test;

struct Place {
    Sent &sent;
    int id;
    const std::vector<Bytes> &others;
    Random &random;

    [[nodiscard]] Bytes &any() const { return random.pick(sent.messages); }
    void insert(const Bytes &message) const {
        auto &all = sent.messages;
        all.insert(all.begin() + static_cast<std::ptrdiff_t>(random.below(all.size() + 1)),
                   message);
    }
};

// Where the message's own id stands.
void changeId(const Place &place) {
    const int ids[] = {0, -1, place.id + 1, place.id - 1, 0x7fffffff, 1};
    auto message = parseElements(place.any());
    if (!message || message->empty() || message->front().elements.size() < 2)
        return;
    message->front().elements[0] = parseElements(integer(place.random.pick(ids)))->front();
    place.any() = encode(*message);
}

void drop(const Place &place) {
    auto &all = place.sent.messages;
    all.erase(all.begin() + static_cast<std::ptrdiff_t>(place.random.below(all.size())));
}

void doubled(const Place &place) {
    place.insert(Bytes(place.any()));
}

void reorder(const Place &place) {
    std::swap(place.any(), place.any());
}

void answerOther(const Place &place) {
    place.any() = ldapMessage(place.id, place.random.pick(place.others));
}

void insertOther(const Place &place) {
    place.insert(ldapMessage(place.id, place.random.pick(place.others)));
}

// Notice of disconnection (RFC 4511, 4.4.1), and one that nobody knows.
void insertNotice(const Place &place) {
    constexpr const char *names[] = {"1.3.6.1.4.1.1466.20036", "1.2.3", ""};
    const int code = place.random.percent(50) ? 52 : 0;
    place.insert(ldapMessage(0, extendedResponse(code, place.random.pick(names), std::nullopt)));
}

void insertIntermediate(const Place &place) {
    const Bytes name = place.random.percent(70) ? tlv(0x80, "1.2.3") : Bytes();
    place.insert(ldapMessage(place.id, tlv(0x79, name + tlv(0x81, "value"))));
}

void insertReference(const Place &place) {
    place.insert(ldapMessage(place.id, tlv(0x73, octetString("ldap://other.example/o=y"))));
}

void refer(const Place &place) {
    auto message = parseElements(place.any());
    if (!message || message->empty() || message->front().elements.size() < 2)
        return;
    Node &operation = message->front().elements[1];
    if (operation.elements.size() < 3)
        return;
    operation.elements[0].content = "\x0a";
    operation.elements.insert(
        operation.elements.begin() + 3,
        parseElements(tlv(0xa3, octetString("ldap://other.example/o=y")))->front());
    place.any() = encode(*message);
}

void insertText(const Place &place) {
    const Bytes texts[] = {"HTTP/1.1 400 Bad Request\r\n\r\n",
                           fromHex("15 03 03 00 02 02 28"),
                           fromHex("30 84 7f ff ff ff"),
                           fromHex("30 80 02 01 01"),
                           fromHex("30 00"),
                           fromHex("30 03 02 01 01"),
                           Bytes(40, '\0'),
                           Bytes(40, '\xff')};
    place.insert(place.random.pick(texts));
}

// In the middle of a message, too.
void cutOff(const Place &place) {
    auto &all = place.sent.messages;
    all.resize(1 + place.random.below(all.size()));
    all.back().resize(place.random.below(all.back().size() + 1));
    place.sent.ends = true;
}

void saySuccess(const Place &place) {
    place.insert(ldapMessage(place.id, extendedResponse(0, std::nullopt, std::nullopt)));
}

constexpr void (*troubles[])(const Place &) = {
    changeId,        drop,        doubled,      reorder,
    answerOther,     insertOther, insertNotice, insertIntermediate,
    insertReference, refer,       insertText,   cutOff,
    saySuccess,      answerOther, refer};

// LDAP results (RFC 4511, appendix A), and none of them.
constexpr unsigned char codes[] = {1, 2, 3, 4, 8, 16, 32, 49, 50, 51, 53, 68, 80, 118, 127, 0x80};

void refuse(Bytes &message, Random &random) {
    auto parsed = parseElements(message);
    if (!parsed || parsed->empty() || parsed->front().elements.size() < 2)
        return;
    Node &operation = parsed->front().elements[1];
    if (operation.elements.empty() || operation.elements[0].tag != 0x0a)
        return;
    operation.elements[0].content = Bytes(1, static_cast<char>(random.pick(codes)));
    message = encode(*parsed);
}

void damageOne(Bytes &message, Random &random) {
    auto parsed = parseElements(message);
    if (!parsed || parsed->empty() || random.percent(12))
        return damageBytes(message, random);
    do
        damageElement(parsed->front(), random);
    while (random.percent(25));
    message = encode(*parsed);
}

} // namespace

void disturb(Sent &sent, int id, const std::vector<Bytes> &others, Random &random) {
    if (!sent.messages.empty())
        random.pick(troubles)({sent, id, others, random});
}

void damage(Sent &sent, int id, const std::vector<Bytes> &others, Random &random) {
    do {
        const std::size_t choice = random.below(100);
        if (sent.messages.empty() || choice < 15)
            disturb(sent, id, others, random);
        else if (choice < 20)
            refuse(random.pick(sent.messages), random);
        else
            damageOne(random.pick(sent.messages), random);
    } while (random.percent(10));
}

} // namespace hostile
