// The fields of elements by keyword: which are listed, in what order, and what each gives.
#include "schema/samples.h"

#include "support/case_name.h"

#include <gmock/gmock.h>
#include <qldapx/schema_element.h>

namespace qldapx_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using Strings = std::vector<std::string>;

struct FieldCase {
    const char *name;
    unsigned kind;
    const char *description;
    Strings names;
};

const FieldCase fieldCases[] = {
    {"AttributeType",
     0,
     "( 1.2 NAME ( 'a' 'b' ) DESC 'd' OBSOLETE SUP s EQUALITY e ORDERING o SUBSTR u SYNTAX 1.3{64} "
     "SINGLE-VALUE COLLECTIVE NO-USER-MODIFICATION USAGE dSAOperation X-B 'x' X-A ( 'y' 'z' ) )",
     {"OID", "NAME", "DESC", "SUP", "EQUALITY", "ORDERING", "SUBSTR", "SYNTAX", "OBSOLETE",
      "SINGLE-VALUE", "COLLECTIVE", "NO-USER-MODIFICATION", "dSAOperation", "X-B", "X-A"}},
    {"LeastAttributeType", 0, "( 1.2 )", {"OID", "userApplications"}},
    {"DirectoryOperation", 0, "( 1.2 USAGE directoryOperation )", {"OID", "directoryOperation"}},
    {"DistributedOperation",
     0,
     "( 1.2 USAGE distributedOperation )",
     {"OID", "distributedOperation"}},
    {"ObjectClass",
     1,
     "( 1.2 NAME 'a' DESC 'd' OBSOLETE SUP ( s $ t ) AUXILIARY MUST ( m $ n ) MAY o X-A 'x' )",
     {"OID", "NAME", "DESC", "SUP", "MUST", "MAY", "OBSOLETE", "AUXILIARY", "X-A"}},
    {"LeastObjectClass", 1, "( 1.2 )", {"OID", "STRUCTURAL"}},
    {"AbstractClass", 1, "( 1.2 ABSTRACT )", {"OID", "ABSTRACT"}},
    {"Syntax", 2, "( 1.2 DESC 'd' X-A 'x' )", {"OID", "DESC", "X-A"}},
    {"LeastSyntax", 2, "( 1.2 )", {"OID"}},
    {"MatchingRule",
     3,
     "( 1.2 NAME 'a' DESC 'd' OBSOLETE SYNTAX 1.3 X-A 'x' )",
     {"OID", "NAME", "DESC", "SYNTAX", "OBSOLETE", "X-A"}},
    {"MatchingRuleUse",
     4,
     "( 1.2 NAME 'a' DESC 'd' OBSOLETE APPLIES ( b $ c ) X-A 'x' )",
     {"OID", "DESC", "NAME", "APPLIES", "OBSOLETE", "X-A"}},
    {"NameForm",
     5,
     "( 1.2 NAME 'a' DESC 'd' OBSOLETE OC o MUST ( b $ c ) MAY e X-A 'x' )",
     {"OID", "DESC", "NAME", "OBSOLETE", "OC", "MAY", "MUST", "X-A"}},
    {"ContentRule",
     6,
     "( 1.2 NAME 'a' DESC 'd' OBSOLETE AUX ( b $ c ) MUST e MAY f NOT g X-A 'x' )",
     {"OID", "DESC", "NAME", "OBSOLETE", "AUX", "MUST", "MAY", "NOT", "X-A"}},
    {"StructureRule",
     7,
     "( 3 NAME 'a' DESC 'd' OBSOLETE FORM f SUP ( 1 2 ) X-A 'x' )",
     {"RULEID", "DESC", "NAME", "OBSOLETE", "FORM", "SUP", "X-A"}},
    {"LeastStructureRule", 7, "( 3 )", {"RULEID"}},
};

class SchemaFieldTest : public testing::TestWithParam<FieldCase> {};

TEST_P(SchemaFieldTest, AreListedInOrder) {
    const SchemaPtr schema = fetched(GetParam().kind, {GetParam().description});
    char **names = nullptr;
    ASSERT_EQ(ldap_schema_get_field_names(elementAt(schema, GetParam().kind, 0), &names), 0);
    EXPECT_THAT(taken(names), ElementsAreArray(GetParam().names));
}

// What is listed has values, but for the extensions of name forms and content rules.
TEST_P(SchemaFieldTest, AreGiven) {
    const SchemaPtr schema = fetched(GetParam().kind, {GetParam().description});
    LDAPSchemaElement *element = elementAt(schema, GetParam().kind, 0);
    for (const std::string &name : GetParam().names) {
        char **values = nullptr;
        const bool isHidden =
            (GetParam().kind == 5 || GetParam().kind == 6) && name.starts_with("X-");
        EXPECT_EQ(ldap_schema_get_field_values(element, name.c_str(), &values),
                  isHidden ? LDAP_NO_SUCH_ATTRIBUTE : LDAP_SUCCESS)
            << name;
        EXPECT_EQ(values == nullptr, isHidden);
        taken(values);
    }
}

INSTANTIATE_TEST_SUITE_P(All, SchemaFieldTest, testing::ValuesIn(fieldCases), caseName<FieldCase>);

struct ValueCase {
    unsigned kind;
    const char *description;
    const char *keyword;
    Strings values; // empty: no such attribute
};

constexpr const char *fullType =
    "( 1.2 NAME ( 'a' 'b' ) DESC 'd' SUP s EQUALITY e ORDERING o SUBSTR u SYNTAX 1.3{64} "
    "COLLECTIVE USAGE dSAOperation X-ORIGIN ( 'y' 'z' ) X-Usage 'w' )";
constexpr const char *fullClass =
    "( 1.2 NAME 'a' DESC 'd' SUP ( s $ t ) AUXILIARY MUST ( m $ n ) MAY o X-A 'x' )";

const ValueCase valueCases[] = {
    {0, fullType, "OID", {"1.2"}},
    {0, fullType, "oid", {"1.2"}},
    {0, fullType, "NAME", {"a", "b"}},
    {0, fullType, "DESC", {"d"}},
    {0, fullType, "SUP", {"s"}},
    {0, fullType, "EQUALITY", {"e"}},
    {0, fullType, "ORDERING", {"o"}},
    {0, fullType, "SUBSTR", {"u"}},
    {0, fullType, "syntax", {"1.3", "64"}},
    {0, "( 1.2 SYNTAX 1.3 )", "SYNTAX", {"1.3", "0"}},
    {0, "( 1.2 SYNTAX 1.3{2147483647} )", "SYNTAX", {"1.3", "2147483647"}},
    {0, "( 1.2 SUP a )", "SYNTAX", {}},
    {0, fullType, "OBSOLETE", {}},
    {0, fullType, "SINGLE-VALUE", {}},
    {0, fullType, "COLLECTIVE", {""}},
    {0, fullType, "collective", {""}},
    {0, fullType, "NO-USER-MODIFICATION", {}},
    {0, fullType, "dSAOperation", {""}},
    {0, fullType, "DSAOPERATION", {""}},
    {0, fullType, "userApplications", {}},
    {0, fullType, "USAGE", {}},
    {0, "( 1.2 )", "userApplications", {""}},
    {0, "( 1.2 )", "NAME", {}},
    {0, "( 1.2 )", "DESC", {}},
    {0, "( 1.2 )", "X-ORIGIN", {}},
    {0, fullType, "X-ORIGIN", {"y", "z"}},
    {0, fullType, "x-origin", {"y", "z"}},
    {0, fullType, "X-USAGE", {"w"}},
    {0, fullType, "X-", {}},
    {0, fullType, "", {}},
    {0, fullType, "MUST", {}},
    {0, fullType, "RULEID", {}},
    {1, fullClass, "OID", {"1.2"}},
    {1, fullClass, "SUP", {"s", "t"}},
    {1, fullClass, "MUST", {"m", "n"}},
    {1, fullClass, "MAY", {"o"}},
    {1, fullClass, "AUXILIARY", {""}},
    {1, fullClass, "auxiliary", {""}},
    {1, fullClass, "STRUCTURAL", {}},
    {1, fullClass, "ABSTRACT", {}},
    {1, fullClass, "OBSOLETE", {}},
    {1, "( 1.2 OBSOLETE )", "OBSOLETE", {""}},
    {1, fullClass, "X-A", {"x"}},
    {1, fullClass, "SYNTAX", {}},
    {2, "( 1.2 DESC 'd' X-A 'x' )", "DESC", {"d"}},
    {2, "( 1.2 DESC 'd' X-A 'x' )", "NAME", {}},
    {2, "( 1.2 DESC 'd' X-A 'x' )", "OBSOLETE", {}},
    {2, "( 1.2 DESC 'd' X-A 'x' )", "x-a", {"x"}},
    {3, "( 1.2 SYNTAX 1.3 OBSOLETE )", "SYNTAX", {"1.3"}},
    {3, "( 1.2 SYNTAX 1.3 OBSOLETE )", "OBSOLETE", {""}},
    {3, "( 1.2 SYNTAX 1.3 )", "OBSOLETE", {}},
    {4, "( 1.2 APPLIES ( a $ b ) )", "APPLIES", {"a", "b"}},
    {4, "( 1.2 APPLIES ( a $ b ) )", "MUST", {}},
    {4, "( 1.2 APPLIES a X-A 'x' )", "X-A", {"x"}},
    {5, "( 1.2 OC c MUST ( a $ b ) MAY d )", "OC", {"c"}},
    {5, "( 1.2 OC c MUST ( a $ b ) MAY d )", "MUST", {"a", "b"}},
    {5, "( 1.2 OC c MUST ( a $ b ) MAY d )", "MAY", {"d"}},
    {5, "( 1.2 OC c MUST ( a $ b ) X-A 'x' )", "X-A", {}},
    {5, "( 1.2 OC c MUST a OBSOLETE )", "OBSOLETE", {""}},
    {5, "( 1.2 OC c MUST a )", "FORM", {}},
    {6, "( 1.2 AUX ( a $ b ) NOT ( c $ d ) MUST e MAY f )", "AUX", {"a", "b"}},
    {6, "( 1.2 AUX ( a $ b ) NOT ( c $ d ) MUST e MAY f )", "NOT", {"c", "d"}},
    {6, "( 1.2 AUX ( a $ b ) NOT ( c $ d ) MUST e MAY f )", "MUST", {"e"}},
    {6, "( 1.2 AUX ( a $ b ) NOT ( c $ d ) MUST e MAY f )", "MAY", {"f"}},
    {6, "( 1.2 MUST e X-A 'x' )", "X-A", {}},
    {6, "( 1.2 X-A 'x' )", "X-A", {}},
    {7, "( 3 FORM f SUP ( 1 2 ) )", "RULEID", {"3"}},
    {7, "( 3 FORM f SUP ( 1 2 ) )", "OID", {}},
    {7, "( 3 FORM f SUP ( 1 2 ) X-A 'x' )", "X-A", {"x"}},
    {7, "( 3 FORM f SUP ( 1 2 ) )", "FORM", {"f"}},
    {7, "( 3 FORM f SUP ( 1 2 ) )", "OC", {}},
    {7, "( 3 FORM f SUP ( 1 2 ) )", "SUP", {"1", "2"}},
    {7, "( 3 FORM f SUP ( 1 2 ) )", "OBSOLETE", {}},
    {3, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' SYNTAX 1.3 )", "OID", {"1.2"}},
    {3, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' SYNTAX 1.3 )", "NAME", {"a", "b"}},
    {3, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' SYNTAX 1.3 )", "DESC", {"d"}},
    {4, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' APPLIES x )", "OID", {"1.2"}},
    {4, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' APPLIES x )", "NAME", {"a", "b"}},
    {4, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' APPLIES x )", "DESC", {"d"}},
    {5, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' OC c MUST x )", "OID", {"1.2"}},
    {5, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' OC c MUST x )", "NAME", {"a", "b"}},
    {5, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' OC c MUST x )", "DESC", {"d"}},
    {6, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' OBSOLETE AUX x )", "OID", {"1.2"}},
    {6, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' OBSOLETE AUX x )", "NAME", {"a", "b"}},
    {6, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' OBSOLETE AUX x )", "DESC", {"d"}},
    {7, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' FORM x )", "RULEID", {"1.2"}},
    {7, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' FORM x )", "NAME", {"a", "b"}},
    {7, "( 1.2 NAME ( 'a' 'b' ) DESC 'd' FORM x )", "DESC", {"d"}},
    {1, fullClass, "NAME", {"a"}},
    {1, fullClass, "DESC", {"d"}},
    {2, "( 1.2 DESC 'd' )", "OID", {"1.2"}},
    {4, "( 1.2 OBSOLETE APPLIES x )", "OBSOLETE", {""}},
    {6, "( 1.2 OBSOLETE AUX x )", "OBSOLETE", {""}},
    {6, "( 1.2 AUX x )", "OBSOLETE", {}},
};

TEST(SchemaFieldValues, ByKeyword) {
    for (const ValueCase &row : valueCases) {
        SCOPED_TRACE(testing::Message()
                     << row.kind << " " << row.keyword << " " << row.description);
        const SchemaPtr schema = fetched(row.kind, {row.description});
        char *unset = nullptr;
        char **values = &unset;
        EXPECT_EQ(
            ldap_schema_get_field_values(elementAt(schema, row.kind, 0), row.keyword, &values),
            row.values.empty() ? LDAP_NO_SUCH_ATTRIBUTE : LDAP_SUCCESS);
        EXPECT_EQ(values == nullptr, row.values.empty());
        EXPECT_THAT(taken(values), ElementsAreArray(row.values));
    }
}

// A set flag is any number but 0, of a class only 1; listed is only 1.
TEST(SchemaFieldValues, FlagsBesideOne) {
    const SchemaPtr types = fetched(0, {"( 1.2 )"});
    auto *type = static_cast<LDAPAttributeType *>(elementAt(types, 0, 0)->record);
    type->at_obsolete = type->at_single_value = type->at_collective = type->at_no_user_mod = 2;
    char **values = nullptr;
    for (const char *flag : {"OBSOLETE", "SINGLE-VALUE", "COLLECTIVE", "NO-USER-MODIFICATION"}) {
        EXPECT_EQ(ldap_schema_get_field_values(elementAt(types, 0, 0), flag, &values), 0) << flag;
        EXPECT_THAT(taken(values), ElementsAre(""));
    }
    char **names = nullptr;
    ASSERT_EQ(ldap_schema_get_field_names(elementAt(types, 0, 0), &names), 0);
    EXPECT_THAT(taken(names), ElementsAre("OID", "userApplications"));

    const SchemaPtr classes = fetched(1, {"( 1.2 )"});
    static_cast<LDAPObjectClass *>(elementAt(classes, 1, 0)->record)->oc_obsolete = 2;
    EXPECT_EQ(ldap_schema_get_field_values(elementAt(classes, 1, 0), "OBSOLETE", &values),
              LDAP_NO_SUCH_ATTRIBUTE);

    const SchemaPtr rules = fetched(7, {"( 1 )"});
    static_cast<LDAPDITStructureRule *>(elementAt(rules, 7, 0)->record)->sr_obsolete = -1;
    EXPECT_EQ(ldap_schema_get_field_values(elementAt(rules, 7, 0), "OBSOLETE", &values), 0);
    taken(values);
}

// A usage and a class kind that there is not have no keyword.
TEST(SchemaFieldValues, NoUsageNoKind) {
    const SchemaPtr types = fetched(0, {"( 1.2 )"});
    static_cast<LDAPAttributeType *>(elementAt(types, 0, 0)->record)->at_usage = 4;
    char **names = nullptr;
    ASSERT_EQ(ldap_schema_get_field_names(elementAt(types, 0, 0), &names), 0);
    EXPECT_THAT(taken(names), ElementsAre("OID"));

    const SchemaPtr classes = fetched(1, {"( 1.2 )"});
    auto *objectClass = static_cast<LDAPObjectClass *>(elementAt(classes, 1, 0)->record);
    objectClass->oc_kind = -1;
    std::free(std::exchange(objectClass->oc_oid, nullptr));
    ASSERT_EQ(ldap_schema_get_field_names(elementAt(classes, 1, 0), &names), 0);
    EXPECT_THAT(taken(names), ElementsAre());
}

// A syntax with a list of names lists them although no parser or printer knows them.
TEST(SchemaFieldValues, NameOfASyntax) {
    const SchemaPtr schema = fetched(2, {"( 1.2 NAME 'a' )"});
    char **values = nullptr;
    EXPECT_EQ(ldap_schema_get_field_values(elementAt(schema, 2, 0), "NAME", &values), 0);
    EXPECT_THAT(taken(values), ElementsAre("a"));
    EXPECT_EQ(described(elementAt(schema, 2, 0)), "( 1.2 )");
}

TEST(SchemaElementToString, NamesTheAttribute) {
    for (unsigned kind = 0; kind < 8; ++kind) {
        LDAPSchemaElement element = {kind, nullptr};
        char unset[] = "unset";
        char *text = unset;
        const char *attribute = nullptr;
        EXPECT_EQ(ldap_schema_element_to_string(&element, &text, &attribute), LDAP_LOCAL_ERROR);
        EXPECT_STREQ(attribute, schemaAttributes[kind]);
        EXPECT_EQ(text, nullptr);
    }
}

// What libldap's printers would follow into NULL.
TEST(SchemaElementToString, CannotBeWritten) {
    char *none[] = {nullptr};
    char *one[] = {const_cast<char *>("a"), nullptr};
    char oc[] = "c";
    LDAPSchemaExtensionItem item = {oc, nullptr};
    LDAPSchemaExtensionItem *items[] = {&item, nullptr};
    LDAPNameForm noClass{}, noMust{}, emptyMust{}, emptyMay{}, whole{};
    noClass.nf_at_oids_must = one;
    noMust.nf_objectclass = oc;
    emptyMust.nf_objectclass = emptyMay.nf_objectclass = whole.nf_objectclass = oc;
    emptyMust.nf_at_oids_must = none;
    emptyMay.nf_at_oids_must = whole.nf_at_oids_must = one;
    emptyMay.nf_at_oids_may = none;
    LDAPObjectClass sup{}, must{}, may{};
    sup.oc_sup_oids = must.oc_at_oids_must = may.oc_at_oids_may = none;
    LDAPMatchingRuleUse use{};
    use.mru_applies_oids = none;
    LDAPContentRule aux{}, ruleMust{}, ruleMay{}, ruleNot{};
    aux.cr_oc_oids_aux = ruleMust.cr_at_oids_must = ruleMay.cr_at_oids_may =
        ruleNot.cr_at_oids_not = none;
    LDAPSyntax extended{};
    extended.syn_extensions = items;
    const struct {
        unsigned kind;
        void *record;
        int result;
    } rows[] = {
        {5, &noClass, -2}, {5, &noMust, -2},   {5, &emptyMust, -2}, {5, &emptyMay, -2},
        {5, &whole, 0},    {1, &sup, -2},      {1, &must, -2},      {1, &may, -2},
        {4, &use, -2},     {6, &aux, -2},      {6, &ruleMust, -2},  {6, &ruleMay, -2},
        {6, &ruleNot, -2}, {2, &extended, -2},
    };
    for (const auto &row : rows) {
        LDAPSchemaElement element = {row.kind, row.record};
        char *text = nullptr;
        const char *attribute = nullptr;
        EXPECT_EQ(ldap_schema_element_to_string(&element, &text, &attribute), row.result)
            << row.kind;
        EXPECT_STREQ(attribute, schemaAttributes[row.kind]);
        ldap_memfree(text);
    }
}

// An empty list of names is written as libldap writes it.
TEST(SchemaElementToString, NoNames) {
    char *none[] = {nullptr};
    LDAPAttributeType type{};
    type.at_names = none;
    LDAPSchemaElement element = {0, &type};
    EXPECT_EQ(described(&element), "( NAME () )");
}

TEST(SchemaStrings, Copies) {
    char a[] = "a", b[] = "";
    char *both[] = {a, b, nullptr};
    char *none[] = {nullptr};
    EXPECT_EQ(str_array_dup(nullptr), nullptr);
    EXPECT_THAT(taken(str_array_dup(both)), ElementsAre("a", ""));
    char **empty = str_array_dup(none);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(*empty, nullptr);
    ldapx_memfree(empty);

    char **out = none;
    EXPECT_EQ(single_string_dup(&out, nullptr), LDAP_NO_SUCH_ATTRIBUTE);
    EXPECT_EQ(double_string_dup(&out, nullptr), LDAP_NO_SUCH_ATTRIBUTE);
    EXPECT_EQ(out, none);
    EXPECT_EQ(single_string_dup(&out, a), LDAP_SUCCESS);
    EXPECT_THAT(taken(out), ElementsAre("a"));
    EXPECT_EQ(double_string_dup(&out, both), LDAP_SUCCESS);
    EXPECT_NE(out[0], a);
    EXPECT_THAT(taken(out), ElementsAre("a", ""));
}

} // namespace
} // namespace qldapx_test
