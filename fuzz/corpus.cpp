// The seeds: the samples of all payloads, and what is wrong in a way that chance finds late.
#include "corpus.h"

#include "support/event_samples.h"
#include "support/ldap_message.h"
#include "targets.h"

namespace qldapx_fuzz {

namespace {

using namespace qldapx_test;

constexpr char responseOid[] = "2.16.840.1.907341.1.27.100.80";
constexpr char notificationOid[] = "2.16.840.1.907341.1.27.100.81";
constexpr int twoToThe30 = 1 << 30;

Bytes i(std::int64_t number) {
    return integer(number);
}
Bytes s(const Bytes &text) {
    return octetString(text);
}
Bytes connection() {
    return sequence({i(11), i(-12), s("cn=me")});
}
Bytes sev(int count, std::initializer_list<Bytes> entries) {
    return join({s("one"), i(1), s("two"), sequence({i(count), sequence(entries)})});
}
Bytes debugEvent(int count, const Bytes &items) {
    return join({i(1), i(2), s("one"), s("two"), i(3), i(count), tlv(0x30, items)});
}
Bytes authEvent(const Bytes &list) {
    return join({connection(), i(1), i(2), s("one"), i(3), s("two"), i(4), tlv(0x80, list)});
}
Bytes general(const Bytes &lists) {
    return join({i(1), i(2), i(3), i(4), tlv(0x85, "five"), lists});
}
Bytes moduleState(std::size_t name, std::size_t text) {
    return join({s("one"), i(1), s(Bytes(name, 'n')), s(Bytes(text, 't')), s("four")});
}
Bytes triples(int count) {
    return tlv(0x87, join({i(count), sequence({sequence({i(1), i(2), i(3)})})}));
}
Bytes event(int type, int result) {
    return sequence({i(type), tlv(0x0a, i(result).substr(2))});
}
Bytes events(int count, std::initializer_list<Bytes> list) {
    return sequence({i(count), set(list)});
}

struct BadPayload {
    const char *name;
    unsigned char kind;
    Bytes contents;
};

const BadPayload badPayloads[] = {
    {"AddressWithoutString", 125, join({i(1), s("one"), i(1)})},
    {"AddressTooLong", 125, join({i(1), s("one"), i(1), fromHex("04 7f 01")})},
    {"AssertedAddress", 108, join({i(1), i(2), i(3), i(4), s("one"), s("two")})},
    {"AssertedAfterSequence", 116, join({connection(), i(1), i(2), s("one"), i(3), i(4)})},
    {"AssertedReferral", 102, sev(2, {sequence({i(5), s("a")}), sequence({i(6), i(7)})})},
    {"AssertedString", 125, join({i(1), i(2)})},
    {"BareStringInList", 113, authEvent(s("a"))},
    {"BytesCrossTheirItem", 112, debugEvent(1, fromHex("83 7f 01 02"))},
    {"EmptyBytesAndItem", 112, debugEvent(2, tlv(0x85, i(5) + s("")) + tlv(0x81, "\x01"))},
    {"FewerItems", 112, debugEvent(2, tlv(0x82, "text"))},
    {"FewerReferrals", 102, sev(3, {sequence({i(1), s("a")}), sequence({i(2), s("b")})})},
    {"FewerTriples", 112, debugEvent(1, triples(2))},
    {"FifthNumber", 99, general(tlv(0x86, join({i(1), i(2), i(3), i(4), i(5)})))},
    {"FourthString", 99, general(tlv(0xa7, join({s("a"), s("b"), s("c"), s("d")})))},
    {"HostileItems", 112, debugEvent(twoToThe30, tlv(0x82, "text"))},
    {"HostileReferrals", 102, sev(twoToThe30, {sequence({i(1), s("v")})})},
    {"HostileTriples", 112, debugEvent(1, triples(twoToThe30))},
    {"IntegerOf5Bytes", 109, join({i(5), s("name"), fromHex("81 05 01 01 01 01 01")})},
    {"NameTooLong", 103, moduleState(32, 1)},
    {"NegativeReferrals", 102, sev(-1, {})},
    {"NegativeTriples", 112, debugEvent(1, triples(-1))},
    {"NulInList", 113, authEvent(sequence({s(Bytes("a\0b", 3))}))},
    {"SecondReferralMalformed", 102, sev(2, {sequence({i(5), s("a")}), s("no sequence")})},
    {"StringCrossesList", 113, authEvent(fromHex("30 04 04 02 61 61"))},
    {"TextTooLong", 103, moduleState(1, 128)},
    {"UnknownItem", 112, debugEvent(2, tlv(0x82, "text") + tlv(0x88, "\x01"))},
    {"UnknownParameterType", 109, join({i(4), s("name"), tlv(0x81, "\x01")})},
};

const Seed messages[] = {
    {"monitor_response", "Events", events(2, {event(7, 0), event(-8, 9)})},
    {"monitor_response", "NoEvents", events(0, {})},
    {"monitor_response", "LongLengths", longTlv(0x30, i(1) + longTlv(0x31, event(7, 1), 4), 4)},
    {"monitor_response", "MoreThanSent", events(2, {event(7, 0)})},
    {"monitor_response", "HostileCount", events(twoToThe30, {event(7, 0)})},
    {"monitor_response", "NegativeCount", events(-1, {})},
    {"monitor_response", "SecondMalformed", events(2, {event(7, 0), s("abcd")})},
    {"monitor_response", "SequenceForSet", sequence({i(1), sequence({event(7, 0)})})},
    {"monitor_answer", "Accepted", extendedResponse(0, responseOid, events(1, {event(7, 0)}))},
    {"monitor_answer", "AcceptedWithoutValue", extendedResponse(0, responseOid, std::nullopt)},
    {"monitor_answer", "HostileCount",
     extendedResponse(0, responseOid, events(twoToThe30, {event(7, 0)}))},
    {"monitor_answer", "Refused", extendedResponse(53, std::nullopt, std::nullopt)},
    {"monitor_answer", "EmptyName", extendedResponse(0, "", std::nullopt)},
    {"monitor_answer", "OtherName", extendedResponse(0, notificationOid, events(0, {}))},
    {"monitor_answer", "NoName", extendedResponse(0, std::nullopt, events(1, {event(7, 0)}))},
    {"monitor_answer", "Message",
     tlv(0x78, join({tlv(0x0a, "\x35"), s("cn=x"), s("no events"), tlv(0x8a, responseOid)}))},
    {"monitor_answer", "Referral",
     tlv(0x78, join({tlv(0x0a, "\x0a"), s(""), s(""), tlv(0xa3, s("ldap://other.example"))}))},
    {"monitor_answer", "Controls",
     extendedResponse(0, responseOid, events(1, {event(7, 0)})) +
         tlv(0xa0, sequence({s("1.2.3"), s("value")}))},
    {"monitor_answer", "OtherOperation", searchDone(0)},
    {"notification", "NoPayload", notification(7, -625, "")},
    {"notification", "UnknownKind", notification(7, 0, tlv(0x7e, i(1)))},
    {"notification", "KindWithoutRecord", notification(7, 0, tlv(100, i(1)) + eventAddress())},
    {"notification", "PayloadTooLong", notification(7, 0, fromHex("7d 7f 02 01 01"))},
    {"notification", "ResultMissing", sequence({i(7)})},
    {"intermediate", "EmptyName", tlv(0x79, tlv(0x80, ""))},
    {"intermediate", "EmptyNameOfAnAnswer", tlv(0x79, tlv(0x8a, ""))},
    {"intermediate", "OtherName", tlv(0x79, tlv(0x80, responseOid) + tlv(0x81, i(1)))},
    {"intermediate", "NoName", tlv(0x79, tlv(0x81, notification(7, 0, "")))},
    {"intermediate", "NoValue", tlv(0x79, tlv(0x80, notificationOid))},
    {"intermediate", "Controls",
     eventMessage(notification(7, 0, "")) + tlv(0xa0, sequence({s("1.2.3"), s("value")}))},
    {"intermediate", "OtherOperation", searchEntry("cn=x")},
};

void addSample(std::vector<Seed> &all, const EventSample &sample) {
    const std::string decoder = decoderName(sample.kind), name = sample.name;
    const Bytes value = notification(7, 0, sample.payload() + eventAddress());
    all.push_back({decoder, name, sample.contents()});
    all.push_back({decoder, name + "Address", sample.contents() + eventAddress()});
    all.push_back({"notification", name, value});
    all.push_back({"intermediate", name, eventMessage(value)});
}

void addBad(std::vector<Seed> &all, const BadPayload &bad) {
    all.push_back({decoderName(bad.kind), bad.name, bad.contents});
    all.push_back({"notification", bad.name, notification(7, 0, tlv(bad.kind, bad.contents))});
}

} // namespace

std::vector<Seed> seeds() {
    std::vector<Seed> all(std::begin(messages), std::end(messages));
    for (const Target &target : targets())
        all.push_back({target.name, "Empty", ""});
    for (const EventSample &sample : eventSamples())
        addSample(all, sample);
    for (const BadPayload &bad : badPayloads)
        addBad(all, bad);
    addBulkUpdates(all);
    addSchemas(all);
    addDigests(all);
    addTls(all);
    addAnswers(all);
    addFiles(all);
    addSimulator(all);
    return all;
}

} // namespace qldapx_fuzz
