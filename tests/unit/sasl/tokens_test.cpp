// Lists of tokens, call by call.
#include "support/ber.h"
#include "support/case_name.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>
#include <qldapx/digest_challenge.h>

namespace qldapx_test {
namespace {

struct TokenCase {
    const char *name;
    Bytes text;
    const char *calls; // "code:token@position ..."; - for no token, no @ for -1
};

class Tokens : public testing::TestWithParam<TokenCase> {};

// As many calls as the expectation has.
TEST_P(Tokens, Delivered) {
    const Bytes &text = GetParam().text;
    auto block = std::make_unique<char[]>(text.size());
    std::memcpy(block.get(), text.data(), text.size());
    const std::string expected = GetParam().calls;
    void *state = nullptr;
    std::string calls;
    while (calls.size() < expected.size()) {
        const char *token = "untouched";
        std::uint32_t length = 4711;
        std::int32_t position = 4711;
        const int code = parseTokenList(block.get(), static_cast<std::uint32_t>(text.size()),
                                        &token, &length, &state, &position);
        ASSERT_NE(state, nullptr);
        if (token == nullptr) {
            EXPECT_EQ(length, 0U);
        }
        calls += std::string(calls.empty() ? "" : " ") + std::to_string(code) + ":" +
                 (token != nullptr ? std::string(token, length) : "-") +
                 (position != -1 ? "@" + std::to_string(position) : "");
    }
    ldapx_memfree(state);
    EXPECT_EQ(calls, expected);
}

const TokenCase tokenCases[] = {
    {"Empty", "", "0:- 0:-"},
    {"White", " \t", "0:- 0:-"},
    {"One", "a", "1031:a"},
    {"AfterTheLast", "ab", "1031:ab 1031:ab"},
    {"Two", "a,b", "0:a 1031:b"},
    {"WhiteAround", " a , bc ", "0:a 0:bc 0:- 0:-"},
    {"WhiteBeforeTheComma", "a ,b", "0:a 1031:b"},
    {"TrailingComma", "a,", "0:a 1027:- 1027:-"},
    {"TrailingCommaWhite", "a, ", "0:a 1027:-"},
    {"LeadingComma", ",a", "1030:-@0 1031:a"},
    {"TwoCommas", "a,,b", "0:a 1030:-@2 1031:b"},
    {"BadInToken", "a=b", "1030:-@1 1031:a=b"},
    {"BadFirst", "(", "1030:-@0 0:-"},
    {"WordAfterWhite", "a b", "0:a 1026:-@2"},
    {"QuoteIsAToken", "\"a\"", "1031:\"a\""},
    {"Zero", Bytes("a\0", 2), "1030:-@1"},
};

INSTANTIATE_TEST_SUITE_P(Lists, Tokens, testing::ValuesIn(tokenCases), caseName<TokenCase>);

TEST(TokenList, LongerThanPositionsCanSay) {
    void *state = nullptr;
    const char *token = nullptr;
    std::uint32_t length = 0;
    std::int32_t position = 0;
    EXPECT_EQ(parseTokenList("a", 0xFFFFFFFFU, &token, &length, &state, &position), 1021);
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(position, -1);
}

} // namespace
} // namespace qldapx_test
