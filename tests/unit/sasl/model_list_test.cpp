// Lists of directives and of tokens: what the library reads in them, and what the model does.
#include "sasl/model_run.h"
#include "sasl/model_text.h"

#include <array>
#include <gtest/gtest.h>
#include <ldap.h>
#include <qldapx/memory.h>
#include <sstream>

namespace qldapx_test::digest_model {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t longestText = 5, randomTexts = 4000;
#else
constexpr std::size_t longestText = 7, randomTexts = 40000;
#endif

std::string shown(const DirectiveList &list) {
    std::ostringstream out;
    out << "code " << list.code << " at " << list.errorPosition;
    for (const Directive &directive : list.directives)
        out << ", " << directive.kind << " " << printable(directive.name) << "="
            << printable(directive.value);
    return out.str();
}

std::string shown(const TokenCall &call) {
    std::ostringstream out;
    out << "code " << call.code << " at " << call.errorPosition << ", " << call.length
        << " bytes at " << call.start;
    return out.str();
}

bool readsDirectives(const std::string &text) {
    const DirectiveList expected = directivesOf(text), found = librarysDirectives(text);
    if (found == expected)
        return true;
    ADD_FAILURE() << printable(text) << "\nfound    " << shown(found) << "\nexpected "
                  << shown(expected);
    return false;
}

// More calls than there can be tokens and faults in the text: some come after its end.
bool readsTokens(const std::string &text) {
    TokenList model(text);
    LibrarysTokenList list(text);
    for (std::size_t number = 1; number <= text.size() + 3; ++number) {
        const TokenCall expected = model.next(), found = list.next();
        if (found == expected)
            continue;
        ADD_FAILURE() << printable(text) << ", call " << number << "\nfound    " << shown(found)
                      << "\nexpected " << shown(expected);
        return false;
    }
    return true;
}

TEST(DirectiveModel, CharacterClasses) {
    for (int byte = 0; byte < 256; ++byte) {
        EXPECT_EQ(isWhiteSpace(static_cast<unsigned char>(byte)),
                  isWhite(static_cast<char>(byte)) ? 1 : 0)
            << byte;
        EXPECT_EQ(isValidTokenChar(static_cast<unsigned char>(byte)),
                  isOfToken(static_cast<char>(byte)) ? 1 : 0)
            << byte;
    }
}

TEST(DirectiveModel, EveryShortText) {
    everyText("a=,\"\\ ", longestText, readsDirectives);
    everyText(std::string_view("a=\"@\0", 5), longestText, readsDirectives);
}

TEST(DirectiveModel, EveryShortTextBehindAName) {
    everyText("a,\"\\ ", longestText,
              [](const std::string &text) { return readsDirectives("n=\"" + text); });
}

const char *const samples[] = {
    R"(realm="a.example",realm="b",nonce="x\"y",qop="auth,auth-int",algorithm=md5-sess)",
    "charset=utf-8 ,\tnonce =  abc\r\n, maxbuf= \"65536\" ,stale=true",
    R"(rspauth=0123456789abcdef0123456789abcdef)",
    R"(a="\\\"\\b", c = "" ,d=e)",
};

TEST(DirectiveModel, EveryByteAtEveryPlace) {
    for (const char *sample : samples)
        everyByteOf(sample, readsDirectives);
}

TEST(DirectiveModel, EveryCut) {
    for (const char *sample : samples)
        for (std::string text = sample; !text.empty(); text.pop_back())
            ASSERT_TRUE(readsDirectives(text));
}

TEST(DirectiveModel, RandomLists) {
    Random random(1);
    for (std::size_t i = 0; i < randomTexts; ++i)
        ASSERT_TRUE(readsDirectives(damaged(random, randomDirectives(random))));
}

// A lie about the length is found before a byte is read.
TEST(DirectiveModel, MoreThanPositionsCanSay) {
    const ExactText text("a=b");
    for (const std::uint32_t length : {0x80000000U, 0xFFFFFFFFU}) {
        ParsedDirective record{}, *list = &record;
        std::int32_t position = 4711;
        EXPECT_EQ(parseDirectiveList(text.get(), length, &list, &position), 1021);
        EXPECT_EQ(list, nullptr);
        EXPECT_EQ(position, -1);
        const char *token = text.get();
        std::uint32_t tokenLength = 4711;
        void *state = nullptr;
        position = 4711;
        EXPECT_EQ(parseTokenList(text.get(), length, &token, &tokenLength, &state, &position),
                  1021);
        EXPECT_EQ(token, nullptr);
        EXPECT_EQ(tokenLength, 0U);
        EXPECT_EQ(state, nullptr);
        EXPECT_EQ(position, -1);
    }
}

TEST(TokenModel, EveryShortText) {
    everyText("a, @", longestText + 1, readsTokens);
    everyText(std::string_view("a,\"\t\0=", 6), longestText - 1, readsTokens);
}

TEST(TokenModel, EveryByteAtEveryPlace) {
    for (const char *sample : {"auth,auth-int,auth-conf", " 3des\t, des ,\r\nrc4-40 ", "a"})
        everyByteOf(sample, readsTokens);
}

TEST(TokenModel, RandomLists) {
    Random random(2);
    for (std::size_t i = 0; i < randomTexts; ++i)
        ASSERT_TRUE(readsTokens(damaged(random, randomTokens(random))));
}

// A list that a caller builds step by step, with names and values of whatever is in the text.
class Building {
  public:
    explicit Building(std::string_view text) : text_(text), bytes_(text) {
        parser_.text = bytes_.get();
    }
    ~Building() { freeParsedDirectives(parser_.first); }
    Building(const Building &) = delete;
    Building &operator=(const Building &) = delete;

    int addName(std::size_t start, std::size_t end) {
        place(start, end);
        // Read up to its first zero.
        expected_.push_back({0, std::string(text_.substr(start, end - start)).c_str(), ""});
        return addDirective(&parser_);
    }
    int addValueOf(std::size_t start, std::size_t end, bool isQuoted, bool unescape) {
        place(start, end);
        parser_.state = isQuoted ? 7 : 8;
        expected_.back().kind = isQuoted ? 1 : 2;
        expected_.back().value = valueOf(text_.substr(start, end - start), unescape);
        return addValue(&parser_, unescape ? 1 : 0);
    }
    [[nodiscard]] bool isAsExpected() const {
        const ParsedDirective *last = parser_.first;
        while (last != nullptr && last->next != nullptr)
            last = last->next;
        return last == parser_.last && describe(parser_.first) == expected_;
    }

  private:
    void place(std::size_t start, std::size_t end) {
        parser_.start = static_cast<std::int32_t>(start);
        parser_.position = static_cast<std::int32_t>(end);
    }

    std::string_view text_;
    ExactText bytes_;
    DirectiveParser parser_{};
    std::vector<Directive> expected_;
};

std::array<std::size_t, 2> randomSpan(Random &random, const std::string &text) {
    const std::size_t start = random.below(text.size() + 1);
    return {start, start + random.below(text.size() - start + 1)};
}

TEST(DirectiveModel, ListsBuiltByTheirCaller) {
    Random random(3);
    for (std::size_t i = 0; i < randomTexts / 10; ++i) {
        const std::string text = damaged(random, R"(name="\a\\b\"c\",d\")");
        Building building(text);
        for (std::size_t count = random.below(5); count > 0; --count) {
            const auto name = randomSpan(random, "name");
            ASSERT_EQ(
                building.addName(std::min(name[0], text.size()), std::min(name[1], text.size())),
                0);
            const auto value = randomSpan(random, text);
            if (!random.oneIn(4)) {
                ASSERT_EQ(building.addValueOf(value[0], value[1], random.oneIn(2), random.oneIn(2)),
                          0);
            }
        }
        ASSERT_TRUE(building.isAsExpected()) << printable(text);
    }
}

TEST(DirectiveModel, AValueWithoutADirective) {
    char text[] = "value";
    DirectiveParser parser{5, 0, text, 7, nullptr, nullptr};
    for (const int unescape : {0, 1})
        EXPECT_EQ(addValue(&parser, unescape), LDAP_PARAM_ERROR);
    EXPECT_EQ(parser.first, nullptr);
    EXPECT_EQ(parser.last, nullptr);
}

} // namespace
} // namespace qldapx_test::digest_model
