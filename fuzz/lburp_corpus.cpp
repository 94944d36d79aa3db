// The seeds of bulk updates: answers with every kind of list, and the bytes of whole operations.
#include "corpus.h"
#include "support/ldap_message.h"

#include <iterator>
#include <optional>

namespace qldapx_fuzz {

namespace {

using namespace qldapx_test;

Bytes i(std::int64_t number) {
    return integer(number);
}
Bytes s(const Bytes &text) {
    return octetString(text);
}
Bytes outcome(int code, const Bytes &message) {
    return sequence({i(code), s("cn=x"), s(message)});
}
Bytes failure(int number, const Bytes &message) {
    return sequence({i(number), outcome(68, message)});
}

struct Kind {
    const char *target;
    const char *oid;
};
const Kind start{"lburp_start", "2.16.840.1.907341.1.142.100.2"};
const Kind operation{"lburp_operation", "2.16.840.1.907341.1.142.100.7"};
const Kind end{"lburp_end", "2.16.840.1.907341.1.142.100.5"};

struct Value {
    const Kind &kind;
    const char *name;
    Bytes bytes;
};

// Each is a value, and in a whole answer.
const Value values[] = {
    {start, "Size", sequence({i(100)})},
    {start, "LargestSize", sequence({i(0x7fffffff)})},
    {start, "NegativeSize", sequence({i(-1)})},
    {start, "SizeOf5Bytes", sequence({fromHex("02 05 01 01 01 01 01")})},
    {start, "NoSize", sequence({})},
    {start, "BareSize", i(100)},
    {start, "EnumeratedSize", sequence({tlv(0x0a, "\x05")})},
    {start, "LongLength", longTlv(0x30, i(100), 4)},
    {operation, "OneFailure", failure(1, "there is one already")},
    {operation, "TwoFailures", failure(1, "first message") + failure(2, "second message")},
    {operation, "SameMessages", failure(1, "the same") + failure(2, "the same")},
    {operation, "EnumeratedCode",
     sequence({i(1), sequence({tlv(0x0a, "\x44"), s(""), s("message")})})},
    {operation, "MoreInTheFailure", sequence({i(1), outcome(68, "message"), s("more"), i(5)})},
    {operation, "MoreInTheResult",
     sequence({i(1), sequence({i(68), s(""), s("message"), s("more")})})},
    {operation, "NumberAlone", sequence({i(1)})},
    {operation, "NumberAloneAtTheEnd", failure(1, "message") + sequence({i(2)})},
    {operation, "SecondCut", failure(1, "a message that is lost") + fromHex("30 7f 02 01 02")},
    {operation, "SecondMalformed", failure(1, "a message that is lost") + s("no sequence")},
    {operation, "CutBehindTheMessage",
     failure(1, "lost") + sequence({i(2), outcome(1, "read, not lost"), fromHex("04 7f 61")})},
    {operation, "MessageWithNul", failure(1, Bytes("a\0b", 3))},
    {operation, "MessageThatEndsInNul", failure(1, Bytes("ab\0", 3)) + s("no sequence")},
    {operation, "EmptyMessages", failure(1, "") + failure(2, "") + i(3)},
    {operation, "NoMessage", sequence({i(1), sequence({i(68), s("")})})},
    {operation, "InASequence", sequence({failure(1, "message")})},
    {operation, "NumbersOutOfRange", failure(0, "a") + failure(-1, "b") + failure(1 << 30, "c")},
    {operation, "LongLengths",
     longTlv(0x30, i(1) + longTlv(0x30, i(68) + s("") + longTlv(0x04, "message", 4), 8), 4)},
    {end, "Value", i(1)},
};

const Seed answers[] = {
    {"lburp_start_answer", "OtherNameAndValue", extendedResponse(0, end.oid, sequence({i(7)}))},
    {"lburp_start_answer", "NoValue", extendedResponse(0, start.oid, std::nullopt)},
    {"lburp_start_answer", "Refused", extendedResponse(53, start.oid, std::nullopt)},
    {"lburp_start_answer", "NoName", extendedResponse(2, std::nullopt, std::nullopt)},
    {"lburp_start_answer", "EmptyName", extendedResponse(0, "", std::nullopt)},
    {"lburp_start_answer", "OtherOperation", searchDone(0)},
    {"lburp_operation_answer", "Success", extendedResponse(0, operation.oid, std::nullopt)},
    {"lburp_operation_answer", "NoList", extendedResponse(80, operation.oid, std::nullopt)},
    {"lburp_operation_answer", "OtherName", extendedResponse(0, end.oid, failure(1, "message"))},
    {"lburp_operation_answer", "SameTexts",
     tlv(0x78, join({tlv(0x0a, "\x50"), s("message"), s("message"), tlv(0x8a, operation.oid),
                     tlv(0x8b, failure(1, "message") + failure(2, "message") + i(3))}))},
    {"lburp_operation_answer", "Referral",
     tlv(0x78, join({tlv(0x0a, "\x0a"), s(""), s(""), tlv(0xa3, s("ldap://other.example")),
                     tlv(0x8a, operation.oid)}))},
    {"lburp_operation_answer", "OtherOperation", searchEntry("cn=x")},
    {"lburp_end_answer", "Success", extendedResponse(0, end.oid, std::nullopt)},
    {"lburp_end_answer", "OtherName", extendedResponse(0, start.oid, std::nullopt)},
    {"lburp_end_answer", "NoName", extendedResponse(1, std::nullopt, std::nullopt)},
};

// The bytes that a text or octets are made of: a length and what is in it. NULL is ff.
Bytes t(const Bytes &text) {
    return Bytes(1, static_cast<char>(text.size())) + text;
}
const Bytes null = fromHex("ff"), no = fromHex("00"), yes = fromHex("01");
const Bytes noSuperior = null, hasList = no, noList = yes;

Bytes number(unsigned char count) {
    return Bytes(1, static_cast<char>(count));
}
// Of strings (one number for the operation, from 0 to 3) or of bytes.
Bytes strings(unsigned char modification, const Bytes &type, const Bytes &value) {
    return join({no, number(modification), no, t(type), number(2), t(value), t("")});
}
Bytes bytes(unsigned char modification, const Bytes &type, const Bytes &value) {
    return join({no, number(modification), yes, t(type), number(2), t(value), t("")});
}
Bytes anyOperation(const Bytes &type) {
    return join({yes, fromHex("7f ff ff 00"), no, t(type), number(0), yes});
}
Bytes control(const Bytes &oid, const Bytes &criticality, const Bytes &value) {
    return join({t(oid), criticality, value});
}

Bytes update(unsigned char type, const Bytes &names, const Bytes &list, const Bytes &controls) {
    return join({number(type), names, list, controls});
}

const Bytes names = t("cn=a,o=x") + t("cn=b") + t("o=y") + yes;
const Bytes list = join({hasList, number(3), strings(0, "cn", "a"),
                         bytes(2, "photo", Bytes("\0\xff", 2)), anyOperation("sn")});
const Bytes controls =
    join({yes, number(2), control("1.2", yes, yes + t(Bytes("\0v", 2))), control("1.3", no, no)});

// Where a length takes one byte more.
const Bytes longList = join({hasList, number(3), bytes(0, "a", Bytes(127, 'a')),
                             bytes(0, "b", Bytes(128, 'b')), bytes(0, "c", Bytes(255, 'c'))});

struct NamedUpdate {
    const char *name;
    Bytes bytes;
};
const NamedUpdate updates[] = {
    {"Add", update(0, names, list, no)},
    {"AddWithControls", update(0, names, list, controls)},
    {"AddWithoutList", update(0, names, noList, no)},
    {"AddLongValues", update(0, names, longList, no)},
    {"Delete", update(1, names, noList, no)},
    {"DeleteWithControls", update(1, names, noList, controls)},
    {"Modify", update(2, names, list, no)},
    {"ModifyWithControls", update(2, names, list, yes + number(0))},
    {"Rename", update(3, names, noList, no)},
    {"RenameInPlace", update(3, t("cn=a") + t("cn=b") + noSuperior + no, noList, controls)},
    {"NoDn", update(1, null + t("cn=b") + null + no, noList, no)},
    {"NoNewRdn", update(3, t("cn=a") + null + null + no, noList, no)},
    {"NoType",
     update(0, names, join({hasList, number(1), no, number(0), no, null, number(0)}), no)},
    {"NoOid", update(1, names, noList, join({yes, number(1), null, no, no}))},
};

} // namespace

void addBulkUpdates(std::vector<Seed> &all) {
    for (const Value &value : values) {
        const std::string target = value.kind.target;
        all.push_back({target + "_response", value.name, value.bytes});
        all.push_back(
            {target + "_answer", value.name, extendedResponse(0, value.kind.oid, value.bytes)});
    }
    all.insert(all.end(), std::begin(answers), std::end(answers));
    Bytes everything = fromHex("00 00 00 01");
    for (const NamedUpdate &one : updates) {
        all.push_back({"update", one.name, no + one.bytes});
        all.push_back({"update", std::string(one.name) + "Der", yes + one.bytes});
        all.push_back({"lburp_request", one.name, fromHex("ff ff ff ff 00") + one.bytes});
        if (std::string(one.name).rfind("No", 0) != 0)
            everything += no + one.bytes;
    }
    all.push_back({"lburp_request", "Everything", everything});
    all.push_back({"lburp_request", "OtherType", everything + fromHex("ff") + updates[0].bytes});
}

} // namespace qldapx_fuzz
