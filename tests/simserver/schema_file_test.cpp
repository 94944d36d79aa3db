#include "schema/files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using stratasim::schema::Element;
using stratasim::schema::FileError;
using stratasim::schema::Files;
using stratasim::schema::Kind;

struct Named {
    std::string name;
    std::string text;
};

struct Loaded {
    std::shared_ptr<const stratasim::schema::Model> model;
    std::vector<std::string> warnings;
    std::string error;

    std::string text(Kind kind, const std::string &name) const {
        const Element found = model ? model->find(kind, name) : nullptr;
        return found ? found->text : "none";
    }
};

Loaded load(const std::vector<Named> &texts) {
    Loaded loaded;
    try {
        Files files;
        for (const Named &file : texts) {
            std::istringstream in(file.text);
            files.read(in, file.name);
        }
        loaded.model = stratasim::schema::load(files, 0, loaded.warnings);
    } catch (const FileError &error) {
        loaded.error = error.what();
    }
    return loaded;
}
Loaded load(const std::string &text) {
    return load(std::vector<Named>{{"x", text}});
}

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

TEST(SchemaFiles, EveryForm) {
    struct Case {
        const char *what;
        std::string file;
        Kind kind;
        const char *name;
        const char *text;
    };
    const Case cases[] = {
        {"a directive", "attributetype ( 1.2.3 NAME 'x' SUP name )", Kind::AttributeType, "x",
         "( 1.2.3 NAME 'x' SUP name )"},
        {"lines that go on, comments, other letters",
         "# ( comment\n\nAttributeType ( 1.2.3\r\n\tNAME 'x'\n  DESC 'a b'\n  SUP name )\n# end\n",
         Kind::AttributeType, "1.2.3", "( 1.2.3 NAME 'x' DESC 'a b' SUP name )"},
        {"a comment that goes on", "# comment\n ( 1.2 )\nobjectclass(1.2.3 NAME 'x' SUP top)",
         Kind::ObjectClass, "x", "( 1.2.3 NAME 'x' SUP top )"},
        {"a syntax", "ldapsyntax ( 1.2.3 DESC 'x' X-SUBST '1.2' )", Kind::Syntax, "1.2.3",
         "( 1.2.3 DESC 'x' X-SUBST '1.2' )"},
        {"a content rule", "ditcontentrule ( 2.5.6.6 NAME 'x' MAY l )", Kind::ContentRule, "x",
         "( 2.5.6.6 NAME 'x' MAY l )"},
        {"macros, defined later as well",
         "objectclass ( Mine:1 NAME 'x' SUP top MUST ( 'MINE:2' $ cn ) )\n"
         "attributetype ( mine:2 SYNTAX 'Text{9}' )\nobjectidentifier Mine Arc:2\n"
         "objectIdentifier ARC 1.5\nobjectidentifier text 1.3.6.1.4.1.1466.115.121.1.15",
         Kind::ObjectClass, "x", "( 1.5.2.1 NAME 'x' SUP top MUST ( '1.5.2.2' $ cn ) )"},
        {"LDIF",
         "version: 1\ndn: cn=schema\nobjectClass: top\ncn: schema\nattributeTypes: ( 1.2.3 NAME "
         "'x\n y' SUP\n  name )\n\n# end\n",
         Kind::AttributeType, "xy", "( 1.2.3 NAME 'xy' SUP name )"},
        {"LDIF without a DN, other letters", "OBJECTCLASSES: ( 1.2.3 NAME 'x' SUP 'top' )",
         Kind::ObjectClass, "x", "( 1.2.3 NAME 'x' SUP 'top' )"},
        {"base64", "attributetypes:: KCAxLjIuMyBOQU1FICd4JyBTVVAgbmFtZSAp", Kind::AttributeType,
         "x", "( 1.2.3 NAME 'x' SUP name )"},
        {"a configuration with places and macros",
         "dn: cn=x,cn=schema,cn=config\nolcObjectIdentifier: {0}Mine 1.5\n"
         "olcAttributeTypes: {12}( Mine:1 NAME 'x' SUP name )\n",
         Kind::AttributeType, "x", "( 1.5.1 NAME 'x' SUP name )"},
        {"a word for an OID", "attributeTypes: ( x-oid NAME 'x' SUP 'name' )", Kind::AttributeType,
         "X-OID", "( x-oid NAME 'x' SUP 'name' )"},
        {"a name form", "nameForms: ( 1.2.3 NAME 'x' OC 'person' MUST 'cn' )", Kind::NameForm, "x",
         "( 1.2.3 NAME 'x' OC 'person' MUST 'cn' )"},
        {"a structure rule", "dITStructureRules: ( 9 FORM strataUnitForm )", Kind::StructureRule,
         "9", "( 9 FORM strataUnitForm )"},
        {"a matching rule", "matchingRules: ( 1.2.3 SYNTAX 1.3.6.1.4.1.1466.115.121.1.7 )",
         Kind::MatchingRule, "1.2.3", "( 1.2.3 SYNTAX 1.3.6.1.4.1.1466.115.121.1.7 )"},
        {"a use of one", "matchingRuleUse: ( 2.5.13.0 APPLIES objectClass )", Kind::MatchingRuleUse,
         "2.5.13.0", "( 2.5.13.0 APPLIES objectClass )"},
        {"lists without blanks", "objectClasses: (1.2.3 MUST(cn$sn)MAY l$'o')", Kind::ObjectClass,
         "1.2.3", "none"},
        {"lists without blanks", "objectClasses: (1.2.3 NAME('a''b')MUST(cn$sn)MAY(l$'o'))",
         Kind::ObjectClass, "b", "( 1.2.3 NAME ( 'a' 'b' ) MUST ( cn $ sn ) MAY ( l $ 'o' ) )"},
    };
    for (const Case &c : cases) {
        const Loaded loaded = load(c.file);
        EXPECT_EQ(loaded.text(c.kind, c.name), c.text) << c.what << ": " << loaded.error;
        EXPECT_EQ(loaded.warnings.size(), 0U) << c.what;
    }
}

TEST(SchemaFiles, NothingIsNoFault) {
    for (const char *text : {"", "\n\n", "# comment\n", "dn: cn=schema\n", "version: 1\n"})
        EXPECT_EQ(load(text).error, "") << text;
}

TEST(SchemaFiles, FaultsNameThePlace) {
    const std::pair<const char *, const char *> cases[] = {
        {"\nattributetype ( 1.2.3\n NAME 'x'\n SUP )",
         "x: line 2: attribute type ( 1.2.3 NAME 'x' SUP ): character 22: SUP: an OID or name"},
        {"dn: cn=x\n\nobjectClasses: ( 1.2.3", "x: line 3: object class ( 1.2.3: character 8: "},
        {"attributeTypes: ( 1.2.3 SUP gone )",
         "x: line 1: attribute type 1.2.3: SUP: there is no attribute type gone"},
        {"objectClasses: ( 1.2.3 NAME 'y' MAY gone )",
         "x: line 1: object class y (1.2.3): MAY: there is no attribute type gone"},
        {"attributeTypes: ( 1.2.3 SUP 1.2.3 )", "is derived from it in turn"},
        {"attributeTypes ( 1.2.3 SUP gone )", "there is no attribute type gone"},
        {"attributeTypes: ( 1.2.3 SUP name )\nrubbish", "x: line 2: no colon in \"rubbish\""},
        {"attributeTypes:: !!!!", "x: line 1: the value of attributeTypes is not base64"},
        {"attributeTypes:< file:///etc/passwd", "x: line 1: values from URLs"},
        {"objectidentifier a", "x: line 1: an OID macro is a name and an OID"},
        {"objectidentifier a 1 2", "x: line 1: an OID macro is a name and an OID"},
        {"objectidentifier a 1.2\nobjectidentifier A 1.3",
         "x: line 2: the OID macro A has another value already"},
        {"objectidentifier a b:1\nobjectidentifier b a:1\nattributetype ( a:3 SUP name )",
         "x: line 3: attribute type ( a:3 SUP name ): the OID macro"},
        {"attributetype ( gone:3 SUP name )", "\"gone:3\" is neither an OID nor a name"},
    };
    for (const auto &[text, part] : cases) {
        const Loaded loaded = load(text);
        EXPECT_TRUE(contains(loaded.error, part)) << loaded.error << "\nlacks " << part;
    }
}

TEST(SchemaFiles, WhatServersLiveWithIsAWarning) {
    const std::pair<const char *, const char *> cases[] = {
        {"attributetype ( 1.2.3 SUP name EQUALITY oddMatch )",
         "x: line 1: attribute type 1.2.3: EQUALITY: there is no matching rule oddMatch"},
        {"attributetype ( 1.2.3 SYNTAX 1.2.4 )", "SYNTAX: there is no syntax 1.2.4"},
        {"attributetype ( 1.2.3 SUP name NO-USER-MODIFICATION )", "NO-USER-MODIFICATION is for"},
        {"objectclass ( 1.2.3 SUP person AUXILIARY )", "it is AUXILIARY and cannot"},
        {"attributeype ( 1.2.3 SUP name )", "x: line 1: \"attributeype\" is no directive"},
    };
    for (const auto &[text, part] : cases) {
        const Loaded loaded = load(text);
        ASSERT_EQ(loaded.warnings.size(), 1U) << text << loaded.error;
        EXPECT_TRUE(contains(loaded.warnings[0], part)) << loaded.warnings[0];
    }
}

TEST(SchemaFiles, ElementsTakeThePlaceOfOthers) {
    const Loaded loaded = load({{"a", "attributetype ( 2.5.4.4 NAME ( 'sn' 'family' ) SUP name )\n"
                                      "attributetype ( 1.2.3 NAME 'mail' SUP name )\n"
                                      "attributetype ( 1.2.4 NAME 'later' SUP name )"},
                                {"b", "attributetype ( 1.2.4 NAME 'mine' SUP later2 )\n"},
                                {"c", "attributetype ( 1.2.5 NAME 'later2' SUP name )\n"}});
    ASSERT_EQ(loaded.error, "");
    EXPECT_EQ(loaded.text(Kind::AttributeType, "2.5.4.4"),
              "( 2.5.4.4 NAME ( 'sn' 'family' ) SUP name )");
    EXPECT_EQ(loaded.text(Kind::AttributeType, "mail"), "( 1.2.3 NAME 'mail' SUP name )");
    EXPECT_EQ(loaded.text(Kind::AttributeType, "0.9.2342.19200300.100.1.3"), "none");
    EXPECT_EQ(loaded.text(Kind::AttributeType, "later"), "none");
    // Entries find what they have under the old names.
    EXPECT_EQ(loaded.model->type("family")->key, "sn");
    EXPECT_EQ(loaded.model->type("1.2.3")->key, "mail");
}

/** All files of a folder that end so; the test has nothing to say where they are not installed. */
std::vector<Named> filesOf(const std::string &folder, const std::string &ending) {
    std::vector<Named> files;
    if (!std::filesystem::exists(folder))
        return files;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ending) {
            std::ifstream in(entry.path());
            files.push_back({entry.path().filename(), {std::istreambuf_iterator<char>(in), {}}});
        }
    std::sort(files.begin(), files.end(),
              [](const Named &a, const Named &b) { return a.name < b.name; });
    return files;
}

std::size_t sizeOf(const Loaded &loaded) {
    std::size_t size = 0;
    for (const auto &elements : loaded.model->elements())
        size += elements.size();
    return size;
}

TEST(SchemaFiles, StockSchemasLoad) {
    struct Case {
        const char *folder;
        const char *ending;
        std::size_t elements;
        const char *one;
    };
    const Case cases[] = {
        {"/etc/ldap/schema", ".schema", 1300, "posixAccount"},
        {"/etc/ldap/schema", ".ldif", 1300, "posixAccount"},
        {"/usr/share/dirsrv/schema", ".ldif", 1300, "nsEncryptionModule"},
    };
    for (const Case &c : cases) {
        const auto files = filesOf(c.folder, c.ending);
        if (files.empty())
            continue;
        const Loaded loaded = load(files);
        ASSERT_EQ(loaded.error, "") << c.folder;
        EXPECT_GT(sizeOf(loaded), c.elements) << c.folder;
        EXPECT_NE(loaded.text(Kind::ObjectClass, c.one), "none") << c.folder;
        for (const std::string &warning : loaded.warnings)
            EXPECT_TRUE(contains(warning, ": line ")) << warning;
    }
}

} // namespace
