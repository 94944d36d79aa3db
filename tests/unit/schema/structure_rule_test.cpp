// DIT structure rules and content rules read and written.
#include "support/case_name.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>
#include <string>

namespace qldapx_test {
namespace {

constexpr unsigned storeFlags = 15;
constexpr unsigned strict = LDAP_SCHEMA_ALLOW_NONE;

struct FreeRule {
    void operator()(LDAPDITStructureRule *rule) const { ldap_ditstructurerule_free(rule); }
};
using RulePtr = std::unique_ptr<LDAPDITStructureRule, FreeRule>;

RulePtr read(const char *text, unsigned flags, int *code, const char **errorAt) {
    *code = 77;
    *errorAt = nullptr;
    return RulePtr(ldap_str2ditstructurerule(text, code, errorAt, flags));
}

std::string written(LDAPDITStructureRule *rule) {
    char *text = ldap_ditstructurerule2str(rule);
    const std::string copy = text == nullptr ? "NULL" : text;
    ldap_memfree(text);
    return copy;
}

struct GoodCase {
    const char *text;
    const char *written;
    unsigned flags = storeFlags;
};

constexpr GoodCase goodCases[] = {
    {"( 3 FORM f )", "( 3 FORM f )", strict},
    {"(3)", "( 3 )", strict},
    {"\t(\t3 FORM\tf\t)  rest", "( 3 FORM f )", strict},
    {"( 3.4.5 FORM f )", "( 3.4.5 FORM f )", strict},
    {"( '3' FORM f )", "( 3 FORM f )"},
    {"( 3 NAME 'a' DESC 'd' OBSOLETE FORM f SUP 2 X-A 'x' X-B ( 'y' 'z' ) )",
     "( 3 NAME 'a' DESC 'd' OBSOLETE FORM f SUP '2' X-A 'x' X-B ( 'y' 'z' ) )", strict},
    {"( 3 X-A 'x' SUP ( 1 $ 2 ) FORM f OBSOLETE DESC 'd' NAME ( 'a' 'b' ) )",
     "( 3 NAME ( 'a' 'b' ) DESC 'd' OBSOLETE FORM f SUP ( '1' '2' ) X-A 'x' )", strict},
    {"( 3 SUP ( 1 2 ) )", "( 3 SUP ( '1' '2' ) )", strict},
    {"( 3 SUP (1 2 3) )", "( 3 SUP ( '1' '2' '3' ) )", strict},
    {"( 3 SUP ( 1 $ 2 3 ) )", "( 3 SUP ( '1' '2' '3' ) )", strict},
    {"( 3 SUP ( '1' '2' ) )", "( 3 SUP ( '1' '2' ) )"},
    {"( 3 SUP ( '1' $ '2' ) )", "( 3 SUP ( '1' '2' ) )"},
    {"( 3 SUP '2' )", "( 3 SUP '2' )"},
    {"( 3 FORM ( f $ g ) )", "( 3 FORM f )"},
    {"( 3 FORM 'f' )", "( 3 FORM f )"},
    {"( 3 form f name 'a' )", "( 3 NAME 'a' FORM f )", strict},
    {"( 3 NAME ( ) )", "( 3 NAME ( ) )"},
    {"( 3 DESC '' )", "( 3 DESC '' )"},
    {"( 3 DESC '( $ {' )", "( 3 DESC '( $ {' )"},
    {"( 3 X-A ( ) )", "( 3 X-A ( ) )"},
    {"( 3 X-A 'x' X-A 'y' )", "( 3 X-A 'x' X-A 'y' )"},
    // No rule id, or a word in its place.
    {"( NAME 'a' )", "( NAME 'a' )"},
    {"( name 'a' )", "( NAME 'a' )"},
    {"( DESC 'd' )", "( DESC 'd' )"},
    {"( OBSOLETE )", "( OBSOLETE )"},
    {"( X-A 'x' )", "( X-A 'x' )"},
    {"( x-rule FORM f )", nullptr},
    {"( my-rule FORM f )", "( FORM f )"},
    {"( FORM FORM f )", "( FORM f )"},
    {"( SUP FORM f )", "( FORM f )"},
    {"( )", "( )"},
};

TEST(StructureRule, Read) {
    for (const GoodCase &row : goodCases) {
        SCOPED_TRACE(row.text);
        int code = 0;
        const char *errorAt = nullptr;
        const RulePtr rule = read(row.text, row.flags, &code, &errorAt);
        ASSERT_EQ(rule != nullptr, row.written != nullptr);
        if (rule == nullptr)
            continue;
        EXPECT_EQ(code, 0);
        EXPECT_EQ(written(rule.get()), row.written);
        if (rule->sr_ruleid == nullptr) // a first word that is no known field is taken for it
            continue;
        const RulePtr again = read(row.written, storeFlags, &code, &errorAt);
        ASSERT_NE(again, nullptr);
        EXPECT_EQ(written(again.get()), row.written);
    }
}

struct BadCase {
    const char *text;
    int code;
    const char *rest; // where the reading stopped
    unsigned flags = storeFlags;
};

constexpr BadCase badCases[] = {
    {"", LDAP_SCHERR_NOLEFTPAREN, ""},
    {"3 FORM f )", LDAP_SCHERR_NOLEFTPAREN, " FORM f )"},
    {"'a", LDAP_SCHERR_NOLEFTPAREN, ""},
    {"( 3 FORM f", LDAP_SCHERR_NORIGHTPAREN, ""},
    {"(", LDAP_SCHERR_NORIGHTPAREN, ""},
    {"( 3", LDAP_SCHERR_NORIGHTPAREN, ""},
    {"( FORM f )", LDAP_SCHERR_NODIGIT, "FORM f )", strict},
    {"( NAME 'a' )", LDAP_SCHERR_NODIGIT, "NAME 'a' )", strict},
    {"( '3' )", LDAP_SCHERR_NODIGIT, "'3' )", strict},
    {"( )", LDAP_SCHERR_NODIGIT, ")", strict},
    {"( 3.x FORM f )", LDAP_SCHERR_NODIGIT, "x FORM f )"},
    {"( 3. FORM f )", LDAP_SCHERR_NODIGIT, " FORM f )"},
    {"( '3 FORM f )", LDAP_SCHERR_UNEXPTOKEN, " FORM f )"},
    {"( ''  FORM f )", LDAP_SCHERR_NODIGIT, "'  FORM f )"},
    {"( ( 3 ) )", LDAP_SCHERR_UNEXPTOKEN, " 3 ) )"},
    {"( $ )", LDAP_SCHERR_UNEXPTOKEN, " )"},
    {"( 3 SYNTAX 1.2 )", LDAP_SCHERR_UNEXPTOKEN, " 1.2 )"},
    {"( SYNTAX 1.2 )", LDAP_SCHERR_UNEXPTOKEN, " 1.2 )"},
    {"( 3 NAME 'a' NAME 'b' )", LDAP_SCHERR_DUPOPT, " 'b' )"},
    {"( 3 DESC 'a' DESC 'b' )", LDAP_SCHERR_DUPOPT, " 'b' )"},
    {"( 3 OBSOLETE OBSOLETE )", LDAP_SCHERR_DUPOPT, " )"},
    {"( 3 FORM f form f )", LDAP_SCHERR_DUPOPT, " f )"},
    {"( 3 SUP 1 SUP 2 )", LDAP_SCHERR_DUPOPT, " 2 )"},
    {"( 3 NAME a )", LDAP_SCHERR_BADNAME, " )"},
    {"( 3 NAME ( a ) )", LDAP_SCHERR_BADNAME, " ) )"},
    {"( 3 NAME ( 'a' ", LDAP_SCHERR_BADNAME, ""},
    {"( 3 NAME 'a", LDAP_SCHERR_BADNAME, ""},
    {"( 3 NAME )", LDAP_SCHERR_BADNAME, ""},
    {"( 3 DESC d )", LDAP_SCHERR_UNEXPTOKEN, " )"},
    {"( 3 DESC ( 'd' ) )", LDAP_SCHERR_UNEXPTOKEN, " 'd' ) )"},
    {"( 3 FORM )", LDAP_SCHERR_BADNAME, ""},
    {"( 3 FORM ( ) )", LDAP_SCHERR_UNEXPTOKEN, " )"},
    {"( 3 FORM ( f $ ) )", LDAP_SCHERR_UNEXPTOKEN, " )"},
    {"( 3 FORM ( f $ $ g ) )", LDAP_SCHERR_UNEXPTOKEN, " g ) )"},
    {"( 3 FORM ( $ f ) )", LDAP_SCHERR_UNEXPTOKEN, " f ) )"},
    {"( 3 FORM ( f", LDAP_SCHERR_UNEXPTOKEN, ""},
    {"( 3 FORM 'f' )", LDAP_SCHERR_BADNAME, " )", strict},
    {"( 3 SUP ( { ) )", LDAP_SCHERR_UNEXPTOKEN, "{ ) )"},
    {"( 3 SUP {", LDAP_SCHERR_BADNAME, "{"},
    {"( 3 SUP ( '1' '2' ) )", LDAP_SCHERR_UNEXPTOKEN, " '2' ) )", strict},
    {"( 3 X-A x )", LDAP_SCHERR_BADNAME, " )"},
    {"( 3 X-A ( 'x' y ) )", LDAP_SCHERR_UNEXPTOKEN, " ) )"},
    {"( 3 x-a 'x' )", LDAP_SCHERR_UNEXPTOKEN, " 'x' )"},
    {"( 3 OTHER 'x' )", LDAP_SCHERR_UNEXPTOKEN, " 'x' )"},
    {"( 3 'x' )", LDAP_SCHERR_UNEXPTOKEN, " )"},
    {"( 3 $ )", LDAP_SCHERR_UNEXPTOKEN, " )"},
    {"( 3 {5} )", LDAP_SCHERR_UNEXPTOKEN, "{5} )"},
};

TEST(StructureRule, NotRead) {
    for (const BadCase &row : badCases) {
        SCOPED_TRACE(row.text);
        int code = 0;
        const char *errorAt = nullptr;
        EXPECT_EQ(read(row.text, row.flags, &code, &errorAt), nullptr);
        EXPECT_EQ(code, row.code);
        EXPECT_STREQ(errorAt, row.rest);
    }
}

TEST(StructureRule, NoText) {
    int code = 0;
    const char *errorAt = nullptr;
    EXPECT_EQ(read(nullptr, storeFlags, &code, &errorAt), nullptr);
    EXPECT_EQ(code, LDAP_SCHERR_EMPTY);
    EXPECT_STREQ(errorAt, "");
}

TEST(StructureRule, Fields) {
    int code = 0;
    const char *errorAt = nullptr;
    const RulePtr rule = read("( 3 NAME ( 'a' 'b' ) DESC 'd' OBSOLETE FORM f SUP ( 1 2 ) X-A 'x' )",
                              strict, &code, &errorAt);
    ASSERT_NE(rule, nullptr);
    EXPECT_STREQ(rule->sr_ruleid, "3");
    EXPECT_STREQ(rule->sr_names[0], "a");
    EXPECT_STREQ(rule->sr_names[1], "b");
    EXPECT_EQ(rule->sr_names[2], nullptr);
    EXPECT_STREQ(rule->sr_desc, "d");
    EXPECT_EQ(rule->sr_obsolete, 1);
    EXPECT_STREQ(rule->sr_nameform, "f");
    EXPECT_STREQ(rule->sr_sup_ruleids[0], "1");
    EXPECT_STREQ(rule->sr_sup_ruleids[1], "2");
    EXPECT_EQ(rule->sr_sup_ruleids[2], nullptr);
    EXPECT_STREQ(rule->sr_extensions[0]->lsei_name, "X-A");
    EXPECT_STREQ(rule->sr_extensions[0]->lsei_values[0], "x");
    EXPECT_EQ(rule->sr_extensions[1], nullptr);
}

TEST(StructureRule, Nothing) {
    EXPECT_EQ(ldap_ditstructurerule2str(nullptr), nullptr);
    ldap_ditstructurerule_free(nullptr);
    LDAPDITStructureRule empty{};
    EXPECT_EQ(written(&empty), "( )");
}

// Lists as long as a message may make them.
TEST(StructureRule, LongLists) {
    std::string text = "( 3 SUP (";
    for (int i = 0; i < 200000; ++i)
        text += " 1";
    text += " ) NAME (";
    for (int i = 0; i < 200000; ++i)
        text += "'a'";
    text += ")";
    for (int i = 0; i < 100000; ++i)
        text += "X-A'x'";
    int code = 0;
    const char *errorAt = nullptr;
    const RulePtr rule = read((text + ")").c_str(), storeFlags, &code, &errorAt);
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(written(rule.get()).size(), 22U + 200000U * 8U + 100000U * 8U);
}

TEST(ContentRule, IsLibldaps) {
    int code = 0;
    const char *errorAt = nullptr;
    const char text[] = "( 1.2 NAME 'a' AUX ( b $ c ) MUST d )";
    LDAPContentRule *rule = ldap_str2ditcontentrule(text, &code, &errorAt, storeFlags);
    ASSERT_NE(rule, nullptr);
    EXPECT_STREQ(rule->cr_oc_oids_aux[1], "c");
    char *copy = ldap_ditcontentrule2str(rule);
    EXPECT_STREQ(copy, text);
    ldap_memfree(copy);
    ldap_ditcontentrule_free(rule);
    EXPECT_EQ(ldap_str2ditcontentrule("rubbish", &code, &errorAt, storeFlags), nullptr);
    EXPECT_EQ(code, LDAP_SCHERR_NOLEFTPAREN);
}

} // namespace
} // namespace qldapx_test
