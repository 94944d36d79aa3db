// Lists of directives: every transition of the reader, what a value becomes, and what is left after
// a failure.
#include "support/ber.h"
#include "support/case_name.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx/digest_challenge.h>

namespace qldapx_test {
namespace {

struct FreeDirectives {
    void operator()(ParsedDirective *list) const { freeParsedDirectives(list); }
};

struct Parsed {
    explicit Parsed(const Bytes &text) {
        // A block of exactly its size, so that a sanitizer sees each byte too many.
        auto block = std::make_unique<char[]>(text.size());
        std::memcpy(block.get(), text.data(), text.size());
        ParsedDirective *head = reinterpret_cast<ParsedDirective *>(block.get());
        position = 4711;
        code = parseDirectiveList(block.get(), static_cast<std::uint32_t>(text.size()), &head,
                                  &position);
        list.reset(head);
    }

    // "name=value/kind/length ...", the value with zeros as 0.
    [[nodiscard]] std::string describe() const {
        std::string text;
        for (const ParsedDirective *each = list.get(); each != nullptr; each = each->next) {
            Bytes value(each->value, static_cast<std::size_t>(each->valueLength) + 1);
            for (char &c : value)
                c = c == '\0' ? '0' : c;
            text += std::string(text.empty() ? "" : " ") + each->name + "=" + value + "/" +
                    std::to_string(each->kind) + "/" + std::to_string(each->valueLength);
        }
        return text;
    }

    int code = 0;
    std::int32_t position = 0;
    std::unique_ptr<ParsedDirective, FreeDirectives> list;
};

struct ListCase {
    const char *name;
    Bytes text;
    int code;
    int position;
    const char *list;
};

class Directives : public testing::TestWithParam<ListCase> {};

TEST_P(Directives, Read) {
    const Parsed parsed(GetParam().text);
    EXPECT_EQ(parsed.code, GetParam().code);
    EXPECT_EQ(parsed.position, GetParam().position);
    EXPECT_EQ(parsed.describe(), GetParam().list);
}

const ListCase listCases[] = {
    {"Empty", "", 0, -1, ""},
    {"White", "\t\n\r ", 0, -1, ""},
    {"One", "a=b", 0, -1, "a=b0/2/1"},
    {"Quoted", "a=\"b\"", 0, -1, "a=b0/1/1"},
    {"Several", "a=b,c=\"d\",e=f", 0, -1, "a=b0/2/1 c=d0/1/1 e=f0/2/1"},
    {"WhiteEverywhere", " a \t=\r\n b , c = \"d\" ", 0, -1, "a=b0/2/1 c=d0/1/1"},
    {"EmptyQuoted", "a=\"\"", 0, -1, "a=0/1/0"},
    {"CommaQuoted", "a=\"b,c=d\"", 0, -1, "a=b,c=d0/1/5"},
    {"QuoteInToken", "a=b\"c", 0, -1, "a=b\"c0/2/3"},
    {"QuoteInName", "\"a=b", 0, -1, "\"a=b0/2/1"},
    {"SlashAndHighBytes", "/\xff=/\x80", 0, -1,
     "/\xff=/\x80"
     "0/2/2"},
    {"CaseIsKept", "A=B,a=b", 0, -1, "A=B0/2/1 a=b0/2/1"},
    {"Escape", "a=\"x\\\"y\"", 0, -1, "a=x\"y00/1/4"},
    {"EscapedBackslash", "a=\"x\\\\y\"", 0, -1, "a=x\\y00/1/4"},
    {"EscapesEndWithTheString", "a=\"\\x\",b=\"y\\\"", 1029, -1, ""},
    {"EscapesAreForgotten", "a=\"\\x\",b=\"yz\"", 0, -1, "a=x00/1/2 b=yz0/1/2"},
    {"BackslashBeforeTheQuote", "a=\"x\\\\\"", 1029, -1, ""},
    {"BackslashBeforeTheQuoteGoesOn", "a=\"x\\\\\" \"", 0, -1, "a=x\\\" 00/1/5"},
    {"ZeroInQuotes", Bytes("a=\"x\0y\"", 7), 0, -1, "a=x0y0/1/3"},
    {"LeadingComma", ",a=b", 1022, 0, ""},
    {"TwoCommas", "a=b,,c=d", 1022, 4, ""},
    {"NameEquals", "=b", 1022, 0, ""},
    {"NamePercent", "a%=b", 1022, 1, ""},
    {"NameZero", Bytes("a\0=b", 4), 1022, 1, ""},
    {"AfterCommaBad", "a=b, (", 1022, 5, ""},
    {"NameThenComma", "a,b=c", 1022, 1, ""},
    {"NameThenWord", "a b=c", 1023, 2, ""},
    {"NameThenQuote", "a \"", 1023, 2, ""},
    {"NameThenWhiteComma", "a ,", 1023, 2, ""},
    {"ValueComma", "a=,b=c", 1024, 2, ""},
    {"ValueEquals", "a==b", 1024, 2, ""},
    {"ValueBackslash", "a=\\\"b\"", 1024, 2, ""},
    {"TokenThenEquals", "a=b=c", 1025, 3, ""},
    {"TokenThenBackslash", "a=b\\c", 1025, 3, ""},
    {"AfterValueWord", "a=\"b\"c", 1026, 5, ""},
    {"AfterValueWhiteWord", "a=b c", 1026, 4, ""},
    {"AfterValueQuote", "a=\"b\"\"", 1026, 5, ""},
    {"TrailingComma", "a=b,", 1027, -1, ""},
    {"TrailingCommaWhite", "a=b, ", 1027, -1, ""},
    {"NameOnly", "a", 1028, -1, ""},
    {"NameWhite", "a ", 1028, -1, ""},
    {"NoValue", "a=", 1028, -1, ""},
    {"NoValueWhite", "a= ", 1028, -1, ""},
    {"OpenQuote", "a=\"b", 1029, -1, ""},
    {"OpenQuoteAtOnce", "a=\"", 1029, -1, ""},
    {"VerticalTabIsNotWhite", "\va=b", 1022, 0, ""},
    {"FormFeedIsNotWhite", "a=b\f", 1025, 3, ""},
};

INSTANTIATE_TEST_SUITE_P(Lists, Directives, testing::ValuesIn(listCases), caseName<ListCase>);

TEST(DirectiveBytes, ClassesOfAll256) {
    const std::string white = "\t\n\r ", apart = "%(),:;<=>?@[\\]{}";
    for (int c = 0; c < 256; ++c) {
        const char byte = static_cast<char>(c);
        const bool isWhite = white.find(byte) != std::string::npos;
        const bool isToken = c >= 33 && c != 127 && apart.find(byte) == std::string::npos;
        EXPECT_EQ(isWhiteSpace(static_cast<unsigned char>(c)), isWhite) << c;
        EXPECT_EQ(isValidTokenChar(static_cast<unsigned char>(c)), isToken) << c;
    }
}

TEST(DirectiveList, LongerThanPositionsCanSay) {
    ParsedDirective untouched = {};
    ParsedDirective *list = &untouched;
    std::int32_t position = 0;
    EXPECT_EQ(parseDirectiveList("a", 0x80000000U, &list, &position), 1021);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(position, -1);
}

TEST(DirectiveList, BuiltByHand) {
    DirectiveParser parser = {3, 1, "xname=va\\lue", 0, nullptr, nullptr};
    EXPECT_EQ(addValue(&parser, 0), LDAP_PARAM_ERROR);
    ASSERT_EQ(addDirective(&parser), 0);
    const std::unique_ptr<ParsedDirective, FreeDirectives> list(parser.first);
    EXPECT_STREQ(list->name, "na");
    EXPECT_EQ(list->kind, 0);
    EXPECT_EQ(list->value, nullptr);
    EXPECT_EQ(parser.last, list.get());
    parser.start = 6;
    parser.position = 12;
    parser.state = 7;
    ASSERT_EQ(addValue(&parser, 1), 0);
    EXPECT_EQ(list->kind, 1);
    EXPECT_EQ(list->valueLength, 6);
    EXPECT_EQ(Bytes(list->value, 7), Bytes("value\0\0", 7));
}

TEST(DirectiveList, ABackslashAtTheEnd) {
    DirectiveParser parser = {0, 0, "a\\", 8, nullptr, nullptr};
    ASSERT_EQ(addDirective(&parser), 0);
    const std::unique_ptr<ParsedDirective, FreeDirectives> list(parser.first);
    parser.position = 2;
    ASSERT_EQ(addValue(&parser, 1), 0);
    EXPECT_EQ(list->kind, 2);
    EXPECT_EQ(Bytes(list->value, 3), Bytes("a\0\0", 3));
}

TEST(DirectiveList, NoneToRelease) {
    freeParsedDirectives(nullptr);
}

} // namespace
} // namespace qldapx_test
