#include "dn.h"

#include <gtest/gtest.h>

namespace {

using namespace stratasim;

TEST(Dn, EqualNamesHaveEqualKeys) {
    const std::pair<const char *, const char *> cases[] = {
        {"", ""},
        {"dc=com", "dc=com"},
        {"CN=Ada Brandt,DC=Example,dc=COM", "cn=ada brandt,dc=example,dc=com"},
        {" cn = Ada   Brandt , dc=com ", "cn=ada brandt,dc=com"},
        {"commonName=a,dc=com", "cn=a,dc=com"},
        {"2.5.4.3=a,dc=com", "cn=a,dc=com"},
        {"cn=a\\2Cb,dc=com", "cn=a\\2cb,dc=com"},
        {"cn=a\\,b,dc=com", "cn=a\\2cb,dc=com"},
        {"sn=b+cn=a,dc=com", "cn=a+sn=b,dc=com"},
        {"cn=#040141,dc=com", "cn=a,dc=com"},
        {"cn=a\\20,dc=com", "cn=a,dc=com"},
        {"cn=,dc=com", "cn=,dc=com"},
        {"cn=x=y", "cn=x\\3dy"},
        {"cn=caf\xc3\xa9", "cn=caf\xc3\xa9"},
    };
    for (const auto &[text, key] : cases) {
        const auto dn = Dn::parse(text);
        ASSERT_TRUE(dn) << text;
        EXPECT_EQ(dn->key, key) << text;
        EXPECT_EQ(requireDn(dn->key).key, key) << "a key is a name of the same key";
    }
}

TEST(Dn, RefusesWhatIsNoName) {
    for (const char *text : {"x", "=a", "cn=a,", ",cn=a", "cn=a,,dc=b", "cn=a\\", "cn=a\\2",
                             "cn=a\\zz", "cn=\"a\"", "cn=a;dc=b", "cn=<a>", "cn=a+", "cn=a+b",
                             "cn=#0", "cn=#0401", "cn=#04014142", "c n=a", "cn;lang-en=a"})
        EXPECT_FALSE(Dn::parse(text)) << text;
    EXPECT_FALSE(Dn::parse(std::string("cn=a\0b", 6)));
}

TEST(Dn, KeepsTheFirstRdnAsWritten) {
    const Dn dn = requireDn("CN=Ada\\, B \\  , dc=com");
    EXPECT_EQ(dn.rdnText, "CN=Ada\\, B \\ ");
    ASSERT_EQ(dn.rdn.size(), 1U);
    EXPECT_EQ(dn.rdn[0].type, "CN");
    EXPECT_EQ(dn.rdn[0].value, "Ada, B  ");
}

TEST(Dn, KnowsWhatLiesWithin) {
    EXPECT_TRUE(isWithin("cn=a,dc=b", ""));
    EXPECT_TRUE(isWithin("cn=a,dc=b", "dc=b"));
    EXPECT_TRUE(isWithin("dc=b", "dc=b"));
    EXPECT_FALSE(isWithin("dc=b", "cn=a,dc=b"));
    EXPECT_FALSE(isWithin("cn=a,xdc=b", "dc=b"));
    EXPECT_EQ(parentKey("cn=a,dc=b"), "dc=b");
    EXPECT_EQ(parentKey("dc=b"), "");
}

TEST(Dn, EscapesValuesSoThatTheyComeBack) {
    for (const char *value : {"a", " a ", "#a", "a#", "a,b+c\"d\\e<f>g;h", ""})
        EXPECT_EQ(requireDn("cn=" + escapeRdnValue(value)).rdn.at(0).value, value);
}

} // namespace
