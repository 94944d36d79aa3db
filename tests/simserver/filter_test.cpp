#include "filter.h"

#include "ber.h"
#include "result.h"
#include "wire.h"

#include <gtest/gtest.h>

namespace {

using namespace stratasim;
using Match = Filter::Match;
using wire::equality;
using wire::hex;
using wire::present;
using wire::text;
using wire::tlv;

std::string both(const std::string &a, const std::string &b) {
    return tlv(0xa0, a + b);
}
std::string either(const std::string &a, const std::string &b) {
    return tlv(0xa1, a + b);
}
std::string negated(const std::string &a) {
    return tlv(0xa2, a);
}
std::string ordered(std::uint8_t tag, const char *attribute, const char *value) {
    return tlv(tag, text(attribute) + text(value));
}
std::string pieces(const char *attribute, const std::string &list) {
    return tlv(0xa4, text(attribute) + tlv(0x30, list));
}
std::string extensible(const char *rule, const char *attribute, const char *value,
                       bool dnAttributes = false) {
    return tlv(0xa9, (*rule != 0 ? tlv(0x81, rule) : "") +
                         (*attribute != 0 ? tlv(0x82, attribute) : "") + tlv(0x83, value) +
                         (dnAttributes ? tlv(0x84, "\xff") : ""));
}

Filter decode(const std::string &bytes) {
    ber::Reader reader(asBytes(bytes));
    Filter filter = Filter::decode(reader);
    EXPECT_TRUE(reader.atEnd());
    return filter;
}

class FilterTest : public testing::Test {
  protected:
    FilterTest() {
        Entry top;
        top.add("dc", "com");
        Entry ada;
        ada.set("objectClass", {"top", "person"});
        ada.add("cn", "Ada Brandt");
        ada.add("description;lang-en", "first");
        ada.add("telephoneNumber", "+49 30 555-0001");
        ada.add("uidNumber", "1000");
        ada.add("userPassword", "secret");
        ada.set("member", {"cn=x,  dc=com"});
        tree_.addRoot(requireDn("dc=com"), std::move(top));
        node_ = &tree_.add(requireDn("cn=Ada Brandt,dc=com"), std::move(ada));
    }

    Match match(const std::string &bytes) const { return decode(bytes).evaluate(*node_); }

    Tree tree_;
    const Node *node_;
};

TEST_F(FilterTest, Items) {
    const std::pair<std::string, Match> cases[] = {
        {present("cn"), Match::True},
        {present("sn"), Match::False},
        {present("entryDN"), Match::True},
        {equality("cn", " ada  BRANDT"), Match::True},
        {equality("commonName", "ada brandt"), Match::True},
        {equality("2.5.4.3", "ada brandt"), Match::True},
        {equality("cn", "ada"), Match::False},
        {equality("description", "FIRST"), Match::True},
        {equality("description;lang-de", "first"), Match::False},
        {equality("telephoneNumber", "+4930 5550001"), Match::True},
        {equality("uidNumber", "01000"), Match::True},
        {equality("member", "CN=X,DC=com"), Match::True},
        {equality("hasSubordinates", "false"), Match::True},
        {equality("userPassword", "secret"), Match::Undefined},
        {present("userPassword"), Match::Undefined},
        {equality("no such name", "x"), Match::Undefined},
        {ordered(0xa5, "uidNumber", "999"), Match::True},
        {ordered(0xa5, "uidNumber", "1000"), Match::True},
        {ordered(0xa5, "uidNumber", "1001"), Match::False},
        {ordered(0xa6, "uidNumber", "1000"), Match::True},
        {ordered(0xa6, "uidNumber", "999"), Match::False},
        {ordered(0xa5, "cn", "ada"), Match::True},
        {ordered(0xa6, "cn", "ada"), Match::False},
        {ordered(0xa8, "cn", "ADA brandt"), Match::True},
    };
    for (const auto &[bytes, expected] : cases)
        EXPECT_EQ(match(bytes), expected) << bytes;
}

TEST_F(FilterTest, Substrings) {
    const std::pair<std::string, Match> cases[] = {
        {tlv(0x80, "ADA"), Match::True},
        {tlv(0x80, "brandt"), Match::False},
        {tlv(0x81, "a b"), Match::True},
        {tlv(0x82, "NDT"), Match::True},
        {tlv(0x82, "ada"), Match::False},
        {tlv(0x80, "ada") + tlv(0x81, "r") + tlv(0x82, "t"), Match::True},
        {tlv(0x81, "d") + tlv(0x81, "d"), Match::True},
        {tlv(0x81, "d") + tlv(0x81, "d") + tlv(0x81, "d"), Match::False},
        {tlv(0x80, "ada brandt") + tlv(0x82, "t"), Match::False},
    };
    for (const auto &[list, expected] : cases)
        EXPECT_EQ(match(pieces("cn", list)), expected) << list;
    EXPECT_EQ(match(pieces("userPassword", tlv(0x80, "s"))), Match::Undefined);
}

TEST_F(FilterTest, Sets) {
    const std::string yes = present("cn");
    const std::string no = present("sn");
    const std::string unknown = present("userPassword");
    const std::pair<std::string, Match> cases[] = {
        {both(yes, yes), Match::True},
        {both(yes, no), Match::False},
        {both(yes, unknown), Match::Undefined},
        {both(unknown, no), Match::False},
        {either(no, yes), Match::True},
        {either(no, no), Match::False},
        {either(unknown, no), Match::Undefined},
        {either(unknown, yes), Match::True},
        {negated(no), Match::True},
        {negated(yes), Match::False},
        {negated(unknown), Match::Undefined},
        {tlv(0xa0, ""), Match::True},
        {tlv(0xa1, ""), Match::False},
    };
    for (const auto &[bytes, expected] : cases)
        EXPECT_EQ(match(bytes), expected) << bytes;
}

TEST_F(FilterTest, Extensible) {
    const std::pair<std::string, Match> cases[] = {
        {extensible("", "cn", "ada brandt"), Match::True},
        {extensible("caseExactMatch", "cn", "ada brandt"), Match::False},
        {extensible("2.5.13.5", "cn", "Ada Brandt"), Match::True},
        {extensible("caseIgnoreMatch", "", "PERSON"), Match::True},
        {extensible("caseIgnoreMatch", "", "secret"), Match::False},
        {extensible("", "dc", "com"), Match::False},
        {extensible("", "dc", "COM", true), Match::True},
        {extensible("9.9.9", "cn", "x"), Match::Undefined},
        {extensible("", "userPassword", "secret"), Match::Undefined},
        {extensible("", "a?", "person"), Match::Undefined},
        {extensible("caseIgnoreMatch", "a?", "PERSON"), Match::Undefined},
    };
    for (const auto &[bytes, expected] : cases)
        EXPECT_EQ(match(bytes), expected) << bytes;
}

TEST_F(FilterTest, RefusesWhatIsNoFilter) {
    const std::string cases[] = {
        "",
        tlv(0xa2, ""),
        tlv(0xa2, present("a") + present("b")),
        tlv(0xa3, text("cn")),
        tlv(0xa0, hex("0400")),
        tlv(0xaa, ""),
        pieces("cn", ""),
        pieces("cn", tlv(0x83, "x")),
        pieces("cn", tlv(0x81, "x") + tlv(0x80, "x")),
        pieces("cn", tlv(0x82, "x") + tlv(0x81, "x")),
        tlv(0xa9, tlv(0x83, "x")),
        tlv(0xa9, tlv(0x82, "cn")),
    };
    for (const std::string &bytes : cases) {
        ber::Reader reader(asBytes(bytes));
        EXPECT_THROW((void)Filter::decode(reader), ber::Error) << bytes;
    }
}

TEST_F(FilterTest, NestsAHundredDeepAndNoDeeper) {
    std::string bytes = present("cn");
    for (int depth = 1; depth < 100; ++depth)
        bytes = negated(bytes);
    EXPECT_EQ(match(bytes), Match::False) << "an odd number of negations";
    bytes = negated(bytes);
    ber::Reader reader(asBytes(bytes));
    EXPECT_THROW((void)Filter::decode(reader), OperationError);
}

} // namespace
