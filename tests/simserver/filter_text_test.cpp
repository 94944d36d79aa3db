#include "filter_text.h"

#include "events.h"
#include "result.h"

#include <gtest/gtest.h>

namespace {

using stratasim::Filter;
using stratasim::parseFilter;

stratasim::Node ada() {
    stratasim::Node node;
    node.entry.set("string1", {"cn=Ada (x)*"});
    node.entry.set("number1", {"12"});
    node.entry.set("sequence1", {"one", "two"});
    return node;
}

TEST(FilterText, Matches) {
    const std::pair<const char *, bool> cases[] = {
        {"(string1=cn=ada \\28x\\29\\2a)", true},
        {"string1=cn=ada \\28x\\29\\2a", true},
        {"(string1=cn=bob)", false},
        {"(string1=*)", true},
        {"(none=*)", false},
        {"(string1=cn*)", true},
        {"(string1=*ada*)", true},
        {"(string1=*\\2A)", true},
        {"(string1=c*a*x*)", true},
        {"(string1=*x*a*)", false},
        {"(number1=12)", true},
        {"(number1>=9)", true},
        {"(number1<=9)", false},
        {"(number1~=12)", true},
        {"(sequence1=TWO)", true},
        {"(sequence1:caseExactMatch:=TWO)", false},
        {"(sequence1:caseExactMatch:=two)", true},
        {"(:caseIgnoreMatch:=TWO)", true},
        {"(sequence1:=two)", true},
        {"(cn:dn:=x)", false},
        {"(cn:dn:2.5.13.2:=x)", false},
        {"(&(number1=12)(sequence1=one))", true},
        {"(&(number1=12)(sequence1=three))", false},
        {"(|(number1=1)(sequence1=one))", true},
        {"(!(number1=1))", true},
        {"(&)", true},
        {"(|)", false},
        {"(string1=)", false},
        {"(&(|(number1=1)(!(number1=1)))(string1=*))", true},
    };
    for (const auto &[text, matches] : cases)
        EXPECT_EQ(parseFilter(text).evaluate(ada()) == Filter::Match::True, matches) << text;
}

TEST(FilterText, MistakesAreNamedWithTheirPlace) {
    const std::pair<const char *, int> cases[] = {
        {"", 1},         {"(", 2},        {"()", 2},
        {"(a", 3},       {"(a)", 3},      {"(a=b", 5},
        {"(a=b))", 6},   {"(a=b)x", 6},   {"(=b)", 2},
        {"(a=(b)", 4},   {"(a=\\)", 4},   {"(a=\\2)", 4},
        {"(a=\\zz)", 4}, {"(a=b**c)", 6}, {"(a>=b*)", 6},
        {"(a>b)", 3},    {"(!)", 3},      {"(!(a=b)(c=d))", 8},
        {"(&(a=b)", 8},  {"(&a=b)", 3},   {"(:=x)", 4},
        {"(a:b)", 5},    {"(a:dn)", 6},   {"a b=c", 2},
        {"(a:b=c)", 5},  {"(**=c)", 2},   {"(a=\\", 4},
        {"(a:=b*)", 6},
    };
    for (const auto &[text, place] : cases) {
        try {
            parseFilter(text);
            ADD_FAILURE() << text;
        } catch (const stratasim::OperationError &error) {
            EXPECT_EQ(error.result().code, stratasim::ResultCode::ProtocolError);
            const std::string start = "the filter \"" + std::string(text) + "\" is wrong at byte " +
                                      std::to_string(place) + ": ";
            EXPECT_EQ(error.result().diagnostic.substr(0, start.size()), start)
                << error.result().diagnostic;
        }
    }
}

// What no attribute can be called is for the evaluation to find, as in a search.
TEST(FilterText, NamesOfNoAttributeAreTaken) {
    for (const char *text : {"(a?=b)", "(a?:=b)", "(\x7f:=b)", "(a?:caseIgnoreMatch:=b)"})
        EXPECT_NO_THROW(parseFilter(text)) << text;
}

TEST(FilterText, NestingIsBounded) {
    const auto nested = [](std::size_t depth) {
        std::string text;
        for (std::size_t i = 1; i < depth; ++i)
            text += "(!";
        return text + "(a=b)" + std::string(depth - 1, ')');
    };
    EXPECT_NO_THROW(parseFilter(nested(100)));
    EXPECT_THROW(parseFilter(nested(101)), stratasim::OperationError);
    EXPECT_THROW(parseFilter(std::string(1000000, '(')), stratasim::OperationError);
    try {
        parseFilter("(a=b" + std::string(1000000, 'x'));
    } catch (const stratasim::OperationError &error) {
        EXPECT_LT(error.result().diagnostic.size(), 400U);
    }
}

/** What a filter finds in an event. */
TEST(EventFilter, SeesTheFieldsOfTheRecord) {
    const std::pair<const char *, bool> cases[] = {
        {"(string1=cn=ada*)", true},
        {"(STRING1=cn=Ada Brandt,ou=people,dc=example,dc=com)", true},
        {"(string2=title)", false},
        {"(string3=*)", false},  // empty is as if it were not there
        {"(number2=102)", true}, // the tag of a modify
        {"(number2>=100)", true},
        {"(number4=0)", true},
        {"(eventResult=0)", true},
        {"(eventResult=1)", false},
        {"(kind=117)", true},
        {"(sequence1=title)", true},
        {"(sequence1=description)", true},
        {"(sequence1=cn)", false},
        {"(connection=cn=admin,*)", true},
        {"(connection=cn=ada,*)", false},
        {"(value=*)", false},
        {"(!(value=*))", true},
        {"", true},
    };
    for (const auto &[filter, matches] : cases) {
        InProcess server;
        server.bindAdmin();
        Monitored monitor(server, {{17, 0, filter}}, true);
        ASSERT_EQ(monitor.first().code, 0) << monitor.first().diagnostic;
        server.code(wire::modify(kAda, {{2, {"title", {"x"}}}, {2, {"description", {"y"}}}}));
        EXPECT_EQ(monitor.events().size(), matches ? 1U : 0U) << filter;
    }
}

TEST(EventFilter, EachSpecificationHasItsOwn) {
    InProcess server;
    server.bindAdmin();
    Monitored monitor(server, {{5, 0, "(value=x)"}, {5, 0, "(string2=mail)"}, {6, 0, "(value=x)"}},
                      true);
    server.code(wire::modify(kAda, {{2, {"title", {"x"}}}, {0, {"mail", {"m"}}}}));
    EXPECT_EQ(monitor.events().size(), 2U);
    server.code(wire::modify(kAda, {{2, {"title", {"y"}}}}));
    EXPECT_EQ(monitor.events().size(), 1U);
}

} // namespace
