#include "schema_fixture.h"

namespace {

using namespace schema_server;

const std::string kTypes = "attributeTypes";
const std::string kClasses = "objectClasses";

class SchemaSyntax : public SchemaFixture {};

TEST_F(SchemaSyntax, NormalisesWhatItShows) {
    accept({add("2.5.21.5", {"(1.2.3 \n name('a'  'b')desc 'two  blanks' sup  name x-y 'z')"})});
    EXPECT_TRUE(
        shows(server_, kTypes, "( 1.2.3 name ( 'a' 'b' ) desc 'two  blanks' sup name x-y 'z' )"));
}

TEST_F(SchemaSyntax, RefusesWhatIsNoDescription) {
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

TEST_F(SchemaSyntax, RefusesEveryBeginningOfADescription) {
    const std::string whole = "( 1.2.3 NAME ( 'a' 'b' ) DESC 'c' OBSOLETE SUP name EQUALITY "
                              "caseIgnoreMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15{9} "
                              "SINGLE-VALUE USAGE userApplications X-D ( 'e' ) )";
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(code({add(kTypes, {whole.substr(0, size)})}), 21) << size;
    accept({add(kTypes, {whole})});
}

TEST_F(SchemaSyntax, TakesLargeTextsAndRefusesLargerOnes) {
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

} // namespace
