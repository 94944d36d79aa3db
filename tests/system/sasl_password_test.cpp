#include "digest_password.h"

#include <gtest/gtest.h>
#include <string>

namespace test {
namespace {

struct Conversion {
    std::string given;
    std::string hashed;
};

const Conversion conversions[] = {
    {"", ""},
    {"secret", "secret"},
    {{"a\0b", 3}, {"a\0b", 3}},
    {"\x7f", "\x7f"},
    {"\xc2\x80", "\x80"},                                     // the first one beyond ASCII
    {"gr\xc3\xbc\xc3\x9f", "gr\xfc\xdf"},                     //
    {"\xc3\xbf", "\xff"},                                     // the last one of ISO 8859-1
    {"\xc4\x80", "\xc4\x80"},                                 // the first one that is not there
    {"\xce\xb1\xce\xb2", "\xce\xb1\xce\xb2"},                 //
    {"\xc3\xbc\xce\xb1", "\xc3\xbc\xce\xb1"},                 // all or nothing
    {"\xc3\xbc\xf0\x9f\x94\x91", "\xc3\xbc\xf0\x9f\x94\x91"}, //
    {"gr\xfc\xdf", "gr\xfc\xdf"},                             // no UTF-8
    {"\xc3\xbc\xfc", "\xc3\xbc\xfc"},                         //
    {"\xc3\xbc\xc3", "\xc3\xbc\xc3"},                         // cut
    {"\xc0\xbc", "\xc0\xbc"},                                 // longer than needed
};

TEST(SaslPassword, IsHashedInIso8859WhereItCanBe) {
    for (const Conversion &each : conversions) {
        const qldapx::Secret given(each.given);
        EXPECT_EQ(qldapx::digestPassword(given).view(), each.hashed) << each.given;
        EXPECT_EQ(given.view(), each.given);
    }
}

} // namespace
} // namespace test
