// The reference control of an answer: all is decoded, only ref6 reaches the caller.
#include "controls/damage.h"
#include "session.h"
#include "support/case_name.h"
#include "support/expected_leak.h"

#include <qldapx.h>

namespace qldapx_test {
namespace {

char untouched[] = "untouched";

struct Outcome {
    int result;
    std::string reference;
};

// The caller's own variables are compared after the call: nothing may have changed them.
Outcome parse(LDAP *ld, LDAPControl **controls) {
    char first[] = "first", third[] = "third";
    char *fifth[] = {first, nullptr};
    char *reference = untouched;
    int result = ldap_parse_reference_control(ld, controls, first, 2, third, 4, fifth, &reference);
    EXPECT_STREQ(first, "first");
    EXPECT_STREQ(third, "third");
    EXPECT_EQ(fifth[0], first);
    EXPECT_EQ(fifth[1], nullptr);
    std::string text = reference;
    if (reference != untouched)
        ldap_memfree(reference);
    return {result, text};
}

Outcome parseValue(LDAP *ld, const std::optional<Bytes> &value) {
    ControlList controls;
    ExpectedLeak leak; // of what is decoded for ref1 to ref5
    return parse(ld, controls.add("1.2.3", "x").add(referenceOid, value).get());
}

const Bytes ref1 = tlv(0x81, "one"), ref2 = tlv(0x82, "\x02"), ref3 = tlv(0x83, "three"),
            ref4 = tlv(0x84, "\x04"), ref6 = tlv(0x86, "six"),
            ref5 = tlv(0x85, sequence({octetString("five"), octetString("")}));

struct ValueCase {
    const char *name;
    // The control's value; nullopt: it has none.
    std::optional<Bytes> value;
    int result;
    const char *reference;
};

void PrintTo(const ValueCase &row, std::ostream *out) {
    *out << row.name;
}

constexpr int malformed = LDAP_DECODING_ERROR;

const ValueCase valueCases[] = {
    {"All", set({ref1, ref2, ref3, ref4, ref5, ref6}), 0, "six"},
    {"OnlyLast", fromHex("31 05 86 03 73 69 78"), 0, "six"},
    {"Empty", fromHex("31 00"), 0, "untouched"},
    {"WithoutLast", set({ref1, ref2, ref3, ref4, ref5}), 0, "untouched"},
    {"AnyOrder", set({ref6, ref4, ref1}), 0, "six"},
    {"Repeated", set({ref1, ref6, ref1, tlv(0x86, "seven")}), 0, "seven"},
    {"EmptyReference", set({tlv(0x86, "")}), 0, ""},
    {"ListAsSet", set({tlv(0x85, set({octetString("x")})), ref6}), 0, "six"},
    {"EmptyList", set({tlv(0x85, sequence({})), ref6}), 0, "six"},
    {"BytesBehindTheSet", set({ref6}) + ref1, 0, "six"},
    {"LongLengths", longTlv(0x31, longTlv(0x86, "six", 4), 4), 0, "six"},

    {"NoValue", std::nullopt, malformed, "untouched"},
    {"EmptyValue", "", malformed, "untouched"},
    {"Sequence", sequence({ref6}), malformed, "untouched"},
    {"UnknownElement", set({ref6, tlv(0x87, "")}), malformed, "untouched"},
    {"UniversalTag", set({octetString("six")}), malformed, "untouched"},
    {"NumberTooLong", set({ref6, tlv(0x82, "\x01\x02\x03\x04\x05")}), malformed, "untouched"},
    {"NulInReference", set({tlv(0x86, Bytes("s\0x", 3))}), malformed, "untouched"},
    {"NulInText", set({tlv(0x81, Bytes("s\0x", 3)), ref6}), malformed, "untouched"},
    {"ListWithoutInside", set({tlv(0x85, ""), ref6}), malformed, "untouched"},
    {"ListBehindItsElement", set({tlv(0x85, ""), sequence({octetString("x")}), ref6}), malformed,
     "untouched"},
    {"BytesBehindTheList", set({tlv(0x85, sequence({octetString("x")}) + ref4), ref6}), malformed,
     "untouched"},
    {"ListOfText", set({tlv(0x85, octetString("x"))}), malformed, "untouched"},
    {"Cut", fromHex("31 03 86 03 73"), malformed, "untouched"},
    {"BeyondTheSet", fromHex("31 03 86 03 73 69 78"), malformed, "untouched"},
    {"HugeLength", fromHex("31 06 86 84 ff ff ff ff"), malformed, "untouched"},
};

class ReferenceTest : public testing::TestWithParam<ValueCase> {};

TEST_P(ReferenceTest, Decodes) {
    Session session;
    Outcome outcome = parseValue(session, GetParam().value);
    EXPECT_EQ(outcome.result, GetParam().result);
    EXPECT_EQ(outcome.reference, GetParam().reference);
    EXPECT_EQ(session.resultCode(), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Controls, ReferenceTest, testing::ValuesIn(valueCases),
                         caseName<ValueCase>);

const Bytes everything = set({ref1, ref2, ref3, ref4, ref5, ref6});

TEST(Reference, MalformedByTruncation) {
    Session session;
    ExpectedLeak leak; // of what is decoded for ref1 to ref5
    expectMalformedByTruncation(referenceOid, everything, [&](LDAPControl **controls) {
        return parse(session, controls).result;
    });
}

TEST(Reference, MalformedByOneBit) {
    Session session;
    ExpectedLeak leak; // of what is decoded for ref1 to ref5
    expectMalformedByOneBit(referenceOid, everything, [&](LDAPControl **controls) {
        return parse(session, controls).result;
    });
}

// As many elements as a value can hold take time in proportion to them.
TEST(Reference, ManyElements) {
    Session session;
    Bytes elements;
    for (int i = 0; i < 100000; ++i)
        elements += ref4;
    EXPECT_EQ(parseValue(session, tlv(0x31, elements + ref6)).reference, "six");
}

TEST(Reference, Errors) {
    Session session;
    ControlList empty, others;
    others.add("2.16.840.1.907341.1.1.5150.101", set({ref6}))
        .add("2.16.840.1.907341.1.1.5150.101.10", set({ref6}));
    EXPECT_EQ(parse(nullptr, empty.get()).result, LDAP_PARAM_ERROR);
    EXPECT_EQ(session.resultCode(), Session::before);
    for (LDAPControl **controls :
         {static_cast<LDAPControl **>(nullptr), empty.get(), others.get()}) {
        session.store(Session::before);
        Outcome outcome = parse(session, controls);
        EXPECT_EQ(outcome.result, LDAP_CONTROL_NOT_FOUND);
        EXPECT_EQ(outcome.reference, "untouched");
        EXPECT_EQ(session.resultCode(), LDAP_CONTROL_NOT_FOUND);
    }
}

} // namespace
} // namespace qldapx_test
