#include "schema_fixture.h"

namespace {

using namespace schema_server;

const std::string kTypes = "attributeTypes";
const std::string kClasses = "objectClasses";

class SchemaInForce : public SchemaFixture {
  protected:
    static constexpr const char *kEntry = "cn=Nova,dc=example,dc=com";

    std::size_t found(const std::string &filter) {
        return server_.ask(wire::search({.filter = filter})).entries.size();
    }
    int put(const std::vector<wire::Values> &more) {
        std::vector<wire::Values> all = {{"objectClass", {"person"}}, {"cn", {"Nova"}}};
        all.insert(all.end(), more.begin(), more.end());
        return server_.code(wire::add(kEntry, all));
    }
};

TEST_F(SchemaInForce, NamesAndMatching) {
    accept({add(kTypes, {"( 1.2.3 NAME ( 'mine' 'alias' ) EQUALITY caseExactMatch SYNTAX "
                         "1.3.6.1.4.1.1466.115.121.1.15 )",
                         "( 1.2.4 NAME 'derived' SUP mine SINGLE-VALUE )",
                         "( 1.2.5 NAME 'counter' EQUALITY integerMatch SYNTAX "
                         "1.3.6.1.4.1.1466.115.121.1.27 )",
                         "( 1.2.6 NAME 'friend' SUP seeAlso )"})});
    EXPECT_EQ(put({{"derived", {"a", "b"}}}), 19);
    ASSERT_EQ(put({{"alias", {"One", "one"}},
                   {"derived", {"Two"}},
                   {"counter", {"07"}},
                   {"friend", {"cn=A, dc=B"}}}),
              0);
    EXPECT_EQ(found(wire::equality("mine", "One")), 1U);
    EXPECT_EQ(found(wire::equality("1.2.3", "one")), 1U);
    EXPECT_EQ(found(wire::equality("ALIAS", "ONE")), 0U);
    EXPECT_EQ(found(wire::equality("derived", "two")), 0U);
    EXPECT_EQ(found(wire::equality("derived", "Two")), 1U);
    EXPECT_EQ(found(wire::equality("counter", "7")), 1U);
    EXPECT_EQ(found(wire::equality("friend", "CN=a,DC=b")), 1U);
    EXPECT_EQ(server_.code(wire::compare(kEntry, "mine", "One")), 6);
    EXPECT_EQ(server_.code(wire::modify(kEntry, {{0, {"derived", {"c"}}}})), 19);
}

TEST_F(SchemaInForce, OperationalAttributes) {
    accept({add(kTypes, {"( 1.2.3 NAME 'hidden' EQUALITY caseIgnoreMatch SYNTAX "
                         "1.3.6.1.4.1.1466.115.121.1.15 USAGE dSAOperation )",
                         "( 1.2.4 NAME 'kept' EQUALITY caseIgnoreMatch SYNTAX "
                         "1.3.6.1.4.1.1466.115.121.1.15 NO-USER-MODIFICATION USAGE "
                         "directoryOperation )"})});
    EXPECT_EQ(put({{"kept", {"x"}}}), 19);
    ASSERT_EQ(put({{"hidden", {"x"}}}), 0);
    const auto names = [&](const std::vector<std::string> &wanted) {
        const auto response =
            server_.ask(wire::search({.base = kEntry, .scope = 0, .attributes = wanted}));
        return response.entryAttributes.at(0).size();
    };
    EXPECT_EQ(names({"*"}), 2U);
    EXPECT_EQ(names({"hidden"}), 1U);
}

TEST_F(SchemaInForce, AttributesThatWereThereBefore) {
    ASSERT_EQ(put({{"alias", {"One"}}, {"1.2.9", {"x"}}}), 0);
    EXPECT_EQ(found(wire::equality("mine", "One")), 0U);
    accept({add(kTypes, {"( 1.2.3 NAME ( 'mine' 'alias' ) SUP name )",
                         "( 1.2.9 NAME 'numbered' SUP name )"})});
    EXPECT_EQ(found(wire::equality("mine", "One")), 1U);
    EXPECT_EQ(found(wire::equality("numbered", "x")), 1U);
}

TEST_F(SchemaInForce, NamesOfEntries) {
    accept({add(kTypes, {"( 1.2.3 NAME ( 'mine' 'alias' ) SUP name )"})});
    ASSERT_EQ(server_.code(wire::add("mine=a,dc=example,dc=com",
                                     {{"objectClass", {"top"}}, {"alias", {"A"}}})),
              0);
    EXPECT_EQ(server_.code(wire::compare("1.2.3=A,dc=example,dc=com", "mine", "a")), 6);
    accept({remove(kTypes, {"( 1.2.3 NAME ( 'mine' 'alias' ) SUP name )"}),
            add(kTypes, {"( 1.2.3 NAME ( 'alias' 'mine' 'more' ) SUP name )"})});
    EXPECT_EQ(server_.code(wire::compare("more=a,dc=example,dc=com", "mine", "a")), 6);
}

TEST_F(SchemaInForce, EachServerHasItsOwn) {
    InProcess other;
    accept({add(kTypes, {"( 1.2.3 NAME ( 'mine' 'alias' ) SUP name )"})});
    const std::string entry =
        wire::add("cn=Nova,dc=example,dc=com",
                  {{"objectClass", {"person"}}, {"cn", {"Nova"}}, {"alias", {"1"}}});
    other.bindAdmin();
    EXPECT_EQ(other.code(entry), 0);
    EXPECT_EQ(server_.code(entry), 0);
    EXPECT_EQ(other.ask(wire::search({.filter = wire::present("mine")})).entries.size(), 0U);
    EXPECT_EQ(found(wire::present("mine")), 1U);
}

TEST_F(SchemaInForce, EffectiveRightsOfANewClass) {
    accept({add(kTypes, {"( 1.2.3 NAME 'mine' SUP name )"}),
            add(kClasses, {"( 1.2.4 NAME 'base' ABSTRACT MUST mine )",
                           "( 1.2.5 NAME 'derived' SUP base STRUCTURAL MAY ( cn $ mail ) )"})});
    const std::string value = wire::tlv(0x30, wire::tlv(0x81, wire::tlv(0x81, "DERIVED")));
    const auto response = server_.ask(wire::search({.base = kAda, .scope = 0}),
                                      wire::control("2.16.840.1.907341.1.27.101.33", true, &value));
    ASSERT_EQ(response.code, 0) << response.diagnostic;
    const auto &rights = response.entryAttributes.at(0).at(1);
    ASSERT_EQ(rights.values.size(), 3U);
    EXPECT_TRUE(rights.values[0].starts_with("mine: "));
    EXPECT_TRUE(rights.values[1].starts_with("cn: "));
    EXPECT_TRUE(rights.values[2].starts_with("mail: "));
}

} // namespace
