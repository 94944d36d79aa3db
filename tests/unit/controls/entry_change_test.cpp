// The entry-change control: what is decoded, what is left as it was, and which failure goes first.
#include "controls/damage.h"
#include "session.h"
#include "support/case_name.h"

#include <climits>
#include <memory>
#include <qldapx.h>

namespace qldapx_test {
namespace {

constexpr int unset = -4711;

struct MemFree {
    void operator()(char *text) const { ldap_memfree(text); }
};

// The outputs, each with a value that no control here has.
struct Change {
    int type = unset;
    std::unique_ptr<char, MemFree> previous;
    int present = unset;
    int number = unset;

    [[nodiscard]] std::string describe() const {
        return "type=" + text(type) + " previous=" + (previous ? previous.get() : "none") +
               " present=" + text(present) + " number=" + text(number);
    }

  private:
    static std::string text(int value) { return value == unset ? "unset" : std::to_string(value); }
};

struct Outcome {
    int result;
    std::string outputs;
};

Outcome parse(LDAP *ld, LDAPControl **controls) {
    static char untouched[] = "untouched";
    Change change;
    char *previous = untouched;
    int result = ldap_parse_entrychange_control(ld, controls, &change.type, &previous,
                                                &change.present, &change.number);
    if (previous == untouched)
        return {result, change.describe() + " (previous untouched)"};
    change.previous.reset(previous);
    return {result, change.describe()};
}

struct ValueCase {
    const char *name;
    // The control's value; nullptr: it has none.
    const char *value;
    int result;
    const char *outputs;
};

void PrintTo(const ValueCase &row, std::ostream *out) {
    *out << row.name;
}

constexpr int malformed = LDAP_DECODING_ERROR;
constexpr char nothing[] = "type=unset previous=none present=unset number=unset";
constexpr char deletion[] = "type=2 previous=none present=0 number=unset";

const ValueCase valueCases[] = {
    {"TypeAlone", "30 03 0a 01 02", 0, deletion},
    {"WithPreviousDn", "30 08 0a 01 08 04 03 6f 3d 61", 0,
     "type=8 previous=o=a present=0 number=unset"},
    {"WithNumber", "30 07 0a 01 01 80 02 01 00", 0, "type=1 previous=none present=1 number=256"},
    {"WithBoth", "30 0b 0a 01 08 04 03 6f 3d 61 80 01 ff", 0,
     "type=8 previous=o=a present=1 number=-1"},
    {"LargestNumber", "30 09 0a 01 01 80 04 7f ff ff ff", 0,
     "type=1 previous=none present=1 number=2147483647"},
    {"EmptyPreviousDn", "30 05 0a 01 08 04 00", 0, "type=8 previous= present=0 number=unset"},
    // The universal tag is no change number.
    {"NumberUnderInteger", "30 06 0a 01 02 02 01 07", 0, deletion},
    {"NumberUnderIntegerAfterDn", "30 0b 0a 01 08 04 03 6f 3d 61 02 01 07", 0,
     "type=8 previous=o=a present=0 number=unset"},
    {"NumberUnderConstructedTag", "30 06 0a 01 02 a0 01 07", 0, deletion},
    // Whatever the server invents as a change.
    {"UnknownType", "30 04 0a 02 03 e7", 0, "type=999 previous=none present=0 number=unset"},
    {"DnAfterNumber", "30 0b 0a 01 08 80 01 05 04 03 6f 3d 61", 0,
     "type=8 previous=none present=1 number=5"},
    {"UnknownElementAtTheEnd", "30 05 0a 01 02 85 00", 0, deletion},
    {"LongLengths", "30 84 00 00 00 0b 0a 81 01 02 80 84 00 00 00 01 07", 0,
     "type=2 previous=none present=1 number=7"},
    {"BytesBehindTheSequence", "30 03 0a 01 02 80 01 05", 0, deletion},

    {"NoValue", nullptr, malformed, nothing},
    {"EmptyValue", "", malformed, nothing},
    {"EmptySequence", "30 00", malformed, nothing},
    {"NoSequence", "0a 01 02", malformed, nothing},
    {"Set", "31 03 0a 01 02", malformed, nothing},
    {"TypeUnderInteger", "30 03 02 01 02", malformed, nothing},
    {"TypeTooLong", "30 07 0a 05 00 00 00 00 02", malformed, nothing},
    {"PreviousDnWithNul", "30 08 0a 01 08 04 03 6f 00 61", malformed,
     "type=8 previous=none present=unset number=unset"},
    {"PreviousDnCut", "30 07 0a 01 08 04 03 6f 3d", malformed,
     "type=8 previous=none present=0 number=unset"},
    {"PreviousDnOfFourGigabytes", "30 09 0a 01 08 04 84 ff ff ff ff", malformed,
     "type=8 previous=none present=0 number=unset"},
    {"PreviousDnBeyondTheSequence", "30 06 0a 01 08 04 03 6f 3d 61", malformed,
     "type=8 previous=none present=0 number=unset"},
    {"NumberTooLong", "30 0a 0a 01 01 80 05 00 00 00 00 01", malformed,
     "type=1 previous=none present=0 number=unset"},
    {"NumberTooLongAfterDn", "30 0d 0a 01 01 04 01 61 80 05 00 00 00 00 01", malformed,
     "type=1 previous=none present=0 number=unset"},
    {"NumberCut", "30 05 0a 01 01 80 04", malformed, "type=1 previous=none present=0 number=unset"},
    {"NumberWithoutBytes", "30 05 0a 01 01 80 00", 0, "type=1 previous=none present=1 number=0"},
};

class EntryChangeTest : public testing::TestWithParam<ValueCase> {};

TEST_P(EntryChangeTest, Decodes) {
    Session session;
    std::optional<Bytes> value;
    if (GetParam().value != nullptr)
        value = fromHex(GetParam().value);
    ControlList controls;
    Outcome outcome = parse(session, controls.add(entryChangeOid, value).get());
    EXPECT_EQ(outcome.result, GetParam().result);
    EXPECT_EQ(outcome.outputs, GetParam().outputs);
    EXPECT_EQ(session.resultCode(), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Controls, EntryChangeTest, testing::ValuesIn(valueCases),
                         caseName<ValueCase>);

const char everything[] = "30 0b 0a 01 08 04 03 6f 3d 61 80 01 07";

TEST(EntryChange, MalformedByTruncation) {
    Session session;
    expectMalformedByTruncation(entryChangeOid, fromHex(everything), [&](LDAPControl **controls) {
        return parse(session, controls).result;
    });
}

TEST(EntryChange, MalformedByOneBit) {
    Session session;
    expectMalformedByOneBit(entryChangeOid, fromHex(everything), [&](LDAPControl **controls) {
        return parse(session, controls).result;
    });
}

TEST(EntryChange, IsFoundBehindOthers) {
    Session session;
    ControlList controls;
    controls.add("2.16.840.1.113730.3.4.77", fromHex("30 03 0a 01 01"))
        .add("2.16.840.1.113730.3.4", std::nullopt)
        .add(entryChangeOid, fromHex("30 03 0a 01 02"))
        .add(entryChangeOid, fromHex("30 03 0a 01 04"));
    Outcome outcome = parse(session, controls.get());
    EXPECT_EQ(outcome.result, LDAP_SUCCESS);
    EXPECT_EQ(outcome.outputs, deletion);
}

// What may be NULL, and that an element which is not wanted is not looked for either.
TEST(EntryChange, OutputsThatAreNotWanted) {
    Session session;
    ControlList controls;
    controls.add(entryChangeOid, fromHex(everything));
    Change change;
    EXPECT_EQ(ldap_parse_entrychange_control(session, controls.get(), &change.type, nullptr,
                                             nullptr, nullptr),
              LDAP_SUCCESS);
    EXPECT_EQ(change.type, 8);
    char *previous = nullptr;
    EXPECT_EQ(ldap_parse_entrychange_control(session, controls.get(), &change.type, &previous,
                                             nullptr, nullptr),
              LDAP_SUCCESS);
    change.previous.reset(previous);
    EXPECT_STREQ(previous, "o=a");
    // The previous DN still stands before the number.
    EXPECT_EQ(ldap_parse_entrychange_control(session, controls.get(), &change.type, nullptr,
                                             &change.present, &change.number),
              LDAP_SUCCESS);
    EXPECT_EQ(change.present, 0);
    EXPECT_EQ(change.number, unset);
}

// One reason to fail after the other, in the order in which they are looked at.
TEST(EntryChange, ErrorsInTheirOrder) {
    Session session;
    ControlList found, empty, others;
    found.add(entryChangeOid, fromHex("30 03 0a 01 02"));
    others.add("1.2.3", fromHex("30 03 0a 01 02"));
    int type = unset, present = unset, number = unset;
    char untouched[] = "untouched";
    char *previous = untouched;

    const auto call = [&](LDAP *ld, LDAPControl **controls, int *typep, int *presentp,
                          int *numberp) {
        session.store(Session::before);
        return ldap_parse_entrychange_control(ld, controls, typep, &previous, presentp, numberp);
    };
    EXPECT_EQ(call(nullptr, found.get(), &type, &present, &number), LDAP_PARAM_ERROR);
    EXPECT_EQ(call(nullptr, nullptr, nullptr, &present, nullptr), LDAP_PARAM_ERROR);
    EXPECT_EQ(session.resultCode(), Session::before);
    EXPECT_EQ(call(session, found.get(), nullptr, &present, &number), LDAP_PARAM_ERROR);
    EXPECT_EQ(session.resultCode(), LDAP_PARAM_ERROR);
    EXPECT_EQ(call(session, found.get(), &type, nullptr, &number), LDAP_PARAM_ERROR);
    EXPECT_EQ(session.resultCode(), LDAP_PARAM_ERROR);
    EXPECT_EQ(call(session, nullptr, &type, &present, nullptr), LDAP_PARAM_ERROR);
    EXPECT_EQ(session.resultCode(), LDAP_PARAM_ERROR);
    EXPECT_EQ(call(session, nullptr, &type, &present, &number), LDAP_CONTROL_NOT_FOUND);
    EXPECT_EQ(session.resultCode(), LDAP_CONTROL_NOT_FOUND);
    EXPECT_EQ(previous, untouched);
    // From here on the previous DN is preset.
    EXPECT_EQ(call(session, empty.get(), &type, &present, &number), LDAP_CONTROL_NOT_FOUND);
    EXPECT_EQ(session.resultCode(), LDAP_CONTROL_NOT_FOUND);
    EXPECT_EQ(previous, nullptr);
    EXPECT_EQ(call(session, others.get(), &type, &present, &number), LDAP_CONTROL_NOT_FOUND);
    EXPECT_EQ(type, unset);
    EXPECT_EQ(present, unset);
    EXPECT_EQ(number, unset);
}

} // namespace
} // namespace qldapx_test
