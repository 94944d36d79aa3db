// Servers that answer with a schema that no server should have.
#include "system/peer.h"
#include "system/schema_peer.h"
#include "system/simulator.h"

#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <ldap.h>
#include <qldapx.h>

namespace test {
namespace {

using namespace qldapx_test;
using testing::HasSubstr;

#ifdef __SANITIZE_ADDRESS__
constexpr int manyTypes = 3000;
#else
constexpr int manyTypes = 50000;
#endif
constexpr auto patience = std::chrono::seconds(20);

/**
 * The server's answers to the searches of `--dn`, the library's and the tool's own, with one value
 * for each pair.
 */
Visit schemaAnswer(const LdifValues &values) {
    Bytes attributes;
    for (const auto &[name, value] : values)
        attributes += sequence({octetString(name), tlv(0x31, octetString(value))});
    const Bytes entry = tlv(0x64, octetString("cn=schema") + sequence({attributes}));
    const auto answer = [&](int id) {
        return ldapMessage(id, entry) + ldapMessage(id, searchDone(0));
    };
    return {answer(2), false, {answer(3)}};
}

Result ask(const Visit &answer, const Arguments &arguments) {
    const Peer peer(std::vector<Visit>{answer});
    Arguments all = {"-H", peer.uri(), "schema"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    all.insert(all.end(), {"--dn", "cn=schema"});
    const auto start = std::chrono::steady_clock::now();
    Result result = runTool(all);
    EXPECT_LT(std::chrono::steady_clock::now() - start, patience);
    EXPECT_TRUE(isSafeForTerminal(result.out)) << result.out.substr(0, 2000);
    EXPECT_TRUE(isSafeForTerminal(result.err)) << result.err.substr(0, 2000);
    EXPECT_LT(result.status, 128);
    return result;
}

struct HostileSchema {
    const char *name;
    LdifValues values;
    const char *element;
};

const HostileSchema hostileSchemas[] = {
    {"Cycles",
     {{"attributeTypes", "( 1.2.1 NAME 'a' SUP b )"},
      {"attributeTypes", "( 1.2.2 NAME 'b' SUP c )"},
      {"attributeTypes", "( 1.2.3 NAME 'c' SUP a )"},
      {"objectClasses", "( 1.2.4 NAME 'a' SUP ( a $ b ) )"},
      {"objectClasses", "( 1.2.5 NAME 'b' SUP ( a $ b $ 1.2.5 ) MUST a )"},
      {"dITStructureRules", "( 1 NAME 'a' FORM a SUP ( 1 2 ) )"},
      {"dITStructureRules", "( 2 FORM a SUP ( 1 2 ) )"}},
     "a"},
    {"Missing",
     {{"attributeTypes", "( 1.2.1 NAME 'a' SUP x EQUALITY y SYNTAX 9.9.9 )"},
      {"objectClasses", "( 1.2.2 NAME 'a' SUP x MUST ( y $ z ) MAY x )"},
      {"nameForms", "( 1.2.3 NAME 'a' OC x MUST y )"},
      {"dITContentRules", "( 1.2.2 NAME 'a' AUX x NOT y )"},
      {"dITStructureRules", "( 1 NAME 'a' FORM x SUP 7 )"},
      {"matchingRuleUse", "( 1.2.9 NAME 'a' APPLIES x )"}},
     "a"},
    {"Duplicates",
     {{"attributeTypes", "( 1.2.1 NAME ( 'a' 'A' ) )"},
      {"attributeTypes", "( 1.2.1 NAME 'a' )"},
      {"attributeTypes", "( 1.2.2 NAME 'a' SUP a )"},
      {"objectClasses", "( 1.2.2 NAME 'a' MUST ( a $ a $ 1.2.1 ) )"},
      {"objectClasses", "( 1.2.2 NAME 'a' SUP a )"}},
     "a"},
    {"Controls",
     {{"attributeTypes", "( 1.2.1 NAME 'a' DESC '\x1b[2J\x07\r\n\x9b' )"},
      {"attributeTypes", "( 1.2.2 NAME '\x1b]0;x\x07' SUP a )"},
      {"objectClasses", "( 1.2.3 NAME 'a' DESC '\xff\xfe' MUST a X-\x1b 'b' )"},
      {"ldapSyntaxes", "( 1.2.4 DESC '\x7f\x01\x02' )"}},
     "a"},
};

class SchemaHostileServer : public testing::TestWithParam<HostileSchema> {};

TEST_P(SchemaHostileServer, EndsInTimeAndPrintsNothingRaw) {
    const Visit answer = schemaAnswer(GetParam().values);
    for (const Arguments &arguments : {Arguments{"list"},
                                       {"show", GetParam().element},
                                       {"get", GetParam().element},
                                       {"export"},
                                       {"export", "--json"},
                                       {"list", "--json"},
                                       {"graph"},
                                       {"graph", GetParam().element, "--with", "attributes"}})
        ask(answer, arguments);
}

TEST_P(SchemaHostileServer, ShowNamesTheElement) {
    const Result result = ask(schemaAnswer(GetParam().values), {"show", GetParam().element});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("1.2.1"));
}

TEST_P(SchemaHostileServer, GraphvizTakesThePicture) {
    const TemporaryFolder folder;
    const Result graph = ask(schemaAnswer(GetParam().values), {"graph"});
    EXPECT_EQ(graph.status, 0) << graph.err;
    const std::string dot = folder.write("hostile.dot", graph.out);
    const Result canonical = runShell("dot -Tcanon \"$DOT\" >/dev/null", {{{"DOT", dot}}, {}, {}});
    EXPECT_EQ(canonical.status, 0) << canonical.err;
    EXPECT_EQ(canonical.err, "");
}

std::string nameOf(const testing::TestParamInfo<HostileSchema> &schema) {
    return schema.param.name;
}
INSTANTIATE_TEST_SUITE_P(Each, SchemaHostileServer, testing::ValuesIn(hostileSchemas), nameOf);

TEST(SchemaHostileServerOnce, RefusesWhatIsNoSchema) {
    for (const LdifValues &values :
         {LdifValues{}, LdifValues{{"ldapSyntaxes", "nonsense"}},
          LdifValues{{"matchingRules", "( 1.2 )"}}, LdifValues{{"nameForms", ""}}}) {
        const Result result = ask(schemaAnswer(values), {"show", "cn"});
        EXPECT_GT(result.status, 0);
        EXPECT_NE(result.err, "");
    }
}

// A chain of superiors as long as the schema, which a recursion would not survive.
TEST(SchemaHostileServerOnce, LongChainsOfSuperiors) {
    LdifValues values;
    for (int i = 1; i <= manyTypes / 5; ++i) {
        const std::string own = std::to_string(i), next = std::to_string(i + 1);
        values.emplace_back("attributeTypes",
                            "( 1.2." + own + " NAME 't" + own + "' SUP t" + next + " )");
        values.emplace_back("objectClasses",
                            "( 1.3." + own + " NAME 'c" + own + "' SUP c" + next + " )");
    }
    const Visit answer = schemaAnswer(values);
    EXPECT_EQ(ask(answer, {"show", "t1"}).status, 0);
    EXPECT_EQ(ask(answer, {"show", "c1"}).status, 0);
    EXPECT_EQ(ask(answer, {"list", "classes"}).status, 0);
}

class SchemaOfManyTypes : public testing::Test {
  protected:
    static std::string count() { return std::to_string(manyTypes); }
    Simulator simulator{{"--schema-size", count()}};
    TemporaryFolder folder;

    Result timed(const Arguments &arguments) const {
        const auto start = std::chrono::steady_clock::now();
        Arguments all = {"schema"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        Result result = simulator.run(all);
        EXPECT_LT(std::chrono::steady_clock::now() - start, patience);
        return result;
    }
};

TEST_F(SchemaOfManyTypes, IsListedComparedAndExportedInTime) {
    const Result list = timed({"list", "attributes", "--like", "bulkType*", "--json"});
    EXPECT_EQ(list.json().size(), std::size_t(manyTypes));
    const Result shown = timed({"show", "bulkType" + count()});
    EXPECT_EQ(shown.status, 0) << shown.err;
    const std::string file = folder.path("many.ldif");
    EXPECT_EQ(timed({"export", file}).status, 0);
    const Result same = timed({"diff", file});
    EXPECT_EQ(same.status, 0) << same.out.substr(0, 300) << same.err.substr(0, 300);
}

TEST_F(SchemaOfManyTypes, IsFetchedByTheLibrary) {
    LDAP *ld = nullptr;
    int version = LDAP_VERSION3;
    ASSERT_EQ(ldap_initialize(&ld, simulator.uri().c_str()), LDAP_SUCCESS);
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    LDAPSchema *schema = nullptr;
    ASSERT_EQ(ldap_schema_fetch(ld, &schema, nullptr), LDAP_SUCCESS);
    EXPECT_GT(ldap_schema_get_count(schema, LDAP_SCHEMA_ATTRIBUTE_TYPE), manyTypes);
    for (const std::string &name :
         {std::string("bulkType1"), "BULKTYPE" + count(), "2.16.840.1.907341.9.99." + count()}) {
        LDAPSchemaElement *element = nullptr;
        EXPECT_EQ(
            ldap_schema_get_by_name(schema, name.c_str(), LDAP_SCHEMA_ATTRIBUTE_TYPE, &element),
            LDAP_SUCCESS)
            << name;
    }
    EXPECT_EQ(ldap_schema_free(schema), LDAP_SUCCESS);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
}

} // namespace
} // namespace test
