// The server-status control of an answer.
#include "controls/damage.h"
#include "session.h"
#include "support/case_name.h"

#include <array>
#include <qldapx.h>

namespace qldapx_test {
namespace {

constexpr int unset = -4711;
using Numbers = std::array<int, 4>;

struct Outcome {
    int result;
    Numbers numbers{unset, unset, unset, unset};
};

Outcome parse(LDAP *ld, LDAPControl **controls) {
    Outcome outcome{};
    Numbers &numbers = outcome.numbers;
    outcome.result = ldap_parse_sstatus_control(ld, controls, &numbers[0], &numbers[1], &numbers[2],
                                                &numbers[3]);
    return outcome;
}

struct ValueCase {
    const char *name;
    // The control's value; nullptr: it has none.
    const char *value;
    int result;
    Numbers numbers;
};

void PrintTo(const ValueCase &row, std::ostream *out) {
    *out << row.name;
}

constexpr int malformed = LDAP_DECODING_ERROR;
constexpr Numbers none{unset, unset, unset, unset};

const ValueCase valueCases[] = {
    {"All", "30 0d 80 01 01 81 01 02 82 01 03 83 02 01 00", 0, {1, 2, 3, 256}},
    {"OnlySecond", "30 03 81 01 05", 0, {unset, 5, unset, unset}},
    {"FirstAndLast", "30 06 80 01 ff 83 01 00", 0, {-1, unset, unset, 0}},
    {"None", "30 00", 0, none},
    {"LaterElementsAreNotRead", "30 09 83 01 04 84 01 05 86 01 06", 0, {unset, unset, unset, 4}},
    {"WrongOrderIsNotFound", "30 06 81 01 02 80 01 01", 0, {unset, 2, unset, unset}},
    {"OtherElementHidesTheRest", "30 06 85 01 01 80 01 01", 0, none},
    {"Largest", "30 06 82 04 7f ff ff ff", 0, {unset, unset, 2147483647, unset}},
    {"LongLengths", "30 84 00 00 00 07 80 84 00 00 00 01 09", 0, {9, unset, unset, unset}},
    {"BytesBehindTheSequence", "30 00 80 01 01", 0, none},

    {"NoValue", nullptr, malformed, none},
    {"EmptyValue", "", malformed, none},
    {"Set", "31 03 80 01 01", malformed, none},
    {"NoSequence", "80 01 01", malformed, none},
    {"TooLong", "30 07 80 05 00 00 00 00 01", malformed, none},
    {"SecondTooLong", "30 0a 80 01 07 81 05 00 00 00 00 01", malformed, {7, unset, unset, unset}},
    {"Cut", "30 02 80 01", malformed, none},
    {"SecondCut", "30 05 80 01 07 81 01", malformed, {7, unset, unset, unset}},
    {"BeyondTheSequence", "30 02 80 01 07", malformed, {7, unset, unset, unset}},
};

class ServerStatusTest : public testing::TestWithParam<ValueCase> {};

TEST_P(ServerStatusTest, Decodes) {
    Session session;
    std::optional<Bytes> value;
    if (GetParam().value != nullptr)
        value = fromHex(GetParam().value);
    ControlList controls;
    Outcome outcome = parse(session, controls.add("1.2.3", "x").add(statusOid, value).get());
    EXPECT_EQ(outcome.result, GetParam().result);
    EXPECT_EQ(outcome.numbers, GetParam().numbers);
    EXPECT_EQ(session.resultCode(), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Controls, ServerStatusTest, testing::ValuesIn(valueCases),
                         caseName<ValueCase>);

const char everything[] = "30 0d 80 01 01 81 01 02 82 01 03 83 02 01 00";

TEST(ServerStatus, MalformedByTruncation) {
    Session session;
    expectMalformedByTruncation(statusOid, fromHex(everything), [&](LDAPControl **controls) {
        return parse(session, controls).result;
    });
}

TEST(ServerStatus, MalformedByOneBit) {
    Session session;
    expectMalformedByOneBit(statusOid, fromHex(everything), [&](LDAPControl **controls) {
        return parse(session, controls).result;
    });
}

TEST(ServerStatus, Errors) {
    Session session;
    ControlList empty, others;
    others.add("2.16.840.1.907341.1.27.101.4", "").add("2.16.840.1.907341.1.27.101.400", "");
    EXPECT_EQ(parse(nullptr, empty.get()).result, LDAP_PARAM_ERROR);
    EXPECT_EQ(session.resultCode(), Session::before);
    for (LDAPControl **controls :
         {static_cast<LDAPControl **>(nullptr), empty.get(), others.get()}) {
        session.store(Session::before);
        Outcome outcome = parse(session, controls);
        EXPECT_EQ(outcome.result, LDAP_CONTROL_NOT_FOUND);
        EXPECT_EQ(outcome.numbers, none);
        EXPECT_EQ(session.resultCode(), LDAP_CONTROL_NOT_FOUND);
    }
}

} // namespace
} // namespace qldapx_test
