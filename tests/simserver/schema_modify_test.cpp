#include "schema_fixture.h"

namespace {

using namespace schema_server;

const std::string kTypes = "attributeTypes";
const std::string kClasses = "objectClasses";

class SchemaModify : public SchemaFixture {};

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
    refuse(53, user,
           {remove(kTypes, {"( 1.2.3 NAME ( 'mine' 'alias' ) SUP name )"}),
            add(kTypes, {"( 1.2.3 NAME 'mine' SUP name )", "( 1.2.9 NAME 'alias' SUP name )"})});
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

} // namespace
