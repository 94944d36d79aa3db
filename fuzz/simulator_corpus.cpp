// The seeds of the simulator: requests of every operation, and its texts and files.
#include "corpus.h"
#include "extops/operations.h"

#include <iterator>

namespace qldapx_fuzz {

namespace {

using namespace qldapx_test;

constexpr char ada[] = "cn=Ada Brandt,ou=people,dc=example,dc=com";
constexpr char top[] = "dc=example,dc=com";
const Bytes yes = tlv(0x01, "\xff");

Bytes s(const Bytes &text) {
    return octetString(text);
}
Bytes attribute(const Bytes &name, std::initializer_list<Bytes> values) {
    return sequence({s(name), set(values)});
}
Bytes message(const Bytes &operation, const Bytes &controls = {}) {
    return sequence({integer(2), operation, controls.empty() ? "" : tlv(0xa0, controls)});
}
Bytes search(const Bytes &filter) {
    return tlv(0x63, join({s(top), tlv(0x0a, "\x02"), tlv(0x0a, Bytes(1, '\0')), integer(9),
                           integer(0), tlv(0x01, Bytes(1, '\0')), filter, sequence({s("*")})}));
}
Bytes is(const Bytes &name, const Bytes &value) {
    return tlv(0xa3, s(name) + s(value));
}
Bytes extended(const std::string &number, const std::optional<Bytes> &value) {
    return message(extendedRequest("2.16.840.1.907341.1." + number, value));
}
Bytes modify(const Bytes &kind) {
    return tlv(
        0x66, s(ada) + sequence({sequence({tlv(0x0a, kind), attribute("description", {s("x")})})}));
}
const Bytes add =
    tlv(0x68, s("cn=x,dc=example,dc=com") +
                  sequence({attribute("objectClass", {s("person")}), attribute("sn", {s("x")})}));
const Bytes rename = tlv(0x6c, join({s(ada), s("cn=x"), yes, tlv(0x80, top)}));
const Bytes persistent = sequence({s("2.16.840.1.113730.3.4.3"), yes,
                                   s(sequence({integer(15), tlv(0x01, Bytes(1, '\0')), yes}))});
const Bytes start = extended("142.100.1", sequence({s("2.16.840.1.907341.1.142.1.4.2")}));
const Bytes updates =
    extended("142.100.6", sequence({integer(1), sequence({add}), sequence({rename})}));
const Bytes last = extended("142.100.4", sequence({integer(1)}));

const Seed rows[] = {
    {"simulator_requests", "Search", message(search(is("cn", "Ada Brandt")))},
    {"simulator_requests", "Filters",
     message(search(tlv(
         0xa0,
         join({tlv(0xa1, is("cn", "a") + tlv(0x87, "sn")), tlv(0xa2, tlv(0xa5, s("sn") + s("b"))),
               tlv(0xa4, s("cn") + sequence({tlv(0x80, "A"), tlv(0x81, "d"), tlv(0x82, "t")})),
               tlv(0xa9, join({tlv(0x81, "2.5.13.2"), tlv(0x82, "cn"), tlv(0x83, "x"),
                               tlv(0x84, "\xff")}))}))))},
    {"simulator_requests", "Persistent",
     message(search(tlv(0x87, "cn")), persistent) + message(modify("\x02"))},
    {"simulator_requests", "Add", message(add) + message(tlv(0x4a, "cn=x,dc=example,dc=com"))},
    {"simulator_requests", "Modify", message(modify("\x02")) + message(modify("\x01"))},
    {"simulator_requests", "Rename", message(rename)},
    {"simulator_requests", "Compare",
     message(tlv(0x6e, s(ada) + sequence({s("sn"), s("Brandt")})))},
    {"simulator_requests", "Bind", message(tlv(0x60, integer(3) + s(ada) + tlv(0x80, "x")))},
    {"simulator_requests", "Sasl",
     message(tlv(0x60, integer(3) + s("") + tlv(0xa3, s("DIGEST-MD5")))) +
         message(tlv(0x60, integer(3) + s("") +
                               tlv(0xa3, s("DIGEST-MD5") + s("username=\"a\",nonce=\"b\""))))},
    {"simulator_requests", "Abandon", message(tlv(0x50, "\x01")) + message(tlv(0x42, ""))},
    {"simulator_requests", "BulkUpdate", start + updates + last},
    {"simulator_requests", "Monitor",
     extended("27.100.79",
              sequence({integer(1), set({sequence({integer(1), tlv(0x0a, "\x01")})})}))},
    {"simulator_requests", "Backup",
     extended("27.100.96", s(ada) + integer(0) + integer(0) + s(""))},
    {"simulator_replay", "Entry",
     R"({"type":1,"result":0,"kind":97,"payload":{"string1":"cn=a","number4":1},"address":null})"},
    {"simulator_replay", "Address",
     R"({"type":1,"result":0,"kind":102,"payload":{"connection":{"number1":1,"text":"x"}},)"
     R"("address":{"addressType":1,"value":{"base64":"fwAAAQGF"}}})"},
    {"simulator_replay", "Debug",
     R"({"type":1,"result":-1,"kind":111,"payload":{"items":[{"kind":1,"number":2},)"
     R"({"kind":2,"text":"a"},{"kind":3,"pointer":[1,2]},{"kind":6,"number":1,"length":2}]}})"},
    {"simulator_replay", "Deep", Bytes(400, '[')},
    {"simulator_replay", "NumberWithoutRoom", R"({"type":6E666})"},
    {"simulator_schema", "Ldif",
     "dn: cn=schema\nattributeTypes: ( 1.2.3 NAME 'aaa' SUP name )\n"
     "objectClasses:: KCAxLjIuNCBOQU1FICdiJyApCg==\n"},
    {"simulator_schema", "Configuration",
     "objectIdentifier my 1.2.3\nattributetype ( my:1 NAME ( 'aaa' 'bbb' )\n"
     "  SYNTAX 1.3.6.1.4.1.1466.115.121.1.15{32} )\nobjectclass ( my:2 NAME 'ccc' SUP top MAY "
     "( aaa $ bbb ) )\n"},
    {"simulator_schema", "SupOfItself", "attributetype ( 1.2.3 NAME 'aaa' SUP aaa )\n"},
    {"simulator_ldif", "Entries",
     "version: 1\ndn: o=b\nobjectClass: organization\no: b\n\ndn: cn=a,o=b\n"
     "objectClass: person\ncn: a\nsn:: YQ==\ndescription: a\n b\n"},
    {"simulator_ldif", "Names", "dn: cn=a\\,\\20+sn=\"b\",dc=c\ncn: a\n\ndn:: Y249YQ==\ncn: a\n"},
    {"simulator_filter", "Every",
     "(&(cn=a*b*c)(|(sn>=x)(!(sn<=y)))(cn~=z)(o=*)(cn:dn:2.5.13.2:=\\28a\\29))"},
    {"simulator_filter", "Bare", "cn=a"},
    {"simulator_filter", "Deep", Bytes(300, '(')},
    {"simulator_filter", "NameOfNoAttribute", "g\x7f?.2:=\\28a"},
    {"simulator_image", "Head",
     "STRATIMG" + fromHex("00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 60 00 00 00 00 00 00 00"
                          "04 63 6e 3d 78 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                          "00 00 00 00 00 00 00 00 00")},
    {"simulator_digest", "Response",
     R"(username="a",realm="strata",nonce="b",cnonce="c",nc=00000001,qop=auth,)"
     R"(digest-uri="ldap/h",response=0123456789abcdef0123456789abcdef,charset=utf-8)"},
    {"simulator_digest", "Twice", R"(nonce=a,nonce=b)"},
};

} // namespace

void addSimulator(std::vector<Seed> &all) {
    all.insert(all.end(), std::begin(rows), std::end(rows));
    for (const OperationCase &operation : allOperations())
        all.push_back({"simulator_requests", operation.name, operation.request()});
}

} // namespace qldapx_fuzz
