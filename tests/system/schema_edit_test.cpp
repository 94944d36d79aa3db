#include "system/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char *text = "1.3.6.1.4.1.1466.115.121.1.15";

/** A server, and one attribute type and class on it that may be changed. */
class SchemaEdit : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(
            edit({"add", "attribute", "OID=1.1.1", "NAME=tint", "NAME=hue", "DESC=it's a \\ colour",
                  "EQUALITY=caseIgnoreMatch", std::string("SYNTAX=") + text})
                .status,
            0);
        ASSERT_EQ(edit({"add", "class", "OID=1.2.1", "NAME=tinted", "SUP=top", "AUXILIARY",
                        "MAY=tint", "MAY=cn"})
                      .status,
                  0);
    }
    Result edit(Arguments arguments) {
        arguments.insert(arguments.begin(), "schema");
        return simulator_.administer(arguments);
    }
    std::string get(const std::string &name) { return simulator_.run({"schema", "get", name}).out; }
    Simulator simulator_;
    TemporaryFolder folder_;
};

TEST_F(SchemaEdit, AddsWhatTheFieldsSay) {
    EXPECT_EQ(get("tint"), std::string("( 1.1.1 NAME ( 'tint' 'hue' ) DESC 'it\\27s a \\5c colour' "
                                       "EQUALITY caseIgnoreMatch SYNTAX ") +
                               text + " )\n");
    EXPECT_EQ(get("tinted"), "( 1.2.1 NAME 'tinted' SUP top AUXILIARY MAY ( tint $ cn ) )\n");
    const Result result = edit({"add", "attribute", "OID=1.1.2", "NAME=two", "SUP=tint",
                                "USAGE=userApplications", "SINGLE-VALUE", "X-ORIGIN=me"});
    EXPECT_EQ(result.out, "attribute type two (1.1.2) added\n");
    EXPECT_EQ(get("two"), "( 1.1.2 NAME 'two' SUP tint SINGLE-VALUE X-ORIGIN 'me' )\n");
}

struct KindCase {
    Arguments arguments;
    const char *name;
    std::string description;
};

TEST_F(SchemaEdit, AddsEveryKind) {
    const KindCase cases[] = {
        {{"syntax", "OID=1.3.1", "DESC=Odd"}, "1.3.1", "( 1.3.1 DESC 'Odd' )"},
        {{"rule", "OID=1.4.1", "NAME=oddMatch", "SYNTAX=1.3.1"},
         "oddMatch",
         "( 1.4.1 NAME 'oddMatch' SYNTAX 1.3.1 )"},
        {{"rule-use", "OID=1.4.1", "NAME=oddUse", "APPLIES=cn", "APPLIES=sn"},
         "oddUse",
         "( 1.4.1 NAME 'oddUse' APPLIES ( cn $ sn ) )"},
        {{"class", "OID=1.2.2", "NAME=box", "SUP=top", "STRUCTURAL", "MUST=cn"},
         "box",
         "( 1.2.2 NAME 'box' SUP top STRUCTURAL MUST cn )"},
        {{"nameForms", "OID=1.5.1", "NAME=boxForm", "OC=box", "MUST=cn"},
         "boxForm",
         "( 1.5.1 NAME 'boxForm' OC box MUST cn )"},
        {{"content-rules", "OID=1.2.2", "NAME=boxRule", "AUX=tinted", "NOT=sn"},
         "boxRule",
         "( 1.2.2 NAME 'boxRule' AUX tinted NOT sn )"},
        {{"structure-rule", "RULEID=71", "NAME=boxPlace", "FORM=boxForm"},
         "boxPlace",
         "( 71 NAME 'boxPlace' FORM boxForm )"},
    };
    for (const KindCase &each : cases) {
        Arguments arguments = each.arguments;
        arguments.insert(arguments.begin(), "add");
        const Result result = edit(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(get(each.name), each.description + "\n");
    }
}

struct RefusedCase {
    Arguments arguments;
    int status;
    const char *message;
};

TEST_F(SchemaEdit, MistakesAreFoundBeforeAnythingIsSent) {
    const RefusedCase cases[] = {
        {{"add", "attribute", "NAME=x", "SUP=cn"}, 2, "has no OID"},
        {{"add", "attribute", "OID=1.x", "NAME=x", "SUP=cn"}, 2, "\"1.x\" is no OID"},
        {{"add", "attribute", "OID=1..2", "NAME=x", "SUP=cn"}, 2, "is no OID"},
        {{"add", "attribute", "OID=1.02", "NAME=x", "SUP=cn"}, 2, "is no OID"},
        {{"add", "structure-rule", "RULEID=a", "FORM=x"}, 2, "is no rule id"},
        {{"add", "attribute", "OID=1.1.9", "NAME=a_b", "SUP=cn"}, 2, "is no name"},
        {{"add", "attribute", "OID=1.1.9", "NAME=9x", "SUP=cn"}, 2, "is no name"},
        {{"add", "attribute", "OID=1.1.9", "NAME=x", "FLAVOUR=x"}, 2, "\"FLAVOUR\" is unknown"},
        {{"add", "attribute", "OID=1.1.9", "NAME=x", "MUST=cn"}, 2, "SINGLE-VALUE, COLLECTIVE"},
        {{"add", "attribute", "OID=1.1.9", "NAME=x", "SUP=cn", "SUP=sn"}, 2, "given twice"},
        {{"add", "attribute", "OID=1.1.9", "NAME=x", "SINGLE-VALUE=1"}, 2, "takes no value"},
        {{"add", "attribute", "OID=1.1.9", "NAME=x", "SYNTAX"}, 2, "needs a value"},
        {{"add", "attribute", "OID=1.1.9", "NAME=x", "USAGE=none"}, 2, "is no USAGE"},
        {{"add", "attribute", "OID=1.1.9", "NAME=x", "SYNTAX=a b"}, 2, "cannot be written"},
        {{"add", "attribute", "OID=1.1.9", "NAME+=x"}, 2, "changes a field"},
        {{"add", "attribute"}, 2, "has no OID"},
        {{"add"}, 2, "say what to add"},
        {{"add", "fruit", "OID=1.2"}, 2, "is no kind"},
        {{"add", "attribute", "OID=2.5.4.3", "NAME=x", "SUP=sn"}, 1, "has the OID already, as"},
        {{"add", "attribute", "OID=1.1.9", "NAME=x", "NAME=CN", "SUP=sn"}, 1, "one of its names"},
        {{"modify", "tint", "FLAVOUR=x"}, 2, "is unknown"},
        {{"modify", "tint", "NAME-=none"}, 2, "none is not in NAME"},
        {{"modify", "tint", "DESC+=x"}, 2, "DESC is no list"},
        {{"modify", "tint", "OBSOLETE-"}, 2, "has no OBSOLETE"},
        {{"modify", "tint", "OID-"}, 2, "has no OID"},
        {{"modify", "tinted", "AUXILIARY-"}, 2, "always of one kind"},
        {{"modify", "tint", "NAME+=commonName"}, 1, "commonName is attribute type cn"},
        {{"modify", "tint", "OID=2.5.4.3"}, 1, "2.5.4.3 is attribute type cn"},
        {{"modify", "none", "DESC=x"}, 1, "No such object (32)"},
        {{"delete", "none"}, 1, "No such object (32)"},
        {{"delete", "tint"}, 1, "MAY of object class tinted"},
    };
    for (const RefusedCase &each : cases) {
        const Result result = edit(each.arguments);
        EXPECT_EQ(result.status, each.status) << each.message << result.err;
        EXPECT_EQ(result.out, "") << each.message;
        std::string words = result.err; // without the folds
        for (std::size_t fold = 0; (fold = words.find("\n                ")) != std::string::npos;)
            words.replace(fold, 17, " ");
        EXPECT_THAT(words, HasSubstr(each.message));
    }
}

TEST_F(SchemaEdit, ModifiesFieldByField) {
    const std::string oid = text;
    const std::pair<Arguments, std::string> cases[] = {
        {{"DESC=plain"},
         "NAME ( 'tint' 'hue' ) DESC 'plain' EQUALITY caseIgnoreMatch SYNTAX " + oid},
        {{"NAME+=shade", "NAME-=HUE"},
         "NAME ( 'tint' 'shade' ) DESC 'plain' EQUALITY caseIgnoreMatch SYNTAX " + oid},
        {{"NAME=tint", "DESC-", "SINGLE-VALUE", "OBSOLETE"},
         "NAME 'tint' OBSOLETE EQUALITY caseIgnoreMatch SYNTAX " + oid + " SINGLE-VALUE"},
        {{"OBSOLETE-", "SYNTAX=" + oid + "{64}"},
         "NAME 'tint' EQUALITY caseIgnoreMatch SYNTAX " + oid + "{64} SINGLE-VALUE"},
        {{"SYNTAX=" + oid + "{32}", "SINGLE-VALUE-"},
         "NAME 'tint' EQUALITY caseIgnoreMatch SYNTAX " + oid + "{32}"},
        {{"SYNTAX=" + oid}, "NAME 'tint' EQUALITY caseIgnoreMatch SYNTAX " + oid},
        {{"X-ORIGIN=a", "X-ORIGIN=b"},
         "NAME 'tint' EQUALITY caseIgnoreMatch SYNTAX " + oid + " X-ORIGIN ( 'a' 'b' )"},
        {{"X-ORIGIN-=a"}, "NAME 'tint' EQUALITY caseIgnoreMatch SYNTAX " + oid + " X-ORIGIN 'b'"},
        {{"X-ORIGIN-=b"}, "NAME 'tint' EQUALITY caseIgnoreMatch SYNTAX " + oid},
        {{"USAGE=directoryOperation"},
         "NAME 'tint' EQUALITY caseIgnoreMatch SYNTAX " + oid + " USAGE directoryOperation"},
        {{"USAGE-"}, "NAME 'tint' EQUALITY caseIgnoreMatch SYNTAX " + oid},
        {{"DESC=it's"}, "NAME 'tint' DESC 'it\\27s' EQUALITY caseIgnoreMatch SYNTAX " + oid},
    };
    for (const auto &[fields, description] : cases) {
        Arguments arguments = {"modify", "1.1.1"};
        arguments.insert(arguments.end(), fields.begin(), fields.end());
        const Result result = edit(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(get("1.1.1"), "( 1.1.1 " + description + " )\n");
    }
}

TEST_F(SchemaEdit, ModifiesLists) {
    EXPECT_EQ(edit({"modify", "tinted", "MAY-=2.5.4.3", "MUST=sn"}).status, 0);
    EXPECT_EQ(get("tinted"), "( 1.2.1 NAME 'tinted' SUP top AUXILIARY MUST sn MAY tint )\n");
    EXPECT_EQ(edit({"modify", "tinted", "MAY-=TINT", "MUST-"}).status, 0);
    EXPECT_EQ(get("tinted"), "( 1.2.1 NAME 'tinted' SUP top AUXILIARY )\n");
    EXPECT_EQ(edit({"modify", "tinted", "STRUCTURAL"}).status, 0);
    EXPECT_EQ(get("tinted"), "( 1.2.1 NAME 'tinted' SUP top STRUCTURAL )\n");
    const Result same = edit({"modify", "tinted", "STRUCTURAL"});
    EXPECT_EQ(same.status, 0);
    EXPECT_THAT(same.out, HasSubstr("is as it shall be"));
}

TEST_F(SchemaEdit, ChangesAKeyAndAForm) {
    EXPECT_EQ(edit({"modify", "tint", "OID=1.1.7"}).status, 0);
    EXPECT_EQ(simulator_.run({"schema", "get", "tint", "OID"}).out, "1.1.7\n");
    EXPECT_EQ(edit({"add", "structure-rule", "OID=71", "NAME=place", "FORM=strataUnitForm"}).status,
              0);
    EXPECT_EQ(edit({"modify", "place", "FORM=strataPersonForm", "DESC=x"}).status, 0);
    EXPECT_EQ(simulator_.run({"schema", "get", "place", "FORM", "DESC"}).out,
              "FORM: strataPersonForm\nDESC: x\n");
}

TEST_F(SchemaEdit, DeletesSeveralInOneRequest) {
    const Result result = edit({"delete", "tint", "tinted", "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    const Json changes = result.json()["changes"];
    EXPECT_EQ(changes[0]["name"], "tinted"); // what names another goes first
    EXPECT_EQ(
        changes[1],
        Json({{"change", "deleted"}, {"kind", "attribute"}, {"name", "tint"}, {"oid", "1.1.1"}}));
    EXPECT_EQ(get("tint"), "");
    const Result forced = edit({"delete", "sn", "--force"});
    EXPECT_EQ(forced.status, 1);
    EXPECT_THAT(forced.err, AllOf(HasSubstr("unwilling to perform (53)"),
                                  HasSubstr("attribute type sn (2.5.4.4) is not deleted"),
                                  HasSubstr("server says:")));
}

TEST_F(SchemaEdit, ARefusalNamesTheElement) {
    const std::string file =
        folder_.write("f.ldif", "attributeTypes: ( 1.1.8 NAME 'a' SUP cn )\n"
                                "objectClasses: ( 1.2.9 NAME 'b' SUP top MAY nowhere )\n");
    const std::string err = edit({"add", "--file", file, "--json"}).err; // after a warning
    const Json error = Json::parse(err.substr(err.find("{\"error\"")))["error"];
    EXPECT_EQ(error["code"], 53);
    EXPECT_EQ(error["object"], "b");
    EXPECT_EQ(error["reason"], "object class b (1.2.9) is not added");
    EXPECT_THAT(error["hint"].get<std::string>(), HasSubstr("look at what is there now"));
}

TEST_F(SchemaEdit, RightsAreNeeded) {
    const Result result = simulator_.run({"schema", "delete", "tinted", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error()["code"], 50);
    EXPECT_EQ(result.error()["object"], "tinted");
}

TEST_F(SchemaEdit, UnknownReferencesAreWarnedOf) {
    const Result result = edit({"add", "class", "OID=1.2.9", "NAME=x", "MAY=nowhere", "--dry-run"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("the server has no attribute type nowhere, which MAY names"));
}

TEST_F(SchemaEdit, ADryRunIsWhatLdapmodifyTakes) {
    const Arguments edits[] = {
        {"add", "attribute", "OID=1.1.5", "NAME=five", "DESC=\xc3\xa4'", "SUP=cn"},
        {"modify", "tint", "NAME+=shade", std::string("SYNTAX=") + text + "{9}"},
        {"modify", "tinted", "MAY-=cn", "DESC=a text that is long enough for a line to be folded"},
        {"delete", "tinted", "five"},
    };
    for (const Arguments &each : edits) {
        Arguments dry = each;
        dry.emplace_back("--dry-run");
        const std::string before = simulator_.run({"schema", "export"}).out;
        const std::string ldif = edit(dry).out;
        EXPECT_THAT(ldif, StartsWith("dn: cn=schema\nchangetype: modify\n"));
        EXPECT_EQ(simulator_.run({"schema", "export"}).out, before);
        Simulator other({"--schema", folder_.write("before.ldif", before)});
        other.change(ldif);
        EXPECT_EQ(edit(each).status, 0);
        const Result diff = other.run({"schema", "diff", simulator_.uri(), "--extensions"});
        EXPECT_EQ(diff.status, 0) << diff.out << diff.err;
        EXPECT_NE(simulator_.run({"schema", "export"}).out, before);
    }
}

TEST_F(SchemaEdit, FilesComeInAnOrderThatResolves) {
    const std::string content = "dITStructureRules: ( 71 FORM bForm )\n"
                                "nameForms: ( 1.5.9 NAME 'bForm' OC b MUST y )\n"
                                "objectClasses: ( 1.2.8 NAME 'b' SUP a STRUCTURAL MAY x )\n"
                                "objectClasses: ( 1.2.9 NAME 'a' SUP top ABSTRACT )\n"
                                "attributeTypes: ( 1.1.8 NAME 'x' SUP y )\n"
                                "attributeTypes: ( 1.1.9 NAME 'y' SYNTAX 1.3.9 )\n"
                                "ldapSyntaxes: ( 1.3.9 DESC 'Text' )\n"
                                "objectClasses: ( 1.2.1 NAME 'TINTED' AUXILIARY SUP 2.5.6.0\n"
                                "  MAY ( 2.5.4.3 $ hue ) )\n";
    const std::string file =
        folder_.write("f.ldif", "dITStructureRules: ( 72 FORM bForm SUP 71 )\n" + content);
    const Result dry = edit({"add", "--file", file, "--dry-run"});
    std::vector<std::string> keys;
    for (std::size_t at = 0; (at = dry.out.find(": ( ", at)) != std::string::npos; ++at)
        keys.push_back(dry.out.substr(at + 4, dry.out.find(' ', at + 4) - at - 4));
    const std::vector<std::string> order = {"1.3.9", "1.1.9", "1.1.8", "1.2.9",
                                            "1.2.8", "1.5.9", "71",    "72"};
    EXPECT_EQ(keys, order) << dry.err;
    const std::string rest = folder_.write("g.ldif", content);
    const Result result = edit({"add", "--file", rest});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("object class tinted (1.2.1) is as it shall be"));
    EXPECT_THAT(edit({"add", "--file", rest}).out, Not(HasSubstr("added")));
}

TEST_F(SchemaEdit, WhatIsOtherwiseNeedsReplace) {
    const std::string file =
        folder_.write("f.schema", "attributetype ( 1.1.1 NAME 'tint' SUP cn )\n");
    const Result refused = edit({"add", "--file", file});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, AllOf(HasSubstr("f.schema:1"), HasSubstr("--replace")));
    const Result replaced = edit({"add", "--file", file, "--replace"});
    EXPECT_EQ(replaced.out, "attribute type tint (1.1.1) changed\n") << replaced.err;
    EXPECT_EQ(get("1.1.1"), "( 1.1.1 NAME 'tint' SUP cn )\n");
}

TEST_F(SchemaEdit, OneBadDescriptionKeepsAllBack) {
    const std::string file = folder_.write(
        "f.ldif", "attributeTypes: ( 1.1.8 NAME 'x' SUP cn )\nattributeTypes: ( 1.1.9\n");
    const Result result = edit({"add", "--file", file});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, AllOf(HasSubstr("f.ldif:2: "), HasSubstr("nothing was sent")));
    EXPECT_EQ(get("x"), "");
    const std::string twice =
        folder_.write("t.ldif", "attributeTypes: ( 1.1.8 NAME 'x' SUP cn )\n"
                                "attributeTypes: ( 1.1.8 NAME 'y' SUP cn )\n");
    EXPECT_THAT(edit({"add", "--file", twice}).err, HasSubstr("t.ldif:2: "));
}

TEST_F(SchemaEdit, StandardInputIsAFile) {
    Arguments arguments = simulator_.asAdministrator({"schema", "add", "--file", "-"});
    std::string command = "printf 'attributeTypes: ( 1.1.8 SUP cn )\\n' | " QLDAPX_PATH;
    for (const std::string &word : arguments)
        command += " '" + word + "'";
    const Result result = runShell(command, {});
    EXPECT_EQ(result.out, "attribute type 1.1.8 added\n") << result.err;
}

} // namespace
} // namespace test
