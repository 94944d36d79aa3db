#include "system/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;

/** What both sides have beside the element that is compared. */
constexpr const char *common = "attributeTypes: ( 1.1.1 NAME ( 'tint' 'hue' ) )\n"
                               "attributeTypes: ( 1.1.2 NAME 'paint' )\n"
                               "objectClasses: ( 1.2.1 NAME 'top' ABSTRACT )\n"
                               "ldapSyntaxes: ( 1.3.1 DESC 'Text' )\n";

struct DiffCase {
    const char *left, *right;
    const char *words; // none: no difference
};

class SchemaDiff : public testing::Test {
  protected:
    Result diff(const std::string &left, const std::string &right, const Arguments &more = {}) {
        Arguments arguments = {"schema", "diff", folder_.write("left", common + left),
                               folder_.write("right", common + right)};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return runTool(arguments);
    }
    TemporaryFolder folder_;
};

TEST_F(SchemaDiff, OnlyRealDifferencesCount) {
    const DiffCase cases[] = {
        {"attributeTypes: (1.1.3 NAME 'x'   SUP tint SINGLE-VALUE )\n",
         "attributeTypes: ( 1.1.3 SINGLE-VALUE SUP 'HUE' NAME ( 'X' ) )\n", nullptr},
        {"attributeTypes: ( 1.1.3 SUP tint )\n", "attributeTypes: ( 1.1.3 SUP 1.1.1 )\n", nullptr},
        {"attributeTypes: ( 1.1.3 SUP tint )\n", "attributeTypes: ( 1.1.3 SUP paint )\n",
         "~ 1.1.3: SUP tint -> paint"},
        {"attributeTypes: ( 1.1.3 )\n", "attributeTypes: ( 1.1.3 USAGE userApplications )\n",
         nullptr},
        {"attributeTypes: ( 1.1.3 NAME 'x' )\n",
         "attributeTypes: ( 1.1.3 NAME 'x' USAGE dSAOperation )\n",
         "~ x: USAGE userApplications -> dSAOperation"},
        {"attributeTypes: ( 1.1.3 SYNTAX 1.3.1 )\n", "attributeTypes: ( 1.1.3 SYNTAX 1.3.1{9} )\n",
         "~ 1.1.3: SYNTAX 1.3.1 -> 1.3.1{9}"},
        {"attributeTypes: ( 1.1.3 NAME ( 'x' 'y' 'z' ) )\n",
         "attributeTypes: ( 1.1.3 NAME ( 'x' 'z' 'y' ) )\n", nullptr},
        {"attributeTypes: ( 1.1.3 NAME ( 'x' 'y' ) )\n",
         "attributeTypes: ( 1.1.3 NAME ( 'y' 'x' ) )\n", "~ x: first NAME 'x' -> 'y'"},
        {"attributeTypes: ( 1.1.3 NAME ( 'x' 'y' ) )\n",
         "attributeTypes: ( 1.1.3 NAME ( 'x' 'z' ) )\n", "~ x: NAME lost y, gained z"},
        {"attributeTypes: ( 1.1.3 NAME 'x' DESC 'a' )\n",
         "attributeTypes: ( 1.1.3 NAME 'x' DESC 'A' OBSOLETE )\n",
         "~ x: DESC 'a' -> 'A'; OBSOLETE gained"},
        {"attributeTypes: ( 1.1.3 DESC '\\27 \\5C' )\n",
         "attributeTypes: ( 1.1.3 DESC '\\27 \\5c' )\n", nullptr},
        {"attributeTypes: ( 1.1.3 X-A 'b' )\n", "attributeTypes: ( 1.1.3 )\n", nullptr},
        {"objectClasses: ( NAME ( 'k' 'm' ) SUP top )\n",
         "objectClasses: ( k-oid SUP top NAME ( 'k' 'm' ) )\n", nullptr},
        {"objectClasses: ( NAME 'k' SUP top )\n",
         "objectClasses: ( other-oid NAME 'k' SUP top MAY paint )\n", "~ k: MAY gained paint"},
        {"objectClasses: ( 1.2.3 SUP top MUST ( tint $ paint ) )\n",
         "objectClasses: ( 1.2.3 SUP 1.2.1 STRUCTURAL MUST ( 'PAINT' $ 1.1.1 $ 'hue' ) )\n",
         nullptr},
        {"objectClasses: ( 1.2.3 NAME 'c' MUST tint MAY unknown )\n",
         "objectClasses: ( 1.2.3 NAME 'c' MUST ( paint $ other ) MAY UNKNOWN )\n",
         "~ c: MUST lost tint, gained paint, other"},
        {"objectClasses: ( 1.2.3 NAME 'c' AUXILIARY )\n", "objectClasses: ( 1.2.3 NAME 'c' )\n",
         "~ c: STRUCTURAL gained; AUXILIARY lost"},
        {"dITContentRules: ( 1.2.1 NAME 'r' NOT tint )\n",
         "dITContentRules: ( 1.2.1 NAME 'r' NOT 1.1.1 AUX c )\n", "~ r: AUX gained c"},
        {"dITStructureRules: ( 7 FORM f SUP ( 1 2 ) )\n",
         "dITStructureRules: ( 7 FORM F SUP ( 2 1 ) )\n", nullptr},
        {"attributeTypes: ( 1.1.3 NAME 'x' )\n", "", "- x (1.1.3)"},
        {"", "nameForms: ( 1.5.1 NAME 'f' OC top MUST tint )\n", "+ f (1.5.1)"},
    };
    for (const DiffCase &each : cases) {
        const Result result = diff(each.left, each.right);
        EXPECT_EQ(result.status, each.words == nullptr ? 0 : 1) << each.left << each.right;
        EXPECT_EQ(result.err, "");
        if (each.words == nullptr)
            EXPECT_EQ(result.out, "") << each.left;
        else
            EXPECT_THAT(result.out, HasSubstr(std::string(each.words) + "\n"));
    }
}

TEST_F(SchemaDiff, GroupsByKind) {
    EXPECT_EQ(diff("attributeTypes: ( 1.1.4 NAME 'b' )\nobjectClasses: ( 1.2.4 NAME 'c' )\n",
                   "attributeTypes: ( 1.1.3 NAME 'A' )\nattributeTypes: ( 1.1.4 NAME 'b' "
                   "SINGLE-VALUE )\n")
                  .out,
              "--- left\n+++ right\n\nattribute types\n+ A (1.1.3)\n~ b: SINGLE-VALUE gained\n"
              "\nobject classes\n- c (1.2.4)\n");
}

TEST_F(SchemaDiff, ExtensionsCountOnRequest) {
    const char *left = "attributeTypes: ( 1.1.3 NAME 'x' X-A ( 'b' 'c' ) )\n";
    const char *right = "attributeTypes: ( 1.1.3 NAME 'x' X-A ( 'c' 'B' ) X-N 'n' )\n";
    EXPECT_EQ(diff(left, right).status, 0);
    const Result result = diff(left, right, {"--extensions"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("~ x: X-A lost b, gained B; X-N gained n\n"));
}

TEST_F(SchemaDiff, PrintsJson) {
    const Result result = diff("attributeTypes: ( 1.1.3 NAME 'x' )\n",
                               "attributeTypes: ( 1.1.3 NAME 'x' SUP tint )\n", {"--json"});
    EXPECT_EQ(result.status, 1);
    const Json expected = {
        {"left", "left"},
        {"right", "right"},
        {"same", false},
        {"differences",
         {{{"change", "changed"},
           {"kind", "attribute"},
           {"name", "x"},
           {"oid", "1.1.3"},
           {"fields", {{{"keyword", "SUP"}, {"lost", Json::array()}, {"gained", {"tint"}}}}}}}}};
    EXPECT_EQ(result.json(), expected);
}

TEST_F(SchemaDiff, TroubleIsTwo) {
    EXPECT_EQ(diff("attributeTypes: ( 1.1.3\n", "").status, 2);
    EXPECT_EQ(runTool({"schema", "diff", "/nowhere/a", "/nowhere/b"}).status, 2);
    const Result down =
        runTool({"schema", "diff", folder_.write("f", common), "-H", "ldap://127.0.0.1:1"});
    EXPECT_EQ(down.status, 2);
    EXPECT_THAT(down.err, HasSubstr("no connection"));
}

TEST_F(SchemaDiff, ComparesServersAndFiles) {
    const Simulator one;
    const Simulator other(
        {"--schema", folder_.write("s", "attributeTypes: ( 1.1.3 NAME 'x' SUP cn )\n")});
    EXPECT_EQ(one.run({"schema", "diff", one.uri()}).status, 0);
    EXPECT_THAT(one.run({"schema", "diff", other.uri()}).out, HasSubstr("+ x (1.1.3)"));
    EXPECT_THAT(one.administer({"schema", "diff", other.uri(), one.uri()}).out,
                HasSubstr("- x (1.1.3)"));
    const Result parts = runTool(
        {"schema", "diff", folder_.path("s") + "," + folder_.write("t", ""), folder_.path("s")});
    EXPECT_EQ(parts.status, 0) << parts.out << parts.err;
}

} // namespace
} // namespace test
