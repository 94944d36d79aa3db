// Elements found by name, OID and index, and the release of a schema.
#include "schema/samples.h"

#include "support/case_name.h"

#include <algorithm>
#include <random>

namespace qldapx_test {
namespace {

const std::vector<std::string> types = {"( 2.5.4.3 NAME ( 'cn' 'commonName' ) )",
                                        "( 2.5.4.4 NAME 'sn' )", "( 1.2 NAME '3com' )"};

struct KeyCase {
    const char *name;
    const char *key;
    const char *oid; // nullptr: not found
};

constexpr KeyCase keyCases[] = {
    {"Name", "cn", "2.5.4.3"},
    {"NameInCapitals", "CN", "2.5.4.3"},
    {"SecondName", "COMMONname", "2.5.4.3"},
    {"Oid", "2.5.4.4", "2.5.4.4"},
    {"OidCutShort", "2.5.4", nullptr},
    {"OidAndMore", "2.5.4.4.1", nullptr},
    {"Unknown", "x", nullptr},
    {"Empty", "", nullptr},
    {"NameWithDigit", "3com", nullptr},
    {"NameCutShort", "c", nullptr},
    {"NameAndMore", "cnn", nullptr},
    {"NotText", "\xff", nullptr},
};

class SchemaKeyTest : public testing::TestWithParam<KeyCase> {};

TEST_P(SchemaKeyTest, IsFound) {
    const SchemaPtr schema = fetched(0, types);
    LDAPSchemaElement *element = find(schema, 0, GetParam().key);
    ASSERT_EQ(element != nullptr, GetParam().oid != nullptr);
    if (element != nullptr) {
        EXPECT_STREQ(static_cast<LDAPAttributeType *>(element->record)->at_oid, GetParam().oid);
    }
    LDAPSchemaElement *other = nullptr;
    EXPECT_EQ(ldap_schema_get_by_name(schema.get(), GetParam().key, 1, &other),
              LDAP_NO_SUCH_OBJECT);
}

INSTANTIATE_TEST_SUITE_P(All, SchemaKeyTest, testing::ValuesIn(keyCases), caseName<KeyCase>);

constexpr unsigned noKind[] = {8, 9, 255, 0x80000000U, 0xffffffffU};

TEST(SchemaLookup, Arguments) {
    const SchemaPtr schema = fetched(0, types);
    LDAPSchemaElement *element = nullptr;
    LDAPSchemaElement unset{};
    EXPECT_EQ(ldap_schema_get_by_name(schema.get(), nullptr, 0, &(element = &unset)),
              LDAP_PARAM_ERROR);
    EXPECT_EQ(element, nullptr);
    for (const unsigned kind : noKind) {
        EXPECT_EQ(ldap_schema_get_by_name(schema.get(), "cn", kind, &(element = &unset)),
                  LDAP_PARAM_ERROR);
        EXPECT_EQ(element, nullptr);
        EXPECT_EQ(ldap_schema_get_by_index(schema.get(), 0, kind, &(element = &unset)),
                  LDAP_PARAM_ERROR);
        EXPECT_EQ(element, nullptr);
        EXPECT_EQ(ldap_schema_get_count(schema.get(), kind), -1);
    }
    for (const int index : {-1, 3, 4, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(ldap_schema_get_by_index(schema.get(), index, 0, &(element = &unset)),
                  LDAP_PARAM_ERROR);
        EXPECT_EQ(element, nullptr);
    }
    EXPECT_EQ(ldap_schema_get_by_index(nullptr, 0, 0, &(element = &unset)), LDAP_PARAM_ERROR);
    EXPECT_EQ(element, nullptr);
    EXPECT_EQ(ldap_schema_get_count(nullptr, 0), -1);
}

TEST(SchemaFree, Null) {
    EXPECT_EQ(ldap_schema_free(nullptr), LDAP_SUCCESS);
}

// A name that several elements have leads to one of them.
TEST(SchemaLookup, SharedName) {
    const SchemaPtr schema =
        fetched(0, {"( 1.1 NAME 'a' )", "( 1.2 NAME 'A' )", "( 1.3 NAME 'a' )"});
    EXPECT_NE(find(schema, 0, "a"), nullptr);
}

// OIDs that several elements have, and more of them than lie between two fences.
TEST(SchemaLookup, SharedOids) {
    std::vector<std::string> values = {"( 1.2 )", "( 1.4 )"};
    for (int i = 0; i < 100; ++i)
        values.push_back("( 1.3 NAME 'a" + std::to_string(i) + "' )");
    const SchemaPtr schema = fetched(0, values);
    for (const char *oid : {"1.2", "1.3", "1.4"})
        EXPECT_NE(find(schema, 0, oid), nullptr) << oid;
    EXPECT_EQ(find(schema, 0, "1.1"), nullptr);
    EXPECT_EQ(find(schema, 0, "1.5"), nullptr);
    EXPECT_EQ(find(schema, 0, "1.33"), nullptr);
}

struct SizeCase {
    const char *name;
    int count;
    std::string (*oid)(int number);
};

std::string oneArc(int number) {
    return "1.3.6.1.4.1.4203.666." + std::to_string(number * 7);
}

std::string manyArcs(int number) {
    return std::to_string(number % 3) + "." + std::to_string(number % 40) + "." +
           std::to_string(number);
}

// Like each other for longer than anything that is compared at once.
std::string longOids(int number) {
    std::string oid = "2";
    for (int i = 0; i < 50 + number % 3 * 60; ++i)
        oid += ".16";
    return oid + "." + std::to_string(number) + (number % 2 == 0 ? "" : ".1");
}

const SizeCase sizeCases[] = {
    {"One", 1, oneArc},          {"Few", 31, oneArc},          {"Fences", 32, oneArc},
    {"Many", 3000, oneArc},      {"ManyArcs", 3000, manyArcs}, {"FewArcs", 40, manyArcs},
    {"LongOids", 500, longOids},
};

class SchemaSizeTest : public testing::TestWithParam<SizeCase> {};

// Each is found by OID and name, in the order of strcmp; what is not there is not.
TEST_P(SchemaSizeTest, EachIsFound) {
    std::vector<std::string> oids, values;
    for (int i = 0; i < GetParam().count; ++i)
        oids.push_back(GetParam().oid(i));
    std::shuffle(oids.begin(), oids.end(), std::mt19937(7)); // NOLINT: the same each time
    for (const std::string &oid : oids)
        values.push_back("( " + oid + " NAME 'n" + oid + "' )");
    const SchemaPtr schema = fetched(0, values);
    std::sort(oids.begin(), oids.end());
    for (std::size_t i = 0; i < oids.size(); ++i) {
        LDAPSchemaElement *element = elementAt(schema, 0, static_cast<int>(i));
        ASSERT_EQ(static_cast<LDAPAttributeType *>(element->record)->at_oid, oids[i]);
        ASSERT_EQ(find(schema, 0, oids[i].c_str()), element) << oids[i];
        ASSERT_EQ(find(schema, 0, ("N" + oids[i]).c_str()), element) << oids[i];
        ASSERT_EQ(find(schema, 0, (oids[i] + ".").c_str()), nullptr);
        ASSERT_EQ(find(schema, 0, ("n" + oids[i] + "x").c_str()), nullptr);
    }
    for (const char *key : {"0", "9", "1.3.6.1.4.1.4203.666", "1.3.6.1.4.1.4203.666.", "1.3.6.2"})
        EXPECT_EQ(find(schema, 0, key), nullptr) << key;
}

INSTANTIATE_TEST_SUITE_P(All, SchemaSizeTest, testing::ValuesIn(sizeCases), caseName<SizeCase>);

} // namespace
} // namespace qldapx_test
