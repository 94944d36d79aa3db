// Backup and restore of an object: requests and answers byte for byte, hostile answers, and which
// failure goes first.
#include "support/case_name.h"
#include "support/ldap_message.h"
#include "support/scripted_peer.h"

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>

namespace qldapx_test {
namespace {

constexpr char backupOid[] = "2.16.840.1.907341.1.27.100.96";
constexpr char backupAnswerOid[] = "2.16.840.1.907341.1.27.100.97";
constexpr char restoreOid[] = "2.16.840.1.907341.1.27.100.98";
constexpr char restoreAnswerOid[] = "2.16.840.1.907341.1.27.100.99";

constexpr int untouchedLength = -4711;
char untouched[] = "untouched";

struct Release {
    void operator()(char *text) const {
        if (text != untouched)
            ldapx_memfree(text);
    }
};
using Text = std::unique_ptr<char, Release>;

// What a caller of the backup holds, before and after.
struct Backup {
    explicit Backup(const char *before = nullptr) : state(before ? strdup(before) : nullptr) {}

    int fetch(LDAP *ld, const char *password = "secret", const char *dn = "o=a") {
        char *nextState = state.release(), *image = untouched, *sizes = untouched;
        int result = ldap_backup_object(ld, const_cast<char *>(dn), const_cast<char *>(password),
                                        &nextState, &image, &sizes, &length);
        state.reset(nextState);
        data.reset(image);
        chunkSizes.reset(sizes);
        return result;
    }

    [[nodiscard]] std::string describe() const {
        if (data.get() == untouched && chunkSizes.get() == untouched && length == untouchedLength)
            return "untouched";
        return "state=" + std::string(state.get()) + " sizes=" + chunkSizes.get() +
               " data=" + Bytes(data.get(), static_cast<std::size_t>(length));
    }

    Text state, data, chunkSizes;
    int length = untouchedLength;
};

Bytes sizeList(std::int64_t count, std::initializer_list<std::int64_t> sizes) {
    Bytes elements;
    for (std::int64_t size : sizes)
        elements += sequence({integer(size)});
    return sequence({integer(count), tlv(0x31, elements)});
}

Bytes piece(std::int64_t length, std::int64_t first, std::int64_t second, const Bytes &image,
            const Bytes &sizes) {
    return join({integer(length), integer(first), integer(second), octetString(image), sizes});
}

ScriptedPeer::Step answerOf(const Bytes &value) {
    return ScriptedPeer::answer(extendedResponse(0, backupAnswerOid, value));
}

struct RequestCase {
    const char *name;
    const char *state;
    const char *password;
    // The request's value in hexadecimal.
    const char *value;
};

void PrintTo(const RequestCase &row, std::ostream *out) {
    *out << row.name;
}

const RequestCase requestCases[] = {
    {"First", nullptr, "secret", "04 03 6f 3d 61 02 01 00 02 01 00 04 06 73 65 63 72 65 74"},
    {"WithoutPassword", nullptr, nullptr, "04 03 6f 3d 61 02 01 00 02 01 00 04 00"},
    {"EmptyPassword", nullptr, "", "04 03 6f 3d 61 02 01 00 02 01 00 04 00"},
    {"Next", "5+7", "p", "04 03 6f 3d 61 02 01 05 02 01 07 04 01 70"},
    {"Negative", "-1+-2", "p", "04 03 6f 3d 61 02 01 ff 02 01 fe 04 01 70"},
    {"Largest", "2147483647+128", "p", "04 03 6f 3d 61 02 04 7f ff ff ff 02 02 00 80 04 01 70"},
    {"SecondAsInt", "1+4294967303", "p", "04 03 6f 3d 61 02 01 01 02 01 07 04 01 70"},
    {"SeveralPlus", "+5++7+9", "p", "04 03 6f 3d 61 02 01 05 02 01 07 04 01 70"},
    {"TextBehindNumbers", "5a+7b", "p", "04 03 6f 3d 61 02 01 05 02 01 07 04 01 70"},
    {"Blanks", " 5+ 7", "p", "04 03 6f 3d 61 02 01 05 02 01 07 04 01 70"},
};

class BackupRequestTest : public testing::TestWithParam<RequestCase> {};

TEST_P(BackupRequestTest, Ok) {
    ScriptedPeer peer({answerOf(piece(0, 1, 1, "", sizeList(0, {})))});
    Backup backup(GetParam().state);
    EXPECT_EQ(backup.fetch(peer.session(), GetParam().password), LDAP_SUCCESS);
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_EQ(toHex(peer.received()[0]),
              toHex(ldapMessage(1, extendedRequest(backupOid, fromHex(GetParam().value)))));
}

INSTANTIATE_TEST_SUITE_P(Backup, BackupRequestTest, testing::ValuesIn(requestCases),
                         caseName<RequestCase>);

TEST(Backup, StatesThatCannotBePassedBack) {
    for (const char *state : {"0+0", "0+7", "1+0", "5", "5+", "+", "", "+7", "x+7", "5+x", "-0+1",
                              "4294967296+1", "1+4294967296"}) {
        SCOPED_TRACE(state);
        ScriptedPeer peer({});
        Backup backup(state);
        int code = LDAP_BUSY;
        ldap_set_option(peer.session(), LDAP_OPT_RESULT_CODE, &code);
        EXPECT_EQ(backup.fetch(peer.session()), LDAP_ENCODING_ERROR);
        EXPECT_EQ(backup.describe(), "untouched");
        ldap_get_option(peer.session(), LDAP_OPT_RESULT_CODE, &code);
        EXPECT_EQ(code, LDAP_BUSY);
        EXPECT_TRUE(peer.received().empty());
    }
}

TEST(Backup, ErrorWithoutADn) {
    ScriptedPeer peer({});
    Backup backup;
    EXPECT_EQ(backup.fetch(peer.session(), "secret", nullptr), LDAP_PARAM_ERROR);
    EXPECT_EQ(backup.describe(), "untouched");
    EXPECT_TRUE(peer.received().empty());
}

TEST(Backup, PieceAfterPiece) {
    ScriptedPeer peer({answerOf(piece(3, 5, 7, "abc", sizeList(2, {100, 50}))),
                       answerOf(piece(2, 0, 0, "de", sizeList(0, {})))});
    Backup backup;
    ASSERT_EQ(backup.fetch(peer.session()), LDAP_SUCCESS);
    EXPECT_EQ(backup.describe(), "state=5+7 sizes=2;100;50; data=abc");
    ASSERT_EQ(backup.fetch(peer.session()), LDAP_SUCCESS);
    EXPECT_EQ(backup.describe(), "state=0+0 sizes=0; data=de");
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_EQ(
        toHex(peer.received()[1]),
        toHex(ldapMessage(2, extendedRequest(backupOid, fromHex("04 03 6f 3d 61 02 01 05 02 01 07"
                                                                " 04 06 73 65 63 72 65 74")))));
}

struct AnswerCase {
    const char *name;
    Bytes value;
    int result;
    std::string outputs = "untouched";
};

void PrintTo(const AnswerCase &row, std::ostream *out) {
    *out << row.name;
}

constexpr int malformed = LDAP_DECODING_ERROR;
const Bytes noSizes = sizeList(0, {});
const Bytes headOfOne = integer(1) + integer(2) + integer(3);
const Bytes sizeOne = sequence({integer(1)});

const AnswerCase answerCases[] = {
    {"Whole", piece(3, 1, 2, "abc", sizeList(1, {3})), 0, "state=1+2 sizes=1;3; data=abc"},
    {"Empty", piece(0, 0, 0, "", noSizes), 0, "state=0+0 sizes=0; data="},
    {"AnyBytes", piece(4, 1, 2, Bytes("\0\xff\n\0", 4), noSizes), 0,
     "state=1+2 sizes=0; data=" + Bytes("\0\xff\n\0", 4)},
    {"NegativeNumbers", piece(1, -1, INT_MIN, "a", sizeList(1, {-7})), 0,
     "state=-1+-2147483648 sizes=1;-7; data=a"},
    {"LargestNumbers", piece(1, INT_MAX, INT_MAX, "a", sizeList(1, {INT_MAX})), 0,
     "state=2147483647+2147483647 sizes=1;2147483647; data=a"},
    {"NegativeCount", piece(1, 1, 2, "a", sizeList(-3, {5})), 0, "state=1+2 sizes=-3; data=a"},
    {"CountBelowTheSizes", piece(1, 1, 2, "a", sizeList(1, {5, 6})), 0,
     "state=1+2 sizes=1;5; data=a"},
    {"ShorterThanTheImage", piece(1, 1, 2, "abc", noSizes), 0, "state=1+2 sizes=0; data=a"},
    {"BytesBehindTheList", piece(1, 1, 2, "a", noSizes) + "x", 0, "state=1+2 sizes=0; data=a"},
    // The image is taken whatever its tag, and does not hide what follows it.
    {"ImageOfAnotherTag", headOfOne + tlv(0x81, "a") + noSizes, 0, "state=2+3 sizes=0; data=a"},
    {"ImageBeginsLikeATag", piece(2, 1, 2, "\x1f\x3f", sizeList(1, {2})), 0,
     "state=1+2 sizes=1;2; data=\x1f\x3f"},
    {"ImageBeginsLikeALongTag", piece(1, 1, 2, "\x3f", noSizes), 0, "state=1+2 sizes=0; data=\x3f"},
    {"LongLengths",
     join({longTlv(2, "\x01", 4), integer(1), integer(2), longTlv(4, "a", 4),
           longTlv(0x30, longTlv(2, "\x01", 3) + longTlv(0x31, sizeOne, 2), 4)}),
     0, "state=1+2 sizes=1;1; data=a"},

    {"LongerThanTheImage", piece(4, 1, 2, "abc", noSizes), malformed},
    {"FarLongerThanTheImage", piece(INT_MAX, 1, 2, "abc", noSizes), malformed},
    {"NegativeLength", piece(-1, 1, 2, "abc", noSizes), malformed},
    {"SmallestLength", piece(INT_MIN, 1, 2, "abc", noSizes), malformed},
    {"CountBeyondTheSizes", piece(1, 1, 2, "a", sizeList(3, {5, 6})), malformed},
    {"HugeCount", piece(1, 1, 2, "a", sizeList(INT_MAX, {5})), malformed},
    {"WideCount", piece(1, 1, 2, "a", sizeList(1LL << 32, {})), malformed},
    {"WideLength", piece(1LL << 32, 1, 2, "a", noSizes), malformed},
    {"WideState", piece(1, 1LL << 32, 2, "a", noSizes), malformed},
    {"WideSize", piece(1, 1, 2, "a", sizeList(1, {1LL << 32})), malformed},
    {"NoSizes", piece(1, 1, 2, "a", ""), malformed},
    {"NoImage", headOfOne, malformed},
    {"ImageAsListHead", headOfOne + noSizes, malformed},
    {"ListAsSet", headOfOne + octetString("a") + set({integer(0), set({})}), malformed},
    {"SizesAsSequence", headOfOne + octetString("a") + sequence({integer(0), sequence({})}),
     malformed},
    {"NoSet", headOfOne + octetString("a") + sequence({integer(0)}), malformed},
    {"BareSizes", headOfOne + octetString("a") + sequence({integer(1), set({integer(1)})}),
     malformed},
    {"EmptySize", headOfOne + octetString("a") + sequence({integer(1), set({sequence({})})}),
     malformed},
    // Sizes that do not lie where they belong.
    {"SizeBehindTheSet", headOfOne + octetString("a") + sequence({integer(1), set({}), sizeOne}),
     malformed},
    {"SizeBehindTheList", piece(1, 1, 2, "a", sizeList(1, {})) + sizeOne, malformed},
    {"SizeBehindItsSequence",
     headOfOne + octetString("a") + sequence({integer(1), set({sequence({}), integer(5)})}),
     malformed},
    {"BytesBehindTheSize",
     headOfOne + octetString("a") +
         sequence({integer(1), set({sequence({integer(5), integer(6)})})}),
     malformed},
    {"SizeBeyondTheSet",
     headOfOne + octetString("a") + fromHex("30 0a 02 01 01 31 04 30 03 02 01 05"), malformed},
    {"HugeImage", headOfOne + fromHex("04 84 ff ff ff ff 61"), malformed},
    {"LengthAsText", octetString("1") + integer(2) + integer(3) + octetString("a") + noSizes,
     malformed},
    {"EmptyValue", "", malformed},
};

class BackupAnswerTest : public testing::TestWithParam<AnswerCase> {};

TEST_P(BackupAnswerTest, Decodes) {
    ScriptedPeer peer({answerOf(GetParam().value)});
    Backup backup("8+9");
    EXPECT_EQ(backup.fetch(peer.session()), GetParam().result);
    EXPECT_EQ(backup.describe(), GetParam().outputs);
    // After a failure the text is still the caller's, and ends where its "+" was.
    EXPECT_TRUE(GetParam().result == LDAP_SUCCESS || std::strcmp(backup.state.get(), "8") == 0);
}

INSTANTIATE_TEST_SUITE_P(Backup, BackupAnswerTest, testing::ValuesIn(answerCases),
                         caseName<AnswerCase>);

const Bytes wholeAnswer = piece(3, 1, 2, "abc", sizeList(2, {1, 2}));

TEST(Backup, MalformedByTruncation) {
    for (std::size_t length = 0; length < wholeAnswer.size(); ++length) {
        ScriptedPeer peer({answerOf(wholeAnswer.substr(0, length))});
        Backup backup;
        EXPECT_EQ(backup.fetch(peer.session()), LDAP_DECODING_ERROR) << length;
        EXPECT_EQ(backup.describe(), "untouched");
    }
}

TEST(Backup, MalformedByOneBit) {
    for (std::size_t bit = 0; bit < 8 * wholeAnswer.size(); ++bit) {
        Bytes damaged = wholeAnswer;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
        ScriptedPeer peer({answerOf(damaged)});
        Backup backup;
        int result = backup.fetch(peer.session());
        EXPECT_TRUE(result == LDAP_SUCCESS || result == LDAP_DECODING_ERROR) << bit;
        EXPECT_EQ(result == LDAP_SUCCESS, backup.describe() != "untouched");
    }
}

// strtok keeps its place for the whole process, and the caller may be using it.
TEST(Backup, LeavesTheCallersStrtokAlone) {
    ScriptedPeer peer({answerOf(piece(0, 1, 2, "", noSizes)),
                       ScriptedPeer::answer(extendedResponse(0, restoreAnswerOid, std::nullopt))});
    char words[] = "one two three", sizes[] = "1;1;", dn[] = "o=a", data[] = "a";
    EXPECT_STREQ(std::strtok(words, " "), "one");
    Backup backup("1+2");
    EXPECT_EQ(backup.fetch(peer.session()), LDAP_SUCCESS);
    EXPECT_STREQ(std::strtok(nullptr, " "), "two");
    EXPECT_EQ(ldap_restore_object(peer.session(), dn, nullptr, data, sizes, 1), LDAP_SUCCESS);
    EXPECT_STREQ(std::strtok(nullptr, " "), "three");
}

// The text of the sizes outgrows every buffer that it may start in.
TEST(Backup, ManySizes) {
    constexpr int count = 100000;
    Bytes elements;
    std::string text = std::to_string(count) + ";";
    for (int i = 0; i < count; ++i) {
        elements += sequence({integer(i * 1001)});
        text += std::to_string(i * 1001) + ";";
    }
    ScriptedPeer peer(
        {answerOf(piece(0, 1, 2, "", sequence({integer(count), tlv(0x31, elements)})))});
    Backup backup;
    ASSERT_EQ(backup.fetch(peer.session()), LDAP_SUCCESS);
    EXPECT_EQ(backup.chunkSizes.get(), text);
}

// Texts of every length around the first buffer's end.
TEST(Backup, SizesAroundTheFirstBuffer) {
    for (int count = 40; count < 60; ++count)
        for (int width = 1; width <= 10; ++width) {
            const std::string size(static_cast<std::size_t>(width), '1');
            Bytes elements;
            std::string text = std::to_string(count) + ";";
            for (int i = 0; i < count; ++i) {
                elements += sequence({integer(std::stoi(size))});
                text += size + ";";
            }
            ScriptedPeer peer(
                {answerOf(piece(0, 1, 2, "", sequence({integer(count), tlv(0x31, elements)})))});
            Backup backup;
            ASSERT_EQ(backup.fetch(peer.session()), LDAP_SUCCESS);
            EXPECT_EQ(backup.chunkSizes.get(), text);
        }
}

// The response OID goes before the result, and the result before the value.
struct FrameCase {
    const char *name;
    int code;
    std::optional<std::string> oid;
    bool hasValue;
    int backup;
    int restore;
};

void PrintTo(const FrameCase &row, std::ostream *out) {
    *out << row.name;
}

const FrameCase frameCases[] = {
    {"Success", 0, "right", true, 0, 0},
    {"SuccessWithoutOid", 0, std::nullopt, true, LDAP_NOT_SUPPORTED, LDAP_NOT_SUPPORTED},
    {"SuccessUnderOther", 0, "1.2.3", true, LDAP_NOT_SUPPORTED, LDAP_NOT_SUPPORTED},
    {"SuccessWithoutValue", 0, "right", false, LDAP_OPERATIONS_ERROR, 0},
    {"Refused", LDAP_INSUFFICIENT_ACCESS, "right", false, LDAP_INSUFFICIENT_ACCESS,
     LDAP_INSUFFICIENT_ACCESS},
    {"RefusedWithValue", LDAP_BUSY, "right", true, LDAP_BUSY, LDAP_BUSY},
    {"RefusedWithoutOid", LDAP_NO_SUCH_OBJECT, std::nullopt, false, LDAP_NOT_SUPPORTED,
     LDAP_NOT_SUPPORTED},
    {"RefusedUnderOther", LDAP_NO_SUCH_OBJECT, "1.2.3", true, LDAP_NOT_SUPPORTED,
     LDAP_NOT_SUPPORTED},
    {"RefusedUnderLonger", LDAP_NO_SUCH_OBJECT, "right0", true, LDAP_NOT_SUPPORTED,
     LDAP_NOT_SUPPORTED},
};

Bytes responseOf(const FrameCase &row, const std::string &oid) {
    std::optional<std::string> name = row.oid;
    if (name && name->starts_with("right"))
        name = oid + name->substr(5);
    return extendedResponse(row.code, name,
                            row.hasValue ? std::optional(wholeAnswer) : std::nullopt);
}

int restore(LDAP *ld, const Bytes &data = "abc", const char *sizes = "0;",
            const char *password = "secret") {
    Bytes copy = data;
    std::string text = sizes;
    char dn[] = "o=a";
    return ldap_restore_object(ld, dn, const_cast<char *>(password), copy.data(), text.data(),
                               static_cast<int>(copy.size()));
}

int resultCode(LDAP *ld) {
    int code = 0;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
    return code;
}

class BackupFrameTest : public testing::TestWithParam<FrameCase> {};

TEST_P(BackupFrameTest, Backup) {
    ScriptedPeer peer({ScriptedPeer::answer(responseOf(GetParam(), backupAnswerOid))});
    Backup backup;
    EXPECT_EQ(backup.fetch(peer.session()), GetParam().backup);
    EXPECT_EQ(resultCode(peer.session()), GetParam().code) << "only libldap stores it";
    EXPECT_EQ(backup.describe() == "untouched", GetParam().backup != LDAP_SUCCESS);
}

TEST_P(BackupFrameTest, Restore) {
    ScriptedPeer peer({ScriptedPeer::answer(responseOf(GetParam(), restoreAnswerOid))});
    EXPECT_EQ(restore(peer.session()), GetParam().restore);
    EXPECT_EQ(resultCode(peer.session()), GetParam().restore);
}

INSTANTIATE_TEST_SUITE_P(Backup, BackupFrameTest, testing::ValuesIn(frameCases),
                         caseName<FrameCase>);

// Without an answer there is no response OID.
TEST(Backup, ErrorOfTheConnection) {
    ScriptedPeer peer({ScriptedPeer::closeConnection()});
    Backup backup;
    EXPECT_EQ(backup.fetch(peer.session()), LDAP_NOT_SUPPORTED);
}

TEST(Restore, ErrorOfTheConnection) {
    ScriptedPeer peer({ScriptedPeer::closeConnection()});
    EXPECT_EQ(restore(peer.session()), LDAP_NOT_SUPPORTED);
    EXPECT_EQ(resultCode(peer.session()), LDAP_NOT_SUPPORTED);
}

struct RestoreCase {
    const char *name;
    Bytes data;
    const char *sizes;
    const char *password;
    // The list of sizes that goes last, with liblber's lengths of four bytes for what it opens.
    const char *list;
};

void PrintTo(const RestoreCase &row, std::ostream *out) {
    *out << row.name;
}

#define SIZE_1 "30 84 00 00 00 03 02 01 01"

const RestoreCase restoreCases[] = {
    {"AsDocumented", "abc", "2;100;50;", "secret",
     "30 84 00 00 00 1b 02 01 02 31 84 00 00 00 12 30 84 00 00 00 03 02 01 64"
     " 30 84 00 00 00 03 02 01 32"},
    {"NoSizes", "abc", "0;", "secret", "30 84 00 00 00 09 02 01 00 31 84 00 00 00 00"},
    {"NoData", "", "0;", "secret", "30 84 00 00 00 09 02 01 00 31 84 00 00 00 00"},
    {"AnyBytes", Bytes("\0\xff\n\0", 4), "0;", "s", "30 84 00 00 00 09 02 01 00 31 84 00 00 00 00"},
    {"WithoutPassword", "abc", "0;", nullptr, "30 84 00 00 00 09 02 01 00 31 84 00 00 00 00"},
    {"WithoutLastSemicolon", "abc", "1;1", "s",
     "30 84 00 00 00 12 02 01 01 31 84 00 00 00 09 " SIZE_1},
    {"SemicolonsAlone", "abc", ";;1;;1;;", "s",
     "30 84 00 00 00 12 02 01 01 31 84 00 00 00 09 " SIZE_1},
    // The library only carries what the text says.
    {"CountThatLies", "abc", "7;1;", "s", "30 84 00 00 00 12 02 01 07 31 84 00 00 00 09 " SIZE_1},
    {"NegativeNumbers", "abc", "-1;-2;", "s",
     "30 84 00 00 00 12 02 01 ff 31 84 00 00 00 09 30 84 00 00 00 03 02 01 fe"},
    {"NoNumber", "abc", "x;1;", "s", "30 84 00 00 00 12 02 01 00 31 84 00 00 00 09 " SIZE_1},
    {"AsInt", "abc", "4294967297;1;", "s", "30 84 00 00 00 12 02 01 01 31 84 00 00 00 09 " SIZE_1},
};

class RestoreRequestTest : public testing::TestWithParam<RestoreCase> {};

TEST_P(RestoreRequestTest, Ok) {
    const RestoreCase &row = GetParam();
    ScriptedPeer peer({ScriptedPeer::answer(extendedResponse(0, restoreAnswerOid, std::nullopt))});
    EXPECT_EQ(restore(peer.session(), row.data, row.sizes, row.password), LDAP_SUCCESS);
    EXPECT_EQ(resultCode(peer.session()), LDAP_SUCCESS);
    const Bytes value = join({octetString("o=a"), octetString(row.password ? row.password : ""),
                              integer(static_cast<std::int64_t>(row.data.size())),
                              octetString(row.data), fromHex(row.list)});
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_EQ(toHex(peer.received()[0]), toHex(ldapMessage(1, extendedRequest(restoreOid, value))));
}

INSTANTIATE_TEST_SUITE_P(Backup, RestoreRequestTest, testing::ValuesIn(restoreCases),
                         caseName<RestoreCase>);

TEST(Restore, ManySizes) {
    std::string text = "100000;";
    Bytes elements;
    for (int i = 0; i < 100000; ++i) {
        text += "1;";
        elements += fromHex(SIZE_1);
    }
    ScriptedPeer peer({ScriptedPeer::answer(extendedResponse(0, restoreAnswerOid, std::nullopt))});
    EXPECT_EQ(restore(peer.session(), "", text.c_str()), LDAP_SUCCESS);
    const Bytes value =
        join({octetString("o=a"), octetString("secret"), integer(0), octetString(""),
              longTlv(0x30, integer(100000) + longTlv(0x31, elements, 4), 4)});
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_TRUE(peer.received()[0] == ldapMessage(1, extendedRequest(restoreOid, value)));
}

// What is wrong before anything is sent; only what fails in the encoding is stored.
TEST(Restore, ErrorsWithoutSending) {
    char dn[] = "o=a", data[] = "abc";
    const auto call = [&](LDAP *ld, char *object, char *bytes, const char *sizes, int length) {
        int code = LDAP_BUSY;
        ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &code);
        std::string text = sizes != nullptr ? sizes : "";
        return ldap_restore_object(ld, object, dn, bytes, sizes != nullptr ? text.data() : nullptr,
                                   length);
    };
    ScriptedPeer peer({});
    LDAP *ld = peer.session();
    EXPECT_EQ(call(ld, nullptr, data, "0;", 3), LDAP_PARAM_ERROR);
    EXPECT_EQ(resultCode(ld), LDAP_BUSY);
    EXPECT_EQ(call(ld, dn, nullptr, "0;", 3), LDAP_PARAM_ERROR);
    EXPECT_EQ(resultCode(ld), LDAP_BUSY);
    EXPECT_EQ(call(ld, dn, data, nullptr, 3), LDAP_PARAM_ERROR);
    EXPECT_EQ(resultCode(ld), LDAP_BUSY);
    for (const char *sizes : {"", ";", ";;;"}) {
        EXPECT_EQ(call(ld, dn, data, sizes, 3), LDAP_ENCODING_ERROR) << sizes;
        EXPECT_EQ(resultCode(ld), LDAP_ENCODING_ERROR);
    }
    for (int length : {-1, INT_MIN}) {
        EXPECT_EQ(call(ld, dn, data, "0;", length), LDAP_ENCODING_ERROR) << length;
        EXPECT_EQ(resultCode(ld), LDAP_ENCODING_ERROR);
    }
    EXPECT_TRUE(peer.received().empty());
}

} // namespace
} // namespace qldapx_test
