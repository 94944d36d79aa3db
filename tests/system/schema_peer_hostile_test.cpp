// Schema files that somebody has damaged, by accident or on purpose.
#include "system/schema_peer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;

#ifdef __SANITIZE_ADDRESS__
constexpr unsigned damagedFiles = 20;
#else
constexpr unsigned damagedFiles = 150;
#endif
constexpr int signalled = 128, never = -1;

constexpr const char *sound[] = {
    "dn: cn=schema\n"
    "attributeTypes: ( 1.2.1 NAME ( 'one' 'first' ) DESC 'it\\27s' EQUALITY caseIgnoreMatch\n"
    "  SYNTAX 1.3.6.1.4.1.1466.115.121.1.15{64} SINGLE-VALUE X-ORIGIN ( 'a' 'b' ) )\n"
    "attributeTypes:: KCAxLjIuMiBOQU1FICd0d28nIFNVUCBvbmUgKQ==\n"
    "objectClasses: ( 1.2.3 NAME 'three' SUP top STRUCTURAL MUST ( one $ two ) MAY cn )\n"
    "nameForms: ( 1.2.4 NAME 'four' OC three MUST one )\n"
    "dITContentRules: ( 1.2.3 NAME 'five' AUX six NOT two )\n"
    "dITStructureRules: ( 7 FORM four SUP ( 1 7 ) )\n",
    "# slapd's\n"
    "objectidentifier Mine 1.2.9\n"
    "attributetype ( Mine:1 NAME 'one'\n"
    "\tDESC 'text'\n"
    "\tSYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )\n"
    "\n"
    "objectclass ( Mine:2 NAME 'two' AUXILIARY\n"
    "\tMAY ( one $ cn ) )\n",
    R"({"dn": "cn=schema", "elements": [{"kind": "attribute", "oid": "1.2.1", "name": ["one"]}]})",
};

// Bytes changed, taken out, doubled, and the end cut off.
std::string damaged(std::string text, Rewriter &random) {
    for (unsigned left = 1 + random.below(6); left > 0 && !text.empty(); --left) {
        const std::size_t at = random.below(text.size());
        switch (random.below(6)) {
        case 0:
            text[at] = static_cast<char>(random.below(256));
            break;
        case 1:
            text.erase(at, 1 + random.below(20));
            break;
        case 2:
            text.insert(at, text.substr(random.below(text.size()), random.below(60)));
            break;
        case 3:
            text[at] = "()'$ \n\t:{}\x1b"[random.below(11)];
            break;
        case 4:
            text.resize(at);
            break;
        default:
            text.insert(at, 1 + random.below(500), "( '"[random.below(3)]);
        }
    }
    return text;
}

class SchemaHostileFile : public testing::TestWithParam<unsigned> {
  protected:
    TemporaryFolder folder;
};

// Whatever it is: an end without a signal, in time, and words that say where when there is a fault.
TEST_P(SchemaHostileFile, IsReadOrRefusedAtItsLine) {
    Rewriter random(GetParam());
    for (unsigned i = 0; i < damagedFiles; ++i) {
        const std::string content = damaged(sound[GetParam() % std::size(sound)], random);
        const std::string file = folder.write("damaged", content);
        const char *const commands[] = {"list", "export", "graph"};
        const Result result = runSchema({commands[i % 3], "--file", file});
        EXPECT_NE(result.status, never) << content;
        EXPECT_LT(result.status, signalled) << content;
        EXPECT_TRUE(isSafeForTerminal(result.err)) << result.err;
        if (result.status != 0) {
            EXPECT_THAT(result.err, HasSubstr(file)) << content;
        }
        if (i % 3 == 0) {
            EXPECT_TRUE(isSafeForTerminal(result.out)) << result.out;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, SchemaHostileFile, testing::Range(1U, 7U));

struct FaultyFile {
    const char *content;
    int line;
};

const FaultyFile faultyFiles[] = {
    {"attributeTypes: ( 1.2.1 NAME 'one'\n", 1},
    {"attributeTypes: ( 1.2.1 NAME 'one' )\nobjectClasses: 1.2.2\n", 2},
    {"# comment\n\nattributeTypes: ( 1.2.1 NAME 'one' )\nldapSyntaxes: ( 1.2\n", 4},
    {"attributetype ( 1.2.1\n\tNAME 'one' )\nobjectclass ( 1.2.2\n\tNAME\n\t'two' MUST ( a b ) )\n",
     3},
    {"dITStructureRules: ( 1 FORM a SUP ( 1\n", 1},
    {"matchingRules: ( 1.2 SYNTAX name )\n", 1},
};

// The rest is read all the same.
TEST_F(SchemaHostileFile, TheLineOfAFaultIsSaid) {
    for (const FaultyFile &faulty : faultyFiles) {
        const std::string file = folder.write("faulty", faulty.content);
        const Result result = runSchema({"list", "--file", file});
        EXPECT_EQ(result.status, 1) << faulty.content;
        EXPECT_THAT(result.err, HasSubstr(file + ":" + std::to_string(faulty.line)))
            << faulty.content;
        const bool hasOther = std::string(faulty.content).find("'one' )\n") != std::string::npos;
        EXPECT_EQ(result.out.find("one") != std::string::npos, hasOther) << result.out;
    }
}

// Names that break a picture's text, if anything does.
TEST_F(SchemaHostileFile, GraphvizTakesHostileNames) {
    const char *const names[] = {"a\"b",        "a\\",         "\\\"",  "<b>x</b>", "&amp;",
                                 "a|{b}",       "]; x -> y [", "-->",   "\\N\\l",   "a\tb",
                                 "caf\xc3\xa9", "digraph",     "\"]; }"};
    std::string ldif = "dn: cn=schema\n";
    int number = 0;
    for (const char *name : names) {
        const std::string own = "1.2." + std::to_string(++number);
        ldif += "objectClasses: ( " + own + " NAME '" + name + "' DESC '" + name +
                "' SUP top MUST " + (number % 2 == 0 ? "cn" : "'a\"b'") + " )\n";
        ldif += "objectClasses: ( " + own + ".1 NAME 'sub" + std::to_string(number) + "' SUP " +
                own + " AUXILIARY )\n";
    }
    const std::string file = folder.write("names.ldif", ldif);
    for (const Arguments &more : {Arguments{}, Arguments{"--with", "attributes"}}) {
        Arguments arguments = {"graph"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        arguments.insert(arguments.end(), {"--file", file});
        const Result graph = runSchema(arguments);
        const std::string dot = folder.write("names.dot", graph.out);
        const Result plain = runShell("dot -Tplain \"$DOT\"", {{{"DOT", dot}}, {}, {}});
        EXPECT_EQ(plain.status, 0) << plain.err;
        EXPECT_EQ(plain.err, "");
        const Result svg = runShell("dot -Tsvg \"$DOT\" | xmllint --noout - 2>&1 || true",
                                    {{{"DOT", dot}}, {}, {}});
        EXPECT_EQ(svg.out.find("parser error"), std::string::npos) << svg.out;
    }
}

} // namespace
} // namespace test
