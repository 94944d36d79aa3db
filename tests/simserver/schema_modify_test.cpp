#include "schema_server.h"

#include <gtest/gtest.h>

namespace {

using namespace schema_server;

const std::string kTypes = "attributeTypes";
const std::string kClasses = "objectClasses";

class SchemaModify : public testing::Test {
  protected:
    SchemaModify() { server_.bindAdmin(); }

    int code(const std::vector<wire::Mod> &changes) { return server_.code(modify(changes)); }
    void accept(const std::vector<wire::Mod> &changes) {
        const auto response = server_.ask(modify(changes));
        EXPECT_EQ(response.code, 0) << response.diagnostic;
    }
    /** Expects the refusal, its text, and that nothing has changed. */
    void refuse(int code, const std::string &part, const std::vector<wire::Mod> &changes) {
        const std::string before = everything();
        const auto response = server_.ask(modify(changes));
        EXPECT_EQ(response.code, code) << response.diagnostic;
        EXPECT_TRUE(contains(response.diagnostic, part))
            << response.diagnostic << "\nlacks " << part;
        EXPECT_EQ(everything(), before);
    }
    std::string everything() {
        return server_.raw(
            wire::message(1, wire::search({.base = kDn, .scope = 0, .attributes = {"*", "+"}})));
    }

    InProcess server_;
};

TEST_F(SchemaModify, AddsAndDeletesElementsOfEachKind) {
    const std::pair<std::string, std::string> cases[] = {
        {"ldapSyntaxes", "( 1.2.1 DESC 'mine' )"},
        {"matchingRules", "( 1.2.2 NAME 'mineMatch' SYNTAX 1.2.1 )"},
        {"attributeTypes", "( 1.2.3 NAME 'mine' EQUALITY mineMatch SYNTAX 1.2.1{5} )"},
        {"objectClasses", "( 1.2.4 NAME 'mineObject' SUP top STRUCTURAL MUST mine MAY cn )"},
        {"matchingRuleUse", "( 1.2.2 APPLIES mine )"},
        {"nameForms", "( 1.2.5 NAME 'mineForm' OC mineObject MUST mine MAY cn )"},
        {"dITContentRules", "( 1.2.4 AUX strataPerson MUST sn MAY l NOT cn )"},
        {"dITStructureRules", "( 9 FORM mineForm SUP ( 1 9 ) )"},
    };
    for (const auto &[attribute, text] : cases) {
        accept({add(attribute, {text})});
        EXPECT_EQ(shown(server_, attribute).back(), text);
    }
    // What is referred to cannot go: the last one goes first.
    for (auto row = std::rbegin(cases); row != std::rend(cases); ++row) {
        accept({remove(row->first, {row->second})});
        EXPECT_FALSE(shows(server_, row->first, row->second));
    }
}

TEST_F(SchemaModify, NormalisesWhatItShows) {
    accept({add("2.5.21.5", {"(1.2.3 \n name('a'  'b')desc 'two  blanks' sup  name x-y 'z')"})});
    EXPECT_TRUE(
        shows(server_, kTypes, "( 1.2.3 name ( 'a' 'b' ) desc 'two  blanks' sup name x-y 'z' )"));
}

TEST_F(SchemaModify, RefusesWhatIsNoDescription) {
    struct Case {
        const char *attribute;
        std::string text;
        const char *part;
    };
    const std::string zero(1, '\0');
    const Case cases[] = {
        {"attributeTypes", "", "\"(\" is expected"},
        {"attributeTypes", "1.2.3 SUP name", "character 1: \"(\" is expected"},
        {"attributeTypes", "(", "an OID or name is expected"},
        {"attributeTypes", "( )", "an OID or name is expected"},
        {"attributeTypes", "( 1.2.3 SUP name", "the text ends without \")\""},
        {"attributeTypes", "( 1.2.3 SUP name ) )", "character 20: something follows"},
        {"attributeTypes", "( 1..3 SUP name )", "\"1..3\" is neither an OID nor a name"},
        {"attributeTypes", "( 1.02 SUP name )", "\"1.02\" is neither"},
        {"attributeTypes", "( 1 SUP name )", "\"1\" is neither"},
        {"attributeTypes", "( 1.2.3 NAME 'x SUP name )", "character 14: a quoted text has no end"},
        {"attributeTypes", "( 1.2.3 NAME x SUP name )", "NAME: a quoted text is expected"},
        {"attributeTypes", "( 1.2.3 NAME '1x' SUP name )", "NAME: \"1x\" is no name"},
        {"attributeTypes", "( 1.2.3 NAME 'a b' SUP name )", "NAME: \"a b\" is no name"},
        {"attributeTypes", "( 1.2.3 NAME ( 'a' 'b' SUP name )", "NAME: a quoted text is expected"},
        {"attributeTypes", "( 1.2.3 SUP name SUP name )", "SUP is there twice"},
        {"attributeTypes", "( 1.2.3 SUP name sup name )", "SUP is there twice"},
        {"attributeTypes", "( 1.2.3 SUP )", "SUP: an OID or name is expected"},
        {"attributeTypes", "( 1.2.3 SUP name WRONG 'x' )", "character 18: \"WRONG\" is no keyword"},
        {"attributeTypes", "( 1.2.3 SUP name MUST cn )", "\"MUST\" is no keyword"},
        {"attributeTypes", "( 1.2.3 SUP name 'x' )", "a keyword is expected in place of \"'x'\""},
        {"attributeTypes", "( 1.2.3 SUP name X- 'x' )", "\"X-\" is no keyword"},
        {"attributeTypes", "( 1.2.3 SUP name X-A )", "X-A: a quoted text is expected"},
        {"attributeTypes", "( 1.2.3 SUP name X-A ( ( 'a' ) ) )", "X-A: a quoted text is expected"},
        {"attributeTypes", "( 1.2.3 SUP name USAGE often )", "USAGE: the usage is user"},
        {"attributeTypes", "( 1.2.3 SUP name USAGE", "USAGE: "},
        {"attributeTypes", "( 1.2.3 NAME 'x' )", "SYNTAX is missing, and SUP as well"},
        {"attributeTypes", "( 1.2.3 SYNTAX 1.2{x} )", "SYNTAX: \"1.2{x}\" is neither"},
        {"attributeTypes", "( 1.2.3 SUP name DESC 'a\\b' )", "neither \\27 nor \\5c"},
        {"attributeTypes", "( 1.2.3 SUP name DESC 'a\\' )", "neither \\27 nor \\5c"},
        {"attributeTypes", "( 1.2.3 SUP name DESC 'a" + zero + "' )", "a NUL byte in a quoted"},
        {"attributeTypes", "( 1.2.3 SUP na" + zero + "me )", "character 13: a NUL byte"},
        {"objectClasses", "( 1.2.3 SUP top MUST cn $ sn )", "a keyword is expected"},
        {"objectClasses", "( 1.2.3 SUP top MUST ( cn sn ) )", "MUST: \"$\" or \")\" is expected"},
        {"objectClasses", "( 1.2.3 SUP top MUST ( cn $ ) )", "MUST: an OID or name is expected"},
        {"objectClasses", "( 1.2.3 SUP top MUST ( $ cn ) )", "MUST: an OID or name is expected"},
        {"objectClasses", "( 1.2.3 SUP top MUST ( cn", "MUST: "},
        {"objectClasses", "( 1.2.3 SUP top AUXILIARY STRUCTURAL )", "one of ABSTRACT"},
        {"matchingRules", "( 1.2.3 NAME 'x' )", "SYNTAX is missing"},
        {"matchingRuleUse", "( 2.5.13.1 )", "APPLIES is missing"},
        {"nameForms", "( 1.2.3 MUST cn )", "OC is missing"},
        {"nameForms", "( 1.2.3 OC person )", "MUST is missing"},
        {"dITStructureRules", "( 1.2 FORM x )", "a rule number is expected"},
        {"dITStructureRules", "( x FORM x )", "a rule number is expected"},
        {"dITStructureRules", "( 07 FORM x )", "a rule number is expected"},
        {"dITStructureRules", "( 9 )", "FORM is missing"},
        {"dITStructureRules", "( 9 FORM strataUnitForm SUP ( 1 $ 2 ) )", "a rule number"},
        {"dITStructureRules", "( 9 FORM strataUnitForm SUP ( 1", "SUP: a rule number"},
    };
    for (const Case &c : cases) {
        refuse(21, c.part, {add(c.attribute, {c.text})});
        refuse(21, std::string(c.attribute) + ": ", {remove(c.attribute, {c.text})});
    }
}

TEST_F(SchemaModify, RefusesEveryBeginningOfADescription) {
    const std::string whole = "( 1.2.3 NAME ( 'a' 'b' ) DESC 'c' OBSOLETE SUP name EQUALITY "
                              "caseIgnoreMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15{9} "
                              "SINGLE-VALUE USAGE userApplications X-D ( 'e' ) )";
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(code({add(kTypes, {whole.substr(0, size)})}), 21) << size;
    accept({add(kTypes, {whole})});
}

TEST_F(SchemaModify, TakesLargeTextsAndRefusesLargerOnes) {
    const std::size_t most = std::size_t{1} << 20U;
    const std::string begin = "( 1.2.3 SUP name DESC '";
    const std::string end = "' )";
    const std::string fill(most - begin.size() - end.size(), 'x');
    refuse(21, "1048577 characters are more than the 1048576",
           {add(kTypes, {begin + fill + "x" + end})});
    accept({add(kTypes, {begin + fill + end})});
    // What nests too deeply is wrong from the second level on.
    refuse(21, "an OID or name is expected", {add(kClasses, {std::string(most, '(')})});
    refuse(21, "MUST: an OID or name is expected",
           {add(kClasses, {"( 1.2.4 MUST " + std::string(most - 100, '(')})});
}

TEST_F(SchemaModify, ReferencesMustResolve) {
    struct Case {
        const char *attribute;
        const char *text;
        const char *part;
    };
    const Case cases[] = {
        {"attributeTypes", "( 1.2.3 NAME 'x' SUP gone )",
         "attribute type x (1.2.3): SUP: there is no attribute type gone"},
        {"attributeTypes", "( 1.2.3 SUP 1.2.4 )",
         "attribute type 1.2.3: SUP: there is no attribute type 1.2.4"},
        {"attributeTypes", "( 1.2.3 SUP name EQUALITY gone )",
         "EQUALITY: there is no matching rule gone"},
        {"attributeTypes", "( 1.2.3 SUP name ORDERING gone )",
         "ORDERING: there is no matching rule gone"},
        {"attributeTypes", "( 1.2.3 SUP name SUBSTR gone )",
         "SUBSTR: there is no matching rule gone"},
        {"attributeTypes", "( 1.2.3 SYNTAX 1.2.4{7} )", "SYNTAX: there is no syntax 1.2.4"},
        {"objectClasses", "( 1.2.3 SUP ( top $ gone ) )", "SUP: there is no object class gone"},
        {"objectClasses", "( 1.2.3 SUP top MUST gone )", "MUST: there is no attribute type gone"},
        {"objectClasses", "( 1.2.3 SUP top MAY ( cn $ gone ) )",
         "MAY: there is no attribute type gone"},
        {"matchingRules", "( 1.2.3 SYNTAX 1.2.4 )", "SYNTAX: there is no syntax 1.2.4"},
        {"matchingRuleUse", "( 1.2.3 APPLIES cn )", "there is no matching rule 1.2.3"},
        {"matchingRuleUse", "( 2.5.13.0 APPLIES ( cn $ gone ) )",
         "APPLIES: there is no attribute type gone"},
        {"nameForms", "( 1.2.3 OC gone MUST cn )", "OC: there is no object class gone"},
        {"nameForms", "( 1.2.3 OC person MUST gone )", "MUST: there is no attribute type gone"},
        {"nameForms", "( 1.2.3 OC person MUST cn MAY gone )",
         "MAY: there is no attribute type gone"},
        {"dITContentRules", "( 1.2.3 MAY cn )", "there is no object class 1.2.3"},
        {"dITContentRules", "( 2.5.6.6 AUX gone )", "AUX: there is no object class gone"},
        {"dITContentRules", "( 2.5.6.6 MUST gone )", "MUST: there is no attribute type gone"},
        {"dITContentRules", "( 2.5.6.6 MAY gone )", "MAY: there is no attribute type gone"},
        {"dITContentRules", "( 2.5.6.6 NOT gone )", "NOT: there is no attribute type gone"},
        {"dITStructureRules", "( 9 FORM gone )", "FORM: there is no name form gone"},
        {"dITStructureRules", "( 9 FORM strataUnitForm SUP 8 )",
         "SUP: there is no structure rule 8"},
    };
    for (const Case &c : cases)
        refuse(53, c.part, {add(c.attribute, {c.text})});
}

TEST_F(SchemaModify, ElementsMustFitTogether) {
    struct Case {
        std::vector<wire::Mod> changes;
        int code;
        const char *part;
    };
    const Case cases[] = {
        {{add(kTypes, {"( 1.2.3 SUP 1.2.3 )"})}, 53, "is derived from it in turn"},
        {{add(kTypes, {"( 1.2.3 SUP 1.2.4 )", "( 1.2.4 SUP 1.2.5 )", "( 1.2.5 SUP 1.2.3 )"})},
         53,
         "is derived from it in turn"},
        {{add(kClasses, {"( 1.2.3 NAME 'a' SUP b )", "( 1.2.4 NAME 'b' SUP ( top $ a ) )"})},
         53,
         "is derived from it in turn"},
        {{add(kClasses, {"( 1.2.3 SUP dcObject STRUCTURAL )"})},
         53,
         "it is STRUCTURAL and cannot be derived from object class dcObject"},
        {{add(kClasses, {"( 1.2.3 SUP dcObject )"})}, 53, "it is STRUCTURAL"},
        {{add(kClasses, {"( 1.2.3 SUP person AUXILIARY )"})}, 53, "it is AUXILIARY"},
        {{add(kClasses, {"( 1.2.3 SUP person ABSTRACT )"})}, 53, "it is ABSTRACT"},
        {{add(kClasses, {"( 1.2.3 SUP dcObject ABSTRACT )"})}, 53, "it is ABSTRACT"},
        {{add(kTypes, {"( 1.2.3 SUP name USAGE directoryOperation )"})},
         53,
         "its USAGE is directoryOperation, and that of attribute type name (2.5.4.41) is user"},
        {{add(kTypes, {"( 1.2.3 SUP creatorsName )"})}, 53, "its USAGE is userApplications"},
        {{add(kTypes, {"( 1.2.3 SUP name COLLECTIVE SINGLE-VALUE )"})}, 53, "exclude each other"},
        {{add(kTypes, {"( 1.2.3 SUP createTimestamp COLLECTIVE USAGE directoryOperation )"})},
         53,
         "COLLECTIVE is for user applications"},
        {{add(kTypes, {"( 1.2.3 SUP name NO-USER-MODIFICATION )"})}, 53, "NO-USER-MODIFICATION"},
        {{add("nameForms", {"( 1.2.3 OC dcObject MUST dc )"})}, 53, "is not STRUCTURAL"},
        {{add("dITContentRules", {"( 2.5.6.6 AUX organization )"})}, 53, "is not AUXILIARY"},
        {{add("dITContentRules", {"( 1.3.6.1.1.3.1 MAY cn )"})}, 53, "is not STRUCTURAL"},
        {{add(kTypes, {"( 2.5.4.3 NAME 'new' SUP name )"})}, 20, "is there already"},
        {{add(kTypes, {"( 1.2.3 SUP name )", "( 1.2.3 SUP name )"})}, 20, "is there already"},
        {{add("dITStructureRules", {"( 2 FORM strataUnitForm )"})}, 20, "is there already"},
        {{add(kTypes, {"( 1.2.3 NAME ( 'new' 'COMMONname' ) SUP name )"})},
         19,
         "attribute type new (1.2.3): the name COMMONname is that of attribute type cn (2.5.4.3)"},
        {{add(kClasses, {"( 1.2.3 NAME 'Person' SUP top )"})}, 19, "that of object class person"},
        {{add(kTypes, {"( 1.2.3 NAME 'a' SUP name )", "( 1.2.4 NAME 'A' SUP name )"})},
         19,
         "the name A is that of"},
    };
    for (const Case &c : cases)
        refuse(c.code, c.part, c.changes);
    // Names of different kinds do not meet.
    accept({add(kTypes, {"( 1.2.3 NAME 'person' SUP name )"})});
}

TEST_F(SchemaModify, DeletesOnlyWhatTheClientKnows) {
    const std::string text = "( 1.2.3 NAME 'mine' DESC 'a  b' SUP name SINGLE-VALUE X-A 'b' )";
    accept({add(kTypes, {text})});
    for (const char *other :
         {"( 1.2.3 SUP name )", "( 1.2.3 NAME 'Mine' DESC 'a  b' SUP name SINGLE-VALUE X-A 'b' )",
          "( 1.2.3 NAME 'mine' DESC 'a b' SUP name SINGLE-VALUE X-A 'b' )",
          "( 1.2.3 NAME 'mine' DESC 'a  b' SUP name X-A 'b' )",
          "( 1.2.3 NAME 'mine' DESC 'a  b' SUP name SINGLE-VALUE X-A 'b' X-B 'c' )"})
        refuse(16, "has another description: ( 1.2.3 NAME 'mine'", {remove(kTypes, {other})});
    refuse(16, "there is no attribute type 1.2.4", {remove(kTypes, {"( 1.2.4 SUP name )"})});
    refuse(16, "there is no", {remove(kTypes, {text, text})});
    accept({remove(kTypes, {"(1.2.3 X-A 'b' SINGLE-VALUE   SUP name NAME 'mine' DESC 'a  b')"})});
    EXPECT_FALSE(shows(server_, kTypes, text));
}

TEST_F(SchemaModify, RefusesOtherChanges) {
    const wire::Mod fine = add(kTypes, {"( 1.2.3 SUP name )"});
    refuse(53, "all of nameForms cannot go", {fine, remove("nameForms", {})});
    refuse(53, "all of nameForms cannot go", {fine, replace("nameForms", {})});
    refuse(2, "no value of nameForms to add", {fine, add("nameForms", {})});
    refuse(53, "cannot be incremented", {fine, {3, {kTypes, {"( 1.2.4 SUP name )"}}}});
    for (const char *attribute : {"cn", "description", "objectClass", "modifyTimestamp", "x y"})
        refuse(53, std::string(attribute) + " of the subschema is kept by the server",
               {fine, add(attribute, {"x"})});
    EXPECT_EQ(code({{4, {kTypes, {"( 1.2.3 SUP name )"}}}}), 2);
}

TEST_F(SchemaModify, StandardElementsStay) {
    const std::pair<const char *, const char *> cases[] = {
        {"attributeTypes", "( 2.5.4.3 NAME ( 'cn' 'commonName' ) SUP name X-ORIGIN 'RFC 4519' )"},
        {"objectClasses", "( 2.5.6.0 NAME 'top' ABSTRACT MUST objectClass X-ORIGIN 'RFC 4512' )"},
        {"ldapSyntaxes", "( 1.3.6.1.4.1.1466.115.121.1.51 DESC 'Teletex Terminal Identifier' "
                         "X-ORIGIN 'RFC 4517' )"},
        {"attributeTypes", "( 1.3.6.1.1.20 NAME 'entryDN' EQUALITY distinguishedNameMatch SYNTAX "
                           "1.3.6.1.4.1.1466.115.121.1.12 SINGLE-VALUE NO-USER-MODIFICATION USAGE "
                           "directoryOperation X-ORIGIN 'RFC 5020' )"},
    };
    for (const auto &[attribute, text] : cases) {
        refuse(53, "is a standard element", {remove(attribute, {text})});
        refuse(53, "is a standard element", {remove(attribute, {text}), add(attribute, {text})});
    }
    refuse(53, "is a standard element", {replace("objectClasses", {"( 1.2.3 SUP top )"})});
}

TEST_F(SchemaModify, ReplaceGivesTheWholeList) {
    const auto before = shown(server_, "nameForms");
    auto wanted = before;
    wanted.push_back("( 1.2.3 NAME 'mine' OC locality MUST l )");
    accept({replace("nameForms", wanted)});
    EXPECT_EQ(shown(server_, "nameForms"), wanted);
    accept({replace("nameForms", before)});
    EXPECT_EQ(shown(server_, "nameForms"), before);
    refuse(53, "there is no name form strataUnitForm", {replace("nameForms", {before[0]})});
    refuse(20, "is there twice", {replace("nameForms", {before[0], before[0]})});
}

TEST_F(SchemaModify, ChangesAreMadeInOrderAndAllOrNone) {
    const std::string old = "( 1.2.3 NAME 'mine' SUP name )";
    const std::string changed = "( 1.2.3 NAME ( 'mine' 'ours' ) DESC 'd' SUP name )";
    accept({add(kTypes, {old}), add(kClasses, {"( 1.2.4 NAME 'mines' SUP top MUST mine )"})});
    refuse(20, "delete it in the same request", {add(kTypes, {changed}), remove(kTypes, {old})});
    refuse(21, "character", {add(kTypes, {"( 1.2.9 SUP name )"}), add(kTypes, {"("})});
    accept({remove(kTypes, {old}), add(kTypes, {changed})});
    EXPECT_EQ(shown(server_, kTypes).back(), changed);
    // What is added later may be referred to before.
    accept({add(kClasses, {"( 1.2.5 SUP top MUST later )"}),
            add(kTypes, {"( 1.2.6 NAME 'later' SUP name )"})});
    // A name may go from one element to another, in any order.
    accept({add(kTypes, {"( 1.2.7 NAME 'ours' SUP name )"}), remove(kTypes, {changed}),
            add(kTypes, {old})});
}

TEST_F(SchemaModify, ElementsInUseStay) {
    const std::string badge = shown(server_, kTypes)[0];
    const auto textOf = [&](const std::string &attribute, const std::string &name) {
        for (const std::string &text : shown(server_, attribute))
            if (contains(text, "'" + name + "'"))
                return text;
        return std::string();
    };
    // Of the strata elements each is referred to by another one.
    refuse(53, "there is no attribute type strataBadge",
           {remove(kTypes, {textOf(kTypes, "strataBadge")})});
    refuse(53, "AUX: there is no object class strataPerson",
           {remove(kClasses, {textOf(kClasses, "strataPerson")})});
    refuse(53, "FORM: there is no name form strataUnitForm",
           {remove("nameForms", {textOf("nameForms", "strataUnitForm")})});
    refuse(53, "SUP: there is no structure rule 2",
           {remove("dITStructureRules", {textOf("dITStructureRules", "strataUnitRule")})});
    // By entries: types and classes, under each of their names.
    accept({add(kTypes, {"( 1.2.3 NAME ( 'mine' 'alias' ) SUP name )"}),
            add(kClasses, {"( 1.2.4 NAME 'mines' SUP top AUXILIARY )"})});
    const char *entry = "cn=Nova,dc=example,dc=com";
    ASSERT_EQ(
        server_.code(wire::add(
            entry, {{"objectClass", {"person", "MINES"}}, {"cn", {"Nova"}}, {"alias;x-a", {"1"}}})),
        0);
    const std::string user = std::string("is in use: \"") + entry + "\" has it";
    refuse(53, "the attribute type alias;x-a " + user,
           {remove(kTypes, {"( 1.2.3 NAME ( 'mine' 'alias' ) SUP name )"})});
    refuse(53, "the object class MINES " + user,
           {remove(kClasses, {"( 1.2.4 NAME 'mines' SUP top AUXILIARY )"})});
    // Changed it may be, as long as the entry's own names stay.
    refuse(53, user,
           {remove(kTypes, {"( 1.2.3 NAME ( 'mine' 'alias' ) SUP name )"}),
            add(kTypes, {"( 1.2.3 NAME 'mine' SUP name )"})});
    accept({remove(kTypes, {"( 1.2.3 NAME ( 'mine' 'alias' ) SUP name )"}),
            add(kTypes, {"( 1.2.3 NAME ( 'new' 'alias' ) SUP name )"})});
    EXPECT_EQ(server_.code(wire::compare(entry, "new;x-a", "1")), 6);
    ASSERT_EQ(server_.code(wire::remove(entry)), 0);
    accept({remove(kTypes, {"( 1.2.3 NAME ( 'new' 'alias' ) SUP name )"}),
            remove(kClasses, {"( 1.2.4 NAME 'mines' SUP top AUXILIARY )"})});
}

TEST_F(SchemaModify, IsForAdministrators) {
    const std::string request = modify({add(kTypes, {"( 1.2.3 SUP name )"})});
    server_.bindAs("", "");
    EXPECT_EQ(server_.code(request), 50);
    server_.bindAs(kAda);
    EXPECT_EQ(server_.code(request), 50);
    EXPECT_EQ(server_.code(modify({add("cn", {"x"})})), 50);
    server_.bindAdmin();
    EXPECT_EQ(server_.code(request), 0);
}

TEST_F(SchemaModify, IsStamped) {
    server_.time += 60;
    accept({add(kTypes, {"( 1.2.3 SUP name )"})});
    EXPECT_EQ(shown(server_, "modifyTimestamp"), std::vector<std::string>{"19700112134740Z"});
    EXPECT_EQ(shown(server_, "modifiersName"), std::vector<std::string>{kAdmin});
    EXPECT_EQ(shown(server_, "createTimestamp"), std::vector<std::string>{"19700112134640Z"});
}

class SchemaInForce : public SchemaModify {
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
