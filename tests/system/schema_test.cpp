#include "system/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/** A schema of its own: odd names, several names, what refers to what. */
constexpr const char *sample =
    "dn: cn=schema\n"
    "ldapSyntaxes: ( 1.3.1 DESC 'Text' )\n"
    "matchingRules: ( 1.4.1 NAME 'sameText' SYNTAX 1.3.1 )\n"
    "matchingRuleUse: ( 1.4.1 NAME 'sameText' APPLIES ( tint $ paint ) )\n"
    "attributeTypes: ( 1.1.1 NAME ( 'tint' 'colour' ) DESC 'it\\27s \\5c' EQUALITY sameText\n"
    "  SYNTAX 1.3.1{64} SINGLE-VALUE X-ORIGIN ( 'one' 'two' ) )\n"
    "attributeTypes: ( 1.1.2 NAME 'paint' SUP tint OBSOLETE USAGE directoryOperation )\n"
    "attributeTypes: ( paint-oid NAME 'odd' SYNTAX 1.3.1 )\n"
    "objectClasses: ( 1.2.1 NAME 'thing' ABSTRACT MUST tint )\n"
    "objectClasses: ( 1.2.2 NAME 'tint' SUP thing STRUCTURAL MAY ( paint $ odd ) )\n"
    "nameForms: ( 1.5.1 NAME 'thingForm' OC 1.2.2 MUST tint X-F 'form' )\n"
    "dITContentRules: ( 1.2.2 NAME 'thingRule' NOT paint X-C 'content' )\n"
    "dITStructureRules: ( 1 NAME 'thingPlace' FORM thingForm )\n"
    "dITStructureRules: ( 2 NAME 'thingPlace2' FORM thingForm SUP ( 1 2 ) )\n";

class SchemaFile : public testing::Test {
  protected:
    [[nodiscard]] Result run(const Arguments &arguments) const { return runOn(sample, arguments); }
    [[nodiscard]] Result runOn(const std::string &content, Arguments arguments) const {
        arguments.insert(arguments.begin(), "schema");
        arguments.insert(arguments.end(), {"--file", folder_.write("s.ldif", content)});
        return runTool(arguments);
    }
    TemporaryFolder folder_;
};

TEST_F(SchemaFile, ListsByName) {
    const Result result = run({"list", "attribute"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "odd           paint-oid  Text\n"
                          "paint         1.1.2      SUP tint\n"
                          "tint, colour  1.1.1      Text{64}\n");
}

TEST_F(SchemaFile, SeveralKindsHaveAColumn) {
    EXPECT_EQ(run({"list", "classes", "RULE"}).out,
              "rule   sameText  1.4.1  Text\n"
              "class  thing     1.2.1  abstract\n"
              "class  tint      1.2.2  structural, SUP thing\n");
}

struct LikeCase {
    const char *pattern;
    std::vector<std::string> names;
};

TEST_F(SchemaFile, PatternsAreAShells) {
    const LikeCase cases[] = {
        {"COL*", {"tint"}},  {"1.1.*", {"paint", "tint"}}, {"*-oid", {"odd"}},
        {"[op]??", {"odd"}}, {"thing", {"thing"}},         {"thingPlace?", {"thingPlace2"}},
        {"nothing", {}},
    };
    for (const LikeCase &each : cases) {
        const Result result = run({"list", "--like", each.pattern, "--json"});
        EXPECT_EQ(result.status, 0);
        std::vector<std::string> names;
        for (const Json &element : result.json())
            names.push_back(element["names"][0]);
        EXPECT_EQ(names, each.names) << each.pattern;
    }
}

TEST_F(SchemaFile, AKindThatIsNoneIsRefused) {
    const Result result = run({"list", "fruit"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, AllOf(HasSubstr("\"fruit\" is no kind"), HasSubstr("content-rule")));
}

TEST_F(SchemaFile, ShowsAllOfAName) {
    const std::string out = run({"show", "TINT"}).out;
    EXPECT_THAT(out, AllOf(StartsWith("attribute type tint (1.1.1)\n"),
                           HasSubstr("\n  NAME          tint, colour\n"),
                           HasSubstr("\n  DESC          it's \\\n"),
                           HasSubstr("\n  SYNTAX        1.3.1{64} (Text)\n"),
                           HasSubstr("\n  X-ORIGIN      one, two\n"),
                           HasSubstr("\nobject class tint (1.2.2)\n")));
    EXPECT_THAT(out,
                AllOf(HasSubstr("SUP of attribute types"), HasSubstr("MUST of object classes"),
                      HasSubstr("APPLIES of matching rule uses"), HasSubstr("MUST of name forms"),
                      HasSubstr("OC of name forms"), HasSubstr("OID of content rules")));
}

TEST_F(SchemaFile, SaysWhatIsInherited) {
    const Json type = run({"show", "paint", "--json"}).json()[0];
    const Json inherited = {{{"keyword", "EQUALITY"}, {"values", {"sameText"}}, {"from", "tint"}},
                            {{"keyword", "SYNTAX"}, {"values", {"1.3.1{64}"}}, {"from", "tint"}}};
    EXPECT_EQ(type["inherited"], inherited);
    const Json entry = run({"show", "1.2.2", "--kind", "class", "--json"}).json()[0];
    const Json must = {{{"keyword", "MUST"}, {"values", {"tint"}}, {"from", "thing"}}};
    EXPECT_EQ(entry["inherited"], must);
    EXPECT_THAT(run({"show", "paint"}).out, HasSubstr("SYNTAX of tint"));
}

TEST_F(SchemaFile, CyclesAndHolesAreSaid) {
    const char *broken = "objectClasses: ( 1.1 NAME 'a' SUP b MUST nothing )\n"
                         "objectClasses: ( 1.2 NAME 'b' SUP ( c $ none ) )\n"
                         "objectClasses: ( 1.3 NAME 'c' SUP b )\n"
                         "attributeTypes: ( 2.1 NAME 'self' SUP self )\n";
    EXPECT_EQ(runOn(broken, {"show", "a", "--json"}).json()[0]["faults"],
              Json({"MUST names the attribute type nothing, which is unknown here",
                    "SUP goes round in a circle at b"}));
    EXPECT_THAT(runOn(broken, {"show", "self"}).out, HasSubstr("in a circle at self"));
    EXPECT_THAT(runOn(broken, {"show", "b"}).out, HasSubstr("none (unknown here)"));
}

TEST_F(SchemaFile, AnUnknownNameIsAnError) {
    const Result result = run({"show", "tinnt", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], 32);
    EXPECT_EQ(result.error()["hint"], "tint?");
    EXPECT_EQ(run({"show", "sameText", "--kind", "class"}).status, 1);
}

struct GetCase {
    Arguments arguments;
    const char *out;
};

TEST_F(SchemaFile, GivesFieldsToScripts) {
    const GetCase cases[] = {
        {{"paint"}, "( 1.1.2 NAME 'paint' OBSOLETE SUP tint USAGE directoryOperation )\n"},
        {{"colour", "NAME", "--kind", "attribute"}, "tint\ncolour\n"},
        {{"1.1.1", "desc"}, "it's \\\n"},
        {{"1.1.1", "SYNTAX", "single-value", "x-origin"},
         "SYNTAX: 1.3.1{64}\nSINGLE-VALUE: TRUE\nX-ORIGIN: one\nX-ORIGIN: two\n"},
        {{"paint", "USAGE"}, "directoryOperation\n"},
        {{"1.1.1", "USAGE"}, "userApplications\n"},
        {{"odd", "OID"}, "paint-oid\n"},
        {{"thingForm", "OC", "X-F"}, "OC: 1.2.2\nX-F: form\n"},
        {{"thingRule", "NOT", "X-C"}, "NOT: paint\nX-C: content\n"},
        {{"2", "SUP", "FORM"}, "SUP: 1\nSUP: 2\nFORM: thingForm\n"},
    };
    for (const GetCase &each : cases) {
        Arguments arguments = each.arguments;
        arguments.insert(arguments.begin(), "get");
        const Result result = run(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.out, each.out);
    }
}

TEST_F(SchemaFile, AMissingFieldIsAFailure) {
    const Result result = run({"get", "paint", "NAME", "SYNTAX"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "NAME: paint\n");
    EXPECT_THAT(result.err, HasSubstr("has no SYNTAX"));
    const Result several = run({"get", "tint"});
    EXPECT_EQ(several.status, 2);
    EXPECT_THAT(several.err, HasSubstr("names several elements"));
}

TEST_F(SchemaFile, JsonHasEveryFieldUnderItsKey) {
    const Json json = run({"get", "1.1.1", "--json"}).json();
    EXPECT_EQ(json["kind"], "attribute");
    EXPECT_EQ(json["oid"], "1.1.1");
    EXPECT_EQ(json["names"], Json({"tint", "colour"}));
    EXPECT_EQ(json["desc"], "it's \\");
    EXPECT_EQ(json["singleValue"], true);
    EXPECT_EQ(json["syntax"], "1.3.1{64}");
    EXPECT_EQ(json["extensions"]["X-ORIGIN"], Json({"one", "two"}));
    EXPECT_THAT(json["definition"].get<std::string>(), StartsWith("( 1.1.1 NAME ( 'tint' 'col"));
    EXPECT_FALSE(json.contains("obsolete"));
}

TEST_F(SchemaFile, WhatIsExportedReadsTheSame) {
    for (const Arguments &format : {Arguments{}, Arguments{"--json"}}) {
        Arguments arguments = {"export"};
        arguments.insert(arguments.end(), format.begin(), format.end());
        const std::string file = folder_.write("out", run(arguments).out);
        const Result diff =
            runTool({"schema", "diff", file, folder_.path("s.ldif"), "--extensions"});
        EXPECT_EQ(diff.status, 0) << diff.out << diff.err;
    }
}

TEST_F(SchemaFile, MacrosStandForOidsOnly) {
    const std::string out =
        runOn("objectidentifier Mine 1.3.7\n"
              "attributetype ( Mine:1 NAME 'Mine' DESC 'SYNTAX Mine' SYNTAX 'Mine{5}' )\n"
              "objectclass ( Mine:2 NAME 'box' MUST ( Mine $ cn ) )\n",
              {"export"})
            .out;
    EXPECT_THAT(out, AllOf(HasSubstr("( 1.3.7.1 NAME 'Mine' DESC 'SYNTAX Mine' SYNTAX 1.3.7{5} )"),
                           HasSubstr("( 1.3.7.2 NAME 'box' STRUCTURAL MUST ( Mine $ cn ) )")));
}

// Servers have classes without an OID; what is exported can be read everywhere.
TEST_F(SchemaFile, AClassWithoutAnOidIsExportedWithAWord) {
    EXPECT_THAT(runOn("objectClasses: ( NAME 'box' SUP top STRUCTURAL )\n", {"export"}).out,
                HasSubstr("\nobjectClasses: ( box-oid NAME 'box' SUP top STRUCTURAL )\n"));
}

// So has a backslash that stands alone; slapd's files keep the blanks of lines that go on.
TEST_F(SchemaFile, TextsAreExportedEscaped) {
    EXPECT_THAT(runOn("attributetype ( 1.1 DESC 'a\\b \\5c \\27\n   c' )\n", {"export"}).out,
                HasSubstr("( 1.1 DESC 'a\\5cb \\5c \\27   c' )"));
}

TEST_F(SchemaFile, ExportFoldsAndEncodes) {
    const std::string out =
        runOn("attributeTypes: ( 1.1 NAME 'u' DESC '\xc3\xa4' )\n" + std::string(sample),
              {"export", "--kind", "attribute,syntax"})
            .out;
    EXPECT_THAT(out, AllOf(StartsWith("dn: cn=schema\n"), HasSubstr("\nattributeTypes:: "),
                           HasSubstr("\nldapSyntaxes: ( 1.3.1 DESC 'Text' )\n"),
                           Not(HasSubstr("nameForms"))));
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = out.find('\n', begin)) != std::string::npos; begin = end + 1)
        EXPECT_LE(end - begin, 78U);
}

TEST_F(SchemaFile, AnExportAppearsWhole) {
    const std::string file = folder_.path("e.ldif");
    EXPECT_EQ(run({"export", file}).status, 0);
    EXPECT_THAT(readFile(file), HasSubstr("dITStructureRules"));
    EXPECT_EQ(run({"export", file}).status, 2);
    EXPECT_EQ(run({"export", file, "--force"}).status, 0);
    const std::string command = std::string("ulimit -f 0; ") + QLDAPX_PATH + " schema export " +
                                folder_.path("no.ldif") + " --file " + folder_.path("s.ldif");
    EXPECT_EQ(runShell(command, {}).status, 1);
    EXPECT_THAT(folder_.names(), ElementsAre("e.ldif", "s.ldif"));
}

struct FormCase {
    const char *content;
    const char *oid;
};

TEST_F(SchemaFile, ReadsEveryForm) {
    const FormCase cases[] = {
        {"attributetype ( 1.1 NAME 'x' )\n", "1.1"},
        {"# comment\n\nattributeType\t(\n\t1.2\n\n\tNAME 'x' )\nobjectclass ( 2.1 )\n", "1.2"},
        {"objectidentifier Root 1.3\nobjectIdentifier Sub Root:4\nattributetype ( Sub:5 NAME 'x' )",
         "1.3.4.5"},
        {"ldapsyntax ( 3.1 )\r\nattributetype ( 1.4\r\n  NAME 'x' )\r\n", "1.4"},
        {"dn: cn={0}x,cn=schema,cn=config\nobjectClass: olcSchemaConfig\n"
         "olcObjectIdentifier: {0}Root 1.5\nolcAttributeTypes: {12}( Root:6 NAM\n E 'x' )\n",
         "1.5.6"},
        {"ATTRIBUTETYPES:: KCAxLjYgTkFNRSAneCcgKQ==\n", "1.6"},
        {R"-([{"kind": "attribute", "definition": "( 1.7 NAME 'x' )"}])-", "1.7"},
        {"attributeTypes: ( x-oid NAME 'x' SUP name )\n", "x-oid"},
        {"objectidentifier Mine 1.3.7\nattributetype ( 1.9 NAME 'x' SYNTAX 'Mine{5}' DESC 'SYNTAX "
         "Mine' )\n",
         "1.9"},
        {"attributeTypes: (1.8 NAME 'x' SYNTAX '1.3{3}' EQUALITY caseIgnoreMatch)\n", "1.8"},
    };
    for (const FormCase &each : cases) {
        const Result result = runOn(each.content, {"get", "x", "OID"});
        EXPECT_EQ(result.status, 0) << each.content;
        EXPECT_EQ(result.out, std::string(each.oid) + "\n") << result.err;
    }
}

struct FaultCase {
    const char *line;
    const char *message;
};

TEST_F(SchemaFile, AFaultNamesItsPlaceAndTheRestIsRead) {
    const FaultCase cases[] = {
        {"attributeTypes: 1.1 NAME 'x' )", "attribute type: Missing opening parenthesis"},
        {"attributeTypes: ( 1.1 NAME 'x'", "attribute type:"},
        {"attributeTypes: ( 1.1 NAME 'x' NAME 'y' )", "attribute type: Duplicate option"},
        {"objectClasses: ( 1.1 NAME 'x' MUST ( a $ )", "object class:"},
        {"objectClasses: ( )", "object class:"},
        {"nameForms: ( 1.1 OC x )", "name form:"},
        {"attributeTypes:< file:///etc/passwd", "neither text nor base64"},
        {"attributeTypes", "no colon"},
        {"attributeTypes:: KCA\x06xLj", "neither text nor base64"},
        {"changetype: modify", "ldapmodify"},
    };
    for (const FaultCase &each : cases) {
        const Result result = runOn(std::string("dn: cn=schema\n") + each.line + "\n" +
                                        "attributeTypes: ( 1.9 NAME 'well' )\n",
                                    {"list"});
        EXPECT_EQ(result.status, 1) << each.line;
        EXPECT_THAT(result.out, HasSubstr("well")) << each.line;
        EXPECT_THAT(result.err, AllOf(HasSubstr("s.ldif:2: "), HasSubstr(each.message),
                                      Not(HasSubstr("\x06")), Not(HasSubstr("ldap_pvt"))));
    }
}

TEST_F(SchemaFile, HostileTextsDoNotSteerTheTerminal) {
    const std::string hostile =
        "attributeTypes: ( 1.1 NAME 'x' DESC 'a\x1b[31m' X-\x1b[32m 'b' )\n";
    for (const char *command : {"list", "show"}) {
        Arguments arguments = {command};
        if (arguments.front() == "show")
            arguments.emplace_back("x");
        const Result result = runOn(hostile, arguments);
        EXPECT_THAT(result.out + result.err, Not(HasSubstr("\x1b")));
    }
}

TEST_F(SchemaFile, AFileThatIsNotThereIsNamed) {
    const Result result = runTool({"schema", "list", "--file", "/nowhere/x.ldif"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("cannot read /nowhere/x.ldif"));
}

// What the library leaves out of a server's schema is read as files are.
TEST(Schema, HasWhatTheLibraryLeavesOut) {
    const TemporaryFolder folder;
    const Simulator simulator(
        {"--schema-verbatim",
         folder.write("v.ldif", "attributeTypes: ( wordy-oid NAME 'wordy' SUP name )\n"
                                "attributeTypes: ( 1.2.3 NAME 'plain' )\n"
                                "attributeTypes: rubbish\nobjectClasses: ( 1.2.4 NAME 'box' "
                                "MUST wordy )\n")});
    const Result list = simulator.run({"schema", "list", "attribute"});
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.out, AllOf(HasSubstr("wordy"), HasSubstr("plain")));
    EXPECT_THAT(list.err, HasSubstr("1 of the server's descriptions cannot be read"));
    EXPECT_THAT(simulator.run({"schema", "export"}).out,
                HasSubstr("attributeTypes: ( wordy-oid NAME 'wordy' SUP name )\n"));
}

TEST(Schema, IsTheServers) {
    const Simulator simulator;
    EXPECT_THAT(simulator.run({"schema", "list", "class"}).out,
                HasSubstr("\ninetOrgPerson                  2.16.840.1.113730.3.2.2       "
                          "structural, SUP organizationalPerson\n"));
    EXPECT_EQ(simulator.run({"schema", "get", "cn", "NAME"}).out, "cn\ncommonName\n");
    EXPECT_EQ(simulator.run({"schema", "get", "cn", "NAME", "--dn", "cn=schema"}).out,
              "cn\ncommonName\n");
    const Result wrong = simulator.run({"schema", "list", "--dn", "cn=none"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_THAT(wrong.err, AllOf(HasSubstr("schema list cn=none: No such object (32)"),
                                 HasSubstr("check --dn")));
}

TEST(Schema, AnExportFeedsAnotherServer) {
    const TemporaryFolder folder;
    const std::string file = folder.path("s.ldif");
    {
        const Simulator first;
        EXPECT_EQ(first.run({"schema", "export", file}).status, 0);
    }
    const Simulator second({"--schema", file});
    const Result diff = second.run({"schema", "diff", file, "--extensions"});
    EXPECT_EQ(diff.status, 0) << diff.out << diff.err;
}

} // namespace
} // namespace test
