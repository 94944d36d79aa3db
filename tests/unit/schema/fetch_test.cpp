// The subschema subentry found and fetched: what is asked, and what comes of each answer.
#include "schema/samples.h"

#include "support/case_name.h"
#include "support/expected_leak.h"

#include <gmock/gmock.h>
#include <qldapx/schema_element.h>

namespace qldapx_test {
namespace {

using testing::ElementsAre;

// SearchRequest ::= [APPLICATION 3] SEQUENCE { baseObject, scope, derefAliases, sizeLimit,
//     timeLimit, typesOnly, filter, attributes }: a base search for (objectclass=*).
Bytes baseSearch(int id, const std::string &base, int sizeLimit, const Bytes &attributes) {
    return ldapMessage(id, tlv(0x63, octetString(base) + fromHex("0a 01 00 0a 01 00") +
                                         integer(sizeLimit) + fromHex("02 01 00 01 01 00") +
                                         tlv(0x87, "objectclass") + tlv(0x30, attributes)));
}

Bytes rootSearch(int id) {
    return baseSearch(id, "", 0, octetString("subschemaSubentry"));
}

Bytes schemaSearch(int id, const std::string &dn, int sizeLimit = 0) {
    Bytes attributes;
    for (const char *name :
         {"attributeTypes", "objectClasses", "ldapSyntaxes", "matchingRules", "matchingRuleUse",
          "dITContentRules", "dITStructureRules", "nameForms"})
        attributes += octetString(name);
    return baseSearch(id, dn, sizeLimit, attributes);
}

ScriptedPeer::Step rootAnswer(const std::vector<std::string> &dns) {
    return subentryAnswer({{"subschemaSubentry", dns}});
}

ScriptedPeer::Step refusal(int code) {
    return ScriptedPeer::answer(searchDone(code));
}

TEST(SchemaDn, IsAskedOfTheRootDse) {
    ScriptedPeer peer({rootAnswer({"cn=first", "cn=second"})});
    char *dn = nullptr;
    EXPECT_EQ(get_schema_dn(peer.session(), &dn), LDAP_SUCCESS);
    EXPECT_STREQ(dn, "cn=first");
    std::free(dn);
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_EQ(toHex(peer.received()[0]), toHex(rootSearch(1)));
}

struct DnCase {
    const char *name;
    ScriptedPeer::Step answer;
    int result;
};

const DnCase dnCases[] = {
    {"NoEntry", refusal(0), LDAP_NO_RESULTS_RETURNED},
    {"NoAttribute", subentryAnswer({}), LDAP_NO_RESULTS_RETURNED},
    {"NoValue", rootAnswer({}), LDAP_NO_RESULTS_RETURNED},
    {"Refused", refusal(50), LDAP_INSUFFICIENT_ACCESS},
    {"RefusedWithEntry",
     ScriptedPeer::answers({subentry({{"subschemaSubentry", {"cn=a"}}}), searchDone(4)}),
     LDAP_SIZELIMIT_EXCEEDED},
    {"Closed", ScriptedPeer::closeConnection(), LDAP_SERVER_DOWN},
};

class SchemaDnTest : public testing::TestWithParam<DnCase> {};

TEST_P(SchemaDnTest, GivesTheCode) {
    ScriptedPeer peer({GetParam().answer});
    char unset[] = "unset";
    char *dn = unset;
    EXPECT_EQ(get_schema_dn(peer.session(), &dn), GetParam().result);
    EXPECT_EQ(dn, nullptr);
}

// A fetch without a DN ends with the same code; the second search is not sent.
TEST_P(SchemaDnTest, EndsAFetch) {
    ScriptedPeer peer({GetParam().answer});
    LDAPSchema *schema = nullptr;
    EXPECT_EQ(ldap_schema_fetch(peer.session(), &schema, nullptr), GetParam().result);
    EXPECT_NE(schema, nullptr) << "it is left pointing at what was released";
    EXPECT_EQ(peer.received().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(All, SchemaDnTest, testing::ValuesIn(dnCases), caseName<DnCase>);

// The first attribute counts, whatever its name.
TEST(SchemaDn, IsTheFirstAttributesFirstValue) {
    ScriptedPeer peer({subentryAnswer({{"other", {"cn=other"}}, {"subschemaSubentry", {"x"}}})});
    char *dn = nullptr;
    EXPECT_EQ(get_schema_dn(peer.session(), &dn), LDAP_SUCCESS);
    EXPECT_STREQ(dn, "cn=other");
    std::free(dn);
}

TEST(SchemaFetch, AsksForTheDnThenForTheAttributes) {
    ScriptedPeer peer({rootAnswer({"cn=sub,o=x"}), subentryAnswer({})});
    LDAPSchema *schema = nullptr;
    const int limit = 7;
    ldap_set_option(peer.session(), LDAP_OPT_SIZELIMIT, &limit);
    EXPECT_EQ(ldap_schema_fetch(peer.session(), &schema, nullptr), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_free(schema), LDAP_SUCCESS);
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_EQ(toHex(peer.received()[0]), toHex(rootSearch(1)));
    EXPECT_EQ(toHex(peer.received()[1]), toHex(schemaSearch(2, "cn=sub,o=x", limit)));
}

TEST(SchemaFetch, TakesTheDnThatIsGiven) {
    ScriptedPeer peer({subentryAnswer({})});
    LDAPSchema *schema = nullptr;
    const int limit = 9;
    ldap_set_option(peer.session(), LDAP_OPT_SIZELIMIT, &limit);
    EXPECT_EQ(ldap_schema_fetch(peer.session(), &schema, "cn=given"), LDAP_SUCCESS);
    EXPECT_EQ(ldap_schema_free(schema), LDAP_SUCCESS);
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_EQ(toHex(peer.received()[0]), toHex(schemaSearch(1, "cn=given", limit)));
}

TEST(SchemaFetch, RefusalComesThrough) {
    ScriptedPeer peer({refusal(32)});
    LDAPSchema *schema = nullptr;
    EXPECT_EQ(ldap_schema_fetch(peer.session(), &schema, "cn=none"), LDAP_NO_SUCH_OBJECT);
}

// Behind a notice that says success libldap's search succeeds without a message.
TEST(SchemaFetch, NoticeOfDisconnectionIsNoAnswer) {
    const auto notice = ScriptedPeer::raw(
        ldapMessage(0, extendedResponse(0, "1.3.6.1.4.1.1466.20036", std::nullopt)));
    const ExpectedLeak leak; // libldap keeps the notice
    LDAPSchema *schema = nullptr;
    for (const char *dn : {"cn=schema", static_cast<const char *>(nullptr)}) {
        ScriptedPeer peer({notice});
        EXPECT_EQ(ldap_schema_fetch(peer.session(), &schema, dn), LDAP_SERVER_DOWN);
    }
    ScriptedPeer peer({notice});
    char *dn = nullptr;
    EXPECT_EQ(get_schema_dn(peer.session(), &dn), LDAP_SERVER_DOWN);
    EXPECT_EQ(dn, nullptr);
}

void expectEmpty(const SchemaPtr &schema) {
    for (unsigned kind = 0; kind < 8; ++kind) {
        EXPECT_EQ(ldap_schema_get_count(schema.get(), kind), 0);
        LDAPSchemaElement *element = nullptr;
        EXPECT_EQ(ldap_schema_get_by_name(schema.get(), "cn", kind, &element), LDAP_NO_SUCH_OBJECT);
        EXPECT_EQ(ldap_schema_get_by_name(schema.get(), "1", kind, &element), LDAP_NO_SUCH_OBJECT);
        EXPECT_EQ(ldap_schema_get_by_index(schema.get(), 0, kind, &element), LDAP_PARAM_ERROR);
    }
}

TEST(SchemaFetch, WithoutAnEntryIsEmpty) {
    ScriptedPeer peer({refusal(0)});
    LDAPSchema *schema = nullptr;
    ASSERT_EQ(ldap_schema_fetch(peer.session(), &schema, "cn=schema"), LDAP_SUCCESS);
    expectEmpty(SchemaPtr(schema));
}

// One description of each kind.
const char *const samples[] = {
    "( 1.2.0 NAME 'a' )",           "( 1.2.1 NAME 'b' SUP top STRUCTURAL )",
    "( 1.2.2 DESC 'c' )",           "( 1.2.3 NAME 'd' SYNTAX 1.2.2 )",
    "( 1.2.4 NAME 'e' APPLIES a )", "( 1.2.5 NAME 'f' OC b MUST a )",
    "( 1.2.6 NAME 'g' MUST a )",    "( 7 NAME 'h' FORM f )",
};

TEST(SchemaFetch, EachAttributeIsOfItsKind) {
    std::vector<Described> all;
    for (unsigned kind = 0; kind < 8; ++kind)
        all.push_back({schemaAttributes[kind], {samples[kind]}});
    const SchemaPtr schema = fetched(all);
    for (unsigned kind = 0; kind < 8; ++kind) {
        ASSERT_EQ(ldap_schema_get_count(schema.get(), kind), 1) << kind;
        EXPECT_EQ(elementAt(schema, kind, 0)->kind, kind);
        EXPECT_EQ(described(elementAt(schema, kind, 0)),
                  kind == 2 ? "( 1.2.2 DESC 'c' )" : samples[kind]);
    }
}

struct NameCase {
    const char *name;
    std::vector<Described> attributes;
    int count;
};

const NameCase nameCases[] = {
    {"OtherLetters", {{"objectclasses", {samples[1]}}}, 0},
    {"Option", {{"objectClasses;x-a", {samples[1]}}}, 0},
    {"Unknown", {{"cn", {samples[1]}}, {"", {samples[1]}}}, 0},
    {"NoValues", {{"objectClasses", {}}}, 0},
    {"NoValuesThenSome", {{"cn", {}}, {"objectClasses", {samples[1]}}}, 1},
    {"Twice", {{"objectClasses", {samples[1]}}, {"objectClasses", {"( 1.3 )", "( 1.1 )"}}}, 3},
    {"OtherLettersFirst",
     {{"OBJECTCLASSES", {samples[1]}}, {"objectClasses", {"( 1.3 )", "( 1.1 )"}}},
     2},
};

class SchemaNameTest : public testing::TestWithParam<NameCase> {};

TEST_P(SchemaNameTest, IsRecognisedExactly) {
    const SchemaPtr schema = fetched(GetParam().attributes);
    EXPECT_EQ(ldap_schema_get_count(schema.get(), LDAP_SCHEMA_OBJECT_CLASS), GetParam().count);
}

INSTANTIATE_TEST_SUITE_P(All, SchemaNameTest, testing::ValuesIn(nameCases), caseName<NameCase>);

// The lists grow with an attribute that is sent again and again.
TEST(SchemaFetch, AttributeSentManyTimes) {
    std::vector<Described> all;
    for (int i = 0; i < 200; ++i)
        all.push_back({"attributeTypes",
                       {"( 1.2." + std::to_string(i) + " NAME ( 'a" + std::to_string(i) + "' 'b" +
                        std::to_string(i) + "' ) )"}});
    const SchemaPtr schema = fetched(all);
    EXPECT_EQ(ldap_schema_get_count(schema.get(), 0), 200);
    EXPECT_EQ(find(schema, 0, "b117"), find(schema, 0, "1.2.117"));
}

// What is not parsed: attribute types and classes are left out, any other kind ends the fetch.
TEST(SchemaFetch, AttributeTypesAndClassesMayFail) {
    // libldap loses the name of an extension whose values it does not read.
    const ExpectedLeak lost;
    for (unsigned kind : {0U, 1U}) {
        const SchemaPtr schema =
            fetched(kind, {"( 1.3 )", "rubbish", "( 1.1", "( 1.2 X-A b )", "", "( 1.0 )"});
        EXPECT_THAT(listed(schema, kind).size(), 2U);
        EXPECT_NE(find(schema, kind, "1.0"), nullptr);
    }
}

class SchemaParseFailure : public testing::TestWithParam<unsigned> {};

TEST_P(SchemaParseFailure, EndsTheFetch) {
    const unsigned kind = GetParam();
    ScriptedPeer peer({subentryAnswer({{"attributeTypes", {"( 1.2 NAME 'a' )"}},
                                       {schemaAttributes[kind], {samples[kind], "rubbish"}}})});
    LDAPSchema *schema = nullptr;
    LDAP *ld = peer.session();
    // What was read is lost: callers find it behind the pointer, and cannot release it.
    const ExpectedLeak lost;
    EXPECT_EQ(ldap_schema_fetch(ld, &schema, "cn=schema"), LDAP_LOCAL_ERROR);
    ASSERT_NE(schema, nullptr);
    LDAPSchemaElement *element = nullptr;
    EXPECT_EQ(ldap_schema_free(schema), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_schema_get_count(schema, 0), -1);
    EXPECT_EQ(ldap_schema_get_by_name(schema, "a", 0, &element), LDAP_LOCAL_ERROR);
    EXPECT_EQ(ldap_schema_get_by_index(schema, 0, 0, &element), LDAP_LOCAL_ERROR);
    EXPECT_EQ(ldap_schema_save(ld, schema, "cn=schema"), LDAP_PARAM_ERROR);
    EXPECT_EQ(remove_element(schema, "1.2", 0), LDAP_LOCAL_ERROR);
}

INSTANTIATE_TEST_SUITE_P(Kinds, SchemaParseFailure, testing::Values(2, 3, 4, 5, 6, 7));

// libldap gives a class with a word in the place of its OID without a key, and an attribute type
// together with an error.
TEST(SchemaFetch, WordsInThePlaceOfOids) {
    const std::vector<std::string> values = {"( b-oid NAME 'b' )", "( 1.2 NAME 'a' )",
                                             "( a-oid NAME 'c' )", "( NAME 'd' )",
                                             "( 0.9 NAME 'e' )"};
    const SchemaPtr classes = fetched(1, values);
    ASSERT_EQ(ldap_schema_get_count(classes.get(), 1), 5);
    EXPECT_EQ(elementAt(classes, 1, 0), find(classes, 1, "e"));
    EXPECT_EQ(elementAt(classes, 1, 1), find(classes, 1, "1.2"));
    for (const char *name : {"b", "c", "d"})
        EXPECT_NE(find(classes, 1, name), nullptr) << name;
    const SchemaPtr types = fetched(0, values);
    EXPECT_EQ(ldap_schema_get_count(types.get(), 0), 2);
    EXPECT_EQ(find(types, 0, "c"), nullptr);
}

// The entry is read as far as it goes.
TEST(SchemaFetch, MalformedEntry) {
    const Bytes good = sequence({octetString("objectClasses"), tlv(0x31, octetString("( 1.2 )"))});
    const struct {
        Bytes rest;
        int count;
    } rows[] = {
        {good, 1},
        {good + sequence({octetString("attributeTypes")}), 1},
        {good + sequence({octetString("attributeTypes"), octetString("x")}), 1},
        {good + fromHex("30 84 7f ff ff ff"), 1},
        {fromHex("04 01 41") + good, 0},
        {fromHex("30 00") + good, 0},
    };
    for (const auto &row : rows) {
        ScriptedPeer peer({ScriptedPeer::answers(
            {tlv(0x64, octetString("cn=schema") + tlv(0x30, row.rest)), searchDone(0)})});
        LDAPSchema *schema = nullptr;
        ASSERT_EQ(ldap_schema_fetch(peer.session(), &schema, "cn=schema"), LDAP_SUCCESS);
        EXPECT_EQ(ldap_schema_get_count(schema, 1), row.count) << toHex(row.rest);
        EXPECT_EQ(ldap_schema_free(schema), LDAP_SUCCESS);
    }
}

TEST(SchemaFetch, ListsAreSorted) {
    const SchemaPtr schema =
        fetched(0, {"( 2.5.4.3 NAME ( 'cn' 'commonName' ) )", "( 1.10 NAME 'Zeta' )",
                    "( 2.5.4.20 NAME 'alpha' )", "( 1.9 NAME 'beta' )", "( 0.9 )"});
    EXPECT_THAT(listed(schema, 0),
                ElementsAre(testing::StartsWith("( 0.9 "), testing::StartsWith("( 1.10 "),
                            testing::StartsWith("( 1.9 "), testing::StartsWith("( 2.5.4.20 "),
                            testing::StartsWith("( 2.5.4.3 ")));
}

} // namespace
} // namespace qldapx_test
