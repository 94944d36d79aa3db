#include "support/event_samples.h"

namespace qldapx_test {

namespace {

// What the rows below are made of.
Bytes i(std::int64_t number) {
    return integer(number);
}
Bytes s(const Bytes &text) {
    return octetString(text);
}
// A string of a sequence, and the sequence under its tag.
Bytes item(const Bytes &text) {
    return sequence({s(text)});
}
Bytes list(unsigned char tag, std::initializer_list<Bytes> items) {
    return tlv(tag, join(items));
}
Bytes connection(const Bytes &text = "cn=me") {
    return sequence({i(11), i(-12), s(text)});
}
Bytes referral(int type, const Bytes &value) {
    return sequence({i(type), s(value)});
}
Bytes referrals(int count, std::initializer_list<Bytes> entries) {
    return sequence({i(count), sequence(entries)});
}
Bytes triple(int first, int second, int third) {
    return sequence({i(first), i(second), i(third)});
}
Bytes nul() {
    return Bytes(1, '\0');
}

// The item's own number, as a context tag.
Bytes debug(unsigned char number, const Bytes &content) {
    return tlv(static_cast<unsigned char>(0x80 + number), content);
}
std::vector<Bytes> debugEvent(int count, std::initializer_list<Bytes> items) {
    return {i(1), i(2), s("one"), s("two"), i(3), i(count), sequence(items)};
}

const std::vector<EventSample> samples = {
    {"Entry",
     97,
     {s("one"), s("two"), s("three"), triple(1, 2, 3), i(4), i(5), s("last")},
     "string1=one string2=two string3=three number4=4 number5=5 number1=1 number2=2 number3=3 "
     "value=last"},
    {"EntryEmpty",
     97,
     {s(""), s(""), s(""), triple(-1, 2147483647, -2147483648), i(0), i(-128), s("")},
     "string1=NULL string2=NULL string3=NULL number4=0 number5=-128 number1=-1 "
     "number2=2147483647 number3=-2147483648 value=NULL"},

    {"Value",
     98,
     {s("1"), s("2"), s("3"), s("4"), s("5"), triple(1, 2, 3), s("a" + nul() + "b"), i(9)},
     "number0=9 string1=1 string2=2 string3=3 string4=4 string5=5 number1=1 number2=2 number3=3 "
     "valueLength=3 value=61 00 62"},
    {"ValueWithoutNumber",
     98,
     {s("1"), s("2"), s("3"), s("4"), s("5"), triple(1, 2, 3), s("v")},
     "number0=0 string1=1 string2=2 string3=3 string4=4 string5=5 number1=1 number2=2 number3=3 "
     "valueLength=1 value=76"},
    {"ValueWithoutValue",
     98,
     {s("1"), s("2"), s("3"), s("4"), s("5"), triple(1, 2, 3), i(9)},
     "number0=9 string1=1 string2=2 string3=3 string4=4 string5=5 number1=1 number2=2 number3=3 "
     "valueLength=0 value=NULL"},
    {"ValueEmpty",
     98,
     {s(""), s(""), s(""), s(""), s(""), triple(0, 0, 0), s(""), i(9)},
     "number0=9 string1=NULL string2=NULL string3=NULL string4=NULL string5=NULL number1=0 "
     "number2=0 number3=0 valueLength=0 value=NULL"},
    {"ValueBare",
     98,
     {s("1"), s("2"), s("3"), s("4"), s("5"), triple(1, 2, 3)},
     "number0=0 string1=1 string2=2 string3=3 string4=4 string5=5 number1=1 number2=2 number3=3 "
     "valueLength=0 value=NULL"},

    {"General",
     99,
     {i(1), i(2), i(3), i(4), tlv(0x85, "five"), tlv(0x86, join({i(6), i(7)})),
      tlv(0xa7, join({s("eight"), s(""), s("ten")}))},
     "number1=1 number2=2 number4=4 number3=3 string1=five numbers=6,7,0,0 "
     "strings=eight,NULL,ten,NULL"},
    {"GeneralBare",
     99,
     {i(1), i(2), i(3), i(4), tlv(0x85, "")},
     "number1=1 number2=2 number4=4 number3=3 string1=NULL numbers=0,0,0,0 "
     "strings=NULL,NULL,NULL,NULL"},
    {"GeneralFourNumbers",
     99,
     {i(1), i(2), i(3), i(4), tlv(0x85, "five"), tlv(0x86, join({i(6), i(7), i(8), i(9)}))},
     "number1=1 number2=2 number4=4 number3=3 string1=five numbers=6,7,8,9 "
     "strings=NULL,NULL,NULL,NULL"},
    {"GeneralStringsAlone",
     99,
     {i(1), i(2), i(3), i(4), tlv(0x85, "five"), tlv(0xa7, s("eight"))},
     "number1=1 number2=2 number4=4 number3=3 string1=five numbers=0,0,0,0 "
     "strings=eight,NULL,NULL,NULL"},
    {"GeneralEmptyLists",
     99,
     {i(1), i(2), i(3), i(4), tlv(0x85, "five"), tlv(0x86, ""), tlv(0xa7, "")},
     "number1=1 number2=2 number4=4 number3=3 string1=five numbers=0,0,0,0 "
     "strings=NULL,NULL,NULL,NULL"},

    {"Bindery",
     101,
     {s("one"), i(1), i(2), i(3), s("two")},
     "string1=one number1=1 number2=2 number3=3 string2=two"},
    {"BinderyEmpty",
     101,
     {s(""), i(1), i(2), i(3), s("")},
     "string1=NULL number1=1 number2=2 number3=3 string2=NULL"},

    {"Sev",
     102,
     {s("one"), i(1), s("two"),
      referrals(3, {referral(5, "a"), referral(6, ""), referral(7, "ccc")})},
     "string1=one number1=1 string2=two referralCount=3 referrals=5:1:a,6:0:NULL,7:3:ccc"},
    {"SevWithoutList",
     102,
     {s("one"), i(1), s("two")},
     "string1=one number1=1 string2=two referralCount=0 referrals=none"},
    {"SevEmptyList",
     102,
     {s(""), i(1), s(""), referrals(0, {})},
     "string1=NULL number1=1 string2=NULL referralCount=0 referrals=empty"},
    {"SevOneReferral",
     102,
     {s("one"), i(1), s("two"), referrals(1, {referral(5, "a")})},
     "string1=one number1=1 string2=two referralCount=1 referrals=5:1:a"},

    {"ModuleState",
     103,
     {s("one"), i(1), s("name"), s("text"), s("four")},
     "string1=one number1=1 string4=four name=name text=text"},
    {"ModuleStateLongest",
     103,
     {s("one"), i(1), s(Bytes(31, 'n')), s(Bytes(127, 't')), s("")},
     "string1=one number1=1 string4=NULL name=" + Bytes(31, 'n') + " text=" + Bytes(127, 't')},
    {"ModuleStateShortest",
     103,
     {s(""), i(1), s("n"), s(""), s("four")},
     "string1=NULL number1=1 string4=four name=n text="},

    {"NetAddress",
     104,
     {i(1), s("\x7f" + nul() + nul() + "\x01")},
     "addressType=1 length=4 value=7f 00 00 01"},
    {"NetAddressEmpty", 104, {i(7), s("")}, "addressType=7 length=0 value="},

    {"ConnectionState",
     105,
     {s("one"), i(1), i(2), s("two")},
     "string1=one number1=1 number2=2 string2=two"},

    {"ChangeServerAddress",
     108,
     {i(1), i(2), i(3), s("\x7f" + nul() + "\x01"), s("one"), s("two")},
     "number1=1 number2=2 number3=3 addressLength=3 address=7f 00 01 string1=one string2=two"},
    {"ChangeServerAddressEmpty",
     108,
     {i(1), i(2), i(3), s(""), s(""), s("")},
     "number1=1 number2=2 number3=3 addressLength=0 address=NULL string1=NULL string2=NULL"},

    {"ConfigInteger",
     109,
     {i(5), s("name"), tlv(0x81, "\x07")},
     "paramType=5 paramName=name intValue=7 stringValue=NULL"},
    {"ConfigBoolean",
     109,
     {i(2), s("name"), tlv(0x82, "\xff")},
     "paramType=2 paramName=name intValue=-1 stringValue=NULL"},
    {"ConfigString",
     109,
     {i(1), s("name"), tlv(0x83, "value")},
     "paramType=1 paramName=name intValue=0 stringValue=value"},
    {"ConfigEmptyString",
     109,
     {i(1), s(""), tlv(0x83, "")},
     "paramType=1 paramName=NULL intValue=0 stringValue=NULL"},
    {"ConfigText",
     109,
     {i(3), s("name"), tlv(0x84, "value")},
     "paramType=3 paramName=name textValue=value stringValue=NULL"},
    {"ConfigEmptyText",
     109,
     {i(3), s("name"), tlv(0x84, "")},
     "paramType=3 paramName=name textValue=NULL stringValue=NULL"},
    {"ConfigNone",
     109,
     {i(0), s("name"), tlv(0x85, "")},
     "paramType=0 paramName=name intValue=0 stringValue=NULL"},

    {"StatusLog",
     111,
     {i(1), s("1"), s("2"), s("3"), s("4"), s("5"), s("6")},
     "number1=1 string1=1 string2=2 string3=3 string4=4 string5=5 string6=6"},

    {"Debug", 112,
     debugEvent(7,
                {debug(1, "\x07"), debug(2, "text"), debug(3, "b" + nul() + "b"), debug(4, "\xfe"),
                 debug(5, join({i(5), s("five")})), debug(6, join({i(61), i(62), i(63)})),
                 debug(7, join({i(2), sequence({triple(1, 2, 3), triple(4, 5, 6)})}))}),
     "number1=1 number2=2 string1=one string2=two number3=3 itemCount=7 items=1:7 2:text "
     "3:3:62 00 62 4:-2 5:5:4:66 69 76 65 6:61:62:63 7:2:1,2,3,4,5,6"},
    {"DebugEmptyItems", 112,
     debugEvent(4, {debug(2, ""), debug(3, ""), debug(7, join({i(0), sequence({})})),
                    debug(5, join({i(5), s("")}))}),
     "number1=1 number2=2 string1=one string2=two number3=3 itemCount=4 items=2:NULL 3:0:NULL "
     "7:0: 5:5:0:NULL"},
    {"DebugNoItems", 112, debugEvent(0, {}),
     "number1=1 number2=2 string1=one string2=two number3=3 itemCount=0 items=none"},
    {"DebugNoList",
     112,
     {i(1), i(2), s(""), s(""), i(3), i(-4)},
     "number1=1 number2=2 string1=NULL string2=NULL number3=3 itemCount=-4 items=none"},

    {"Auth",
     113,
     {connection(), i(1), i(2), s("one"), i(3), s("two"), i(4),
      list(0x80, {item("a"), item("bb")})},
     "connection=11/-12/cn=me number1=1 number2=2 string1=one number3=3 string2=two "
     "sequence1=[a,bb] number4=4"},
    {"AuthBare",
     113,
     {connection(""), i(1), i(2), s(""), i(3), s(""), i(4)},
     "connection=11/-12/NULL number1=1 number2=2 string1=NULL number3=3 string2=NULL "
     "sequence1=NULL number4=4"},

    {"Connection", 114, {i(1), i(2), s("one")}, "number1=1 number2=2 string1=one"},

    {"Search",
     115,
     {connection(), i(1), i(2), s("one"), s("two"), i(3), s("three"), i(4),
      list(0x30, {item("cn"), item("sn")}), list(0x80, {item("1.2.3")})},
     "connection=11/-12/cn=me number1=1 number2=2 string1=one string2=two number3=3 string3=three "
     "sequence1=[cn,sn] sequence2=[1.2.3] number4=4"},
    {"SearchEmptyList",
     115,
     {connection(), i(1), i(2), s(""), s(""), i(3), s(""), i(4), list(0x30, {})},
     "connection=11/-12/cn=me number1=1 number2=2 string1=NULL string2=NULL number3=3 string3=NULL "
     "sequence1=[] sequence2=NULL number4=4"},
    {"SearchWithoutLists",
     115,
     {connection(), i(1), i(2), s("one"), s("two"), i(3), s("three"), i(4)},
     "connection=11/-12/cn=me number1=1 number2=2 string1=one string2=two number3=3 string3=three "
     "sequence1=NULL sequence2=NULL number4=4"},

    {"SearchEntryResponse",
     116,
     {connection(), i(1), i(2), s("one"), s("two"), i(3),
      list(0x30, {item("a"), item(""), item("c"), item("d"), item("e"), item("f")})},
     "connection=11/-12/cn=me number1=1 number2=2 string1=one string2=two sequence1=[a,,c,d,e,f] "
     "number3=3"},
    {"SearchEntryResponseBare",
     116,
     {connection(), i(1), i(2), s("one"), s("two"), i(3)},
     "connection=11/-12/cn=me number1=1 number2=2 string1=one string2=two sequence1=NULL "
     "number3=3"},

    {"Update",
     117,
     {connection(), i(1), i(2), i(3), s("one"), s("two"), s("three"), i(4),
      list(0x80, {item("a")})},
     "connection=11/-12/cn=me number1=1 number2=2 number3=3 string1=one string2=two string3=three "
     "sequence1=[a] number4=4"},
    {"UpdateBare",
     117,
     {connection(), i(1), i(2), i(3), s("one"), s("two"), s("three"), i(4)},
     "connection=11/-12/cn=me number1=1 number2=2 number3=3 string1=one string2=two string3=three "
     "sequence1=NULL number4=4"},

    {"Compare",
     118,
     {connection(), i(1), i(2), s("1"), s("2"), s("3"), s("4"), s("5"), i(3)},
     "connection=11/-12/cn=me number1=1 number2=2 string1=1 string2=2 string3=3 string4=4 "
     "string5=5 number3=3"},

    {"ModDn",
     119,
     {connection(), i(1), i(2), s("1"), s("2"), s("3"), s("4"), i(3), list(0x80, {item("a")})},
     "connection=11/-12/cn=me number1=1 number2=2 string1=1 string2=2 string3=3 string4=4 "
     "sequence1=[a] number3=3"},
    {"ModDnBare",
     119,
     {connection(), i(1), i(2), s("1"), s("2"), s("3"), s("4"), i(3)},
     "connection=11/-12/cn=me number1=1 number2=2 string1=1 string2=2 string3=3 string4=4 "
     "sequence1=NULL number3=3"},

    {"Abandon",
     120,
     {connection(), i(1), i(2), i(3), s("one"), i(4)},
     "connection=11/-12/cn=me number1=1 number2=2 number3=3 string1=one number4=4"},

    {"ExtOp",
     121,
     {connection(), i(1), i(2), i(3), s("one"), s("two"), i(4)},
     "connection=11/-12/cn=me number1=1 number2=2 number3=3 string1=one string2=two number4=4"},

    {"SysExtOp",
     122,
     {connection(), i(1), i(2), i(3), s("1"), s("2"), s("3"), s("4"), s("5"), s("6"), i(4)},
     "connection=11/-12/cn=me number1=1 number2=2 number3=3 string1=1 string2=2 string3=3 "
     "string4=4 string5=5 string6=6 number4=4"},

    {"Response",
     123,
     {connection(), i(1), i(2), i(3), i(4), s("one"), list(0x81, {item("a")})},
     "connection=11/-12/cn=me number1=1 number2=2 number3=3 number4=4 string1=one sequence1=[a]"},
    {"ResponseBare",
     123,
     {connection(), i(1), i(2), i(3), i(4), s("one")},
     "connection=11/-12/cn=me number1=1 number2=2 number3=3 number4=4 string1=one sequence1=NULL"},

    {"PasswordModify",
     124,
     {connection(), i(1), i(2), s("one"), s("two"), i(3), i(4)},
     "connection=11/-12/cn=me number1=1 number2=2 string1=one string2=two number3=3 number4=4"},

    {"UnknownOp", 125, {i(1), s("one")}, "number1=1 string1=one"},
};

} // namespace

Bytes EventSample::contents() const {
    Bytes bytes;
    for (const Bytes &element : elements)
        bytes += element;
    return bytes;
}

void PrintTo(const EventSample &sample, std::ostream *out) {
    *out << sample.name;
}

const std::vector<EventSample> &eventSamples() {
    return samples;
}

Bytes eventAddress() {
    return i(1) + s("\x7f" + nul() + nul() + "\x01");
}

Bytes notification(int type, int result, const Bytes &rest) {
    return sequence({i(type), i(result), rest});
}

Bytes eventMessage(const Bytes &value) {
    return tlv(0x79, tlv(0x80, "2.16.840.1.907341.1.27.100.81") + tlv(0x81, value));
}

} // namespace qldapx_test
