// Results, errors and texts by themselves.
#include "answers.h"

#include <sstream>

namespace api_test {
namespace {

using qldapx::cstring;
using qldapx::error;
using qldapx::optional_cstring;
using qldapx::result;
using qldapx::unexpected;

qldapx::ldap_text copyOf(const char *text) {
    return qldapx::ldap_text(qldapx::adopt, ldap_strdup(text));
}

result<int> number() {
    return 7;
}
result<int> failure() {
    return unexpected(error(LDAP_NO_SUCH_OBJECT, copyOf("said"), copyOf("o=m")));
}

TEST(CxxResult, HasAValue) {
    result<int> seven = number();
    EXPECT_TRUE(seven.has_value());
    EXPECT_TRUE(static_cast<bool>(seven));
    EXPECT_EQ(*seven, 7);
    *seven = 8;
    const result<int> &constant = seven;
    EXPECT_EQ(*constant, 8);
    EXPECT_EQ(constant.value(), 8);
    EXPECT_EQ(constant.value_or(1), 8);
    EXPECT_EQ(*number(), 7);
    EXPECT_EQ(number().value(), 7);
    EXPECT_EQ(number().value_or(1), 7);
}

TEST(CxxResult, HasAnError) {
    result<int> none = failure();
    EXPECT_FALSE(none.has_value());
    EXPECT_FALSE(static_cast<bool>(none));
    EXPECT_EQ(none.value_or(1), 1);
    EXPECT_EQ(failure().value_or(2), 2);
    const result<int> &constant = none;
    EXPECT_EQ(describe(constant.error()), refused);
    EXPECT_EQ(describe(none.error()), refused);
    const error taken = std::move(none).error();
    EXPECT_EQ(describe(taken), refused);
    EXPECT_EQ(taken.name(), "No such object");
}

// A reference into a temporary would outlive it.
TEST(CxxResult, OfATemporaryGivesItsValueAway) {
    using Owner = result<std::unique_ptr<int>>;
    static_assert(std::is_same_v<decltype(std::declval<Owner>().value()), std::unique_ptr<int>>);
    static_assert(std::is_same_v<decltype(*std::declval<Owner>()), std::unique_ptr<int>>);
    static_assert(
        std::is_same_v<decltype(std::declval<Owner &>().value()), std::unique_ptr<int> &>);
    static_assert(
        std::is_same_v<decltype(*std::declval<const Owner &>()), const std::unique_ptr<int> &>);
    Owner first = std::make_unique<int>(7), second = std::make_unique<int>(8);
    EXPECT_EQ(*std::move(first).value(), 7);
    EXPECT_EQ(**std::move(second), 8);
}

TEST(CxxResult, IsReachedIntoByArrow) {
    result<std::string> text = std::string("text");
    EXPECT_EQ(text->size(), 4U);
    const result<std::string> constant = std::string("constant");
    EXPECT_EQ(constant->size(), 8U);
}

TEST(CxxResult, IsMadeInPlace) {
    const result<std::string> text(std::in_place, 3U, 'a');
    EXPECT_EQ(*text, "aaa");
}

TEST(CxxResult, OfNothing) {
    result<void> done;
    EXPECT_TRUE(done.has_value());
    done.value();
    const result<void> failed = unexpected(LDAP_PARAM_ERROR);
    EXPECT_FALSE(failed);
    EXPECT_EQ(describe(failed), "-9||");
}

TEST(CxxResult, GoesOnAfterAValue) {
    const auto half = [](int whole) -> result<int> {
        if (whole % 2 == 0)
            return whole / 2;
        return unexpected(LDAP_PARAM_ERROR);
    };
    EXPECT_EQ(describe(result<int>(8).and_then(half)), "4");
    EXPECT_EQ(describe(result<int>(7).and_then(half)), "-9||");
    EXPECT_EQ(describe(failure().and_then(half)), refused);
    EXPECT_EQ(describe(number().transform([](int n) { return n + 1; })), "8");
    EXPECT_EQ(describe(failure().transform([](int n) { return n + 1; })), refused);
    int seen = 0;
    EXPECT_EQ(describe(number().transform([&](int n) { seen = n; })), "done");
    EXPECT_EQ(describe(failure().transform([&](int) { seen = 1; })), refused);
    EXPECT_EQ(seen, 7);
    const auto rescue = [](const error &why) -> result<int> { return why.code(); };
    EXPECT_EQ(describe(number().or_else(rescue)), "7");
    EXPECT_EQ(describe(failure().or_else(rescue)), "32");
    EXPECT_EQ(describe(result<void>().and_then(number)), "7");
    EXPECT_EQ(describe(result<void>(unexpected(1)).and_then(number)), "1||");
}

TEST(CxxResult, KeepsAListOfATemporaryAlive) {
    const auto list = [] {
        char **array = static_cast<char **>(ber_memcalloc(2, sizeof(char *)));
        array[0] = ber_strdup("one");
        return result<qldapx::ldap_text_list>(qldapx::ldap_text_list(qldapx::adopt, array));
    };
    std::string all;
    for (cstring each : *list())
        all += std::string(each);
    EXPECT_EQ(all, "one");
}

TEST(CxxResultDeathTest, MisuseEndsTheProcess) {
    EXPECT_EXIT(static_cast<void>(*failure()), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(static_cast<void>(failure().value()), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(static_cast<void>(number().error()), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(result<void>(unexpected(1)).value(), testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(static_cast<void>(failure().operator->()), testing::KilledBySignal(SIGABRT), "");
}

TEST(CxxUnexpected, ShowsItsError) {
    const unexpected why(LDAP_BUSY);
    EXPECT_EQ(why.error().code(), LDAP_BUSY);
    EXPECT_EQ(unexpected(error(LDAP_BUSY)).error().code(), LDAP_BUSY);
}

TEST(CxxError, WithoutTexts) {
    const error busy(LDAP_BUSY);
    EXPECT_EQ(describe(busy), "51||");
    EXPECT_TRUE(busy.message().empty());
}

struct StaleCase {
    const char *name;
    int remembered;
    int code;
    const char *read;
};

// What the session remembers of an earlier operation does not explain this one.
const StaleCase staleCases[] = {
    {"TheServersRefusal", LDAP_NO_SUCH_OBJECT, LDAP_NO_SUCH_OBJECT, "32|said|o=m"},
    {"AfterASuccess", LDAP_SUCCESS, LDAP_OPERATIONS_ERROR, "1||"},
    {"AfterAnotherRefusal", LDAP_NO_SUCH_OBJECT, LDAP_PARAM_ERROR, "-9||"},
    {"OwnRefusalThatIsStored", LDAP_PARAM_ERROR, LDAP_PARAM_ERROR, "-9||"},
    {"DecodingErrorThatIsStored", LDAP_DECODING_ERROR, LDAP_DECODING_ERROR, "-4||"},
    {"LostConnection", LDAP_SERVER_DOWN, LDAP_SERVER_DOWN, "-1|said|o=m"},
    {"RefusedConnection", LDAP_CONNECT_ERROR, LDAP_CONNECT_ERROR, "-11|said|o=m"},
    {"LocalError", LDAP_LOCAL_ERROR, LDAP_LOCAL_ERROR, "-2|said|o=m"},
};

class CxxErrorOfSession : public testing::TestWithParam<StaleCase> {};

TEST_P(CxxErrorOfSession, HasTheTextsOfItsOperation) {
    const qldapx::session session = *qldapx::initialize("ldap://127.0.0.1:1");
    ldap_set_option(session.get(), LDAP_OPT_DIAGNOSTIC_MESSAGE, "said");
    ldap_set_option(session.get(), LDAP_OPT_MATCHED_DN, "o=m");
    ldap_set_option(session.get(), LDAP_OPT_RESULT_CODE, &GetParam().remembered);
    EXPECT_EQ(describe(error::of_session(session.get(), GetParam().code)), GetParam().read);
}

INSTANTIATE_TEST_SUITE_P(All, CxxErrorOfSession, testing::ValuesIn(staleCases),
                         caseName<StaleCase>);

TEST(CxxCstring, ComparesAndPrintsAsText) {
    const std::string string = "text";
    const cstring text = string;
    EXPECT_EQ(text, "text");
    EXPECT_EQ("text", text);
    EXPECT_EQ(text, string);
    EXPECT_NE(text, "other");
    EXPECT_EQ(text.c_str(), string.c_str());
    EXPECT_EQ(text.view(), "text");
    EXPECT_FALSE(text.empty());
    EXPECT_TRUE(cstring().empty());
    EXPECT_EQ(std::string_view(text), "text");
    std::ostringstream stream;
    stream << text;
    EXPECT_EQ(stream.str(), "text");
}

TEST(CxxCstring, MayBeLeftOut) {
    const std::string string = "text";
    EXPECT_EQ(optional_cstring().c_str(), nullptr);
    EXPECT_EQ(optional_cstring(nullptr).c_str(), nullptr);
    EXPECT_EQ(optional_cstring(string).c_str(), string.c_str());
    EXPECT_EQ(optional_cstring(cstring(string)).c_str(), string.c_str());
    EXPECT_STREQ(optional_cstring("text").c_str(), "text");
}

} // namespace
} // namespace api_test
