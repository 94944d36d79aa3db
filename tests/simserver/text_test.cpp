#include "text.h"

#include <gtest/gtest.h>

namespace {

using namespace stratasim;
using namespace std::string_literals;

TEST(Text, FoldsCaseAndSpaces) {
    EXPECT_EQ(foldText("  Ada   BRANDT "), "ada brandt");
    EXPECT_EQ(foldText("   "), "");
}

TEST(Text, DecodesBase64) {
    EXPECT_EQ(decodeBase64("QWRh"), "Ada");
    EXPECT_EQ(decodeBase64("QWQ="), "Ad");
    EXPECT_EQ(decodeBase64("QQ=="), "A");
    EXPECT_EQ(decodeBase64(""), "");
    for (const char *bad : {"QWR", "QW*h", "Q===", "===="})
        EXPECT_FALSE(decodeBase64(bad)) << bad;
}

TEST(Text, DecodesHex) {
    EXPECT_EQ(decodeHex("00fFa1"), "\x00\xff\xa1"s);
    EXPECT_FALSE(decodeHex("0"));
    EXPECT_FALSE(decodeHex("0g"));
}

TEST(Text, WritesHex) {
    EXPECT_EQ(hexOf("\x00\x0f\xa1"s), "000fa1");
    EXPECT_EQ(hexOf(""), "");
}

TEST(Text, ConvertsLatin1) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"a\x7f"s, "a\x7f"s},
        {"\xc2\x80\xc2\xbf"s, "\x80\xbf"s},
        {"\xc3\x80\xc3\xbf"s, "\xc0\xff"s},
        {"Gr\xc3\xbc\xc3\x9f"s, "Gr\xfc\xdf"s},
    };
    for (const auto &[utf8, latin] : cases) {
        EXPECT_EQ(latin1FromUtf8(utf8), latin);
        EXPECT_EQ(utf8FromLatin1(latin), utf8);
    }
    for (const char *other : {"\xc4\x80", "\xce\xb1", "\xe2\x82\xac", "\xc3", "a\xc3z", "\xc3\xc3",
                              "\x80", "\xc1\xbf", "\xc0\x80", "\xff"})
        EXPECT_FALSE(latin1FromUtf8(other)) << hexOf(other);
}

TEST(Text, ReadsIntegersWhole) {
    EXPECT_EQ(parseInteger("-12"), -12);
    for (const char *bad : {"", "1x", " 1", "99999999999999999999"})
        EXPECT_FALSE(parseInteger(bad)) << bad;
}

TEST(Text, TurnsUtf16IntoUtf8) {
    EXPECT_EQ(utf8FromUtf16Be("\0A\0\xe9\x20\xac"s), "A\xc3\xa9\xe2\x82\xac");
    EXPECT_EQ(utf8FromUtf16Be("\xd8\x3d\xde\x00"s), "\xf0\x9f\x98\x80");
    EXPECT_EQ(utf8FromUtf16Be(""), "");
    EXPECT_FALSE(utf8FromUtf16Be("A"));
    EXPECT_FALSE(utf8FromUtf16Be("\xd8\x3d"s)) << "high surrogate at the end";
    EXPECT_FALSE(utf8FromUtf16Be("\xd8\x3d\0A"s)) << "high surrogate before a letter";
    EXPECT_FALSE(utf8FromUtf16Be("\xde\0\0A"s)) << "low surrogate first";
}

TEST(Text, WritesGeneralizedTime) {
    EXPECT_EQ(generalizedTime(86399), "19700101235959Z");
}

} // namespace
