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

constexpr const char *sample = "attributeTypes: ( 1.1.1 NAME 'tint' DESC 'its colour' )\n"
                               "attributeTypes: ( 1.1.2 NAME 'size' )\n"
                               "objectClasses: ( 1.2.1 NAME 'top' ABSTRACT MUST tint )\n"
                               "objectClasses: ( 1.2.2 NAME 'box' SUP top STRUCTURAL MAY size )\n"
                               "objectClasses: ( 1.2.3 NAME 'crate' SUP box DESC 'large' )\n"
                               "objectClasses: ( 1.2.4 NAME 'lid' SUP top AUXILIARY )\n"
                               "dITContentRules: ( 1.2.3 NAME 'crateRule' AUX lid MAY hue "
                               "NOT size )\n";

class SchemaGraph : public testing::Test {
  protected:
    Result draw(const std::string &content, Arguments arguments, const Surroundings &around = {}) {
        arguments.insert(arguments.begin(), {"schema", "graph"});
        arguments.insert(arguments.end(), {"--file", folder_.write("s.ldif", content)});
        return runTool(arguments, around);
    }
    TemporaryFolder folder_;
};

bool isDrawn(const std::string &dot, const std::string &name) {
    return dot.find(">" + name + "<") != std::string::npos;
}

TEST_F(SchemaGraph, DrawsInheritance) {
    const Result result = draw(sample, {});
    EXPECT_EQ(result.status, 0) << result.err;
    // In the order of names: box, crate, lid, top.
    EXPECT_THAT(result.out,
                AllOf(StartsWith("digraph"), HasSubstr("c0 -> c1;"), HasSubstr("c3 -> c0;"),
                      HasSubstr("c3 -> c2;"), HasSubstr("4 object classes of s.ldif"),
                      HasSubstr("TOOLTIP=\"1.2.3: large\"")));
    EXPECT_EQ(draw(sample, {}).out, result.out);
}

struct ChoiceCase {
    Arguments arguments;
    std::vector<std::string> drawn;
};

TEST_F(SchemaGraph, DrawsTheClassesAskedFor) {
    const ChoiceCase cases[] = {
        {{"crate"}, {"top", "box", "crate"}},
        {{"1.2.4"}, {"top", "lid"}},
        {{"lid", "BOX"}, {"top", "box", "lid"}},
        {{"box", "--below"}, {"top", "box", "crate"}},
        {{"top", "--below"}, {"top", "box", "crate", "lid"}},
        {{"top"}, {"top"}},
    };
    for (const ChoiceCase &each : cases) {
        const std::string dot = draw(sample, each.arguments).out;
        for (const std::string name : {"top", "box", "crate", "lid"})
            EXPECT_EQ(isDrawn(dot, name),
                      std::find(each.drawn.begin(), each.drawn.end(), name) != each.drawn.end())
                << name << dot;
    }
    EXPECT_EQ(draw(sample, {"none"}).status, 1);
}

TEST_F(SchemaGraph, DrawsWhatAnEntryHolds) {
    const std::string dot = draw(sample, {"crate", "--with", "attributes"}).out;
    EXPECT_THAT(dot, AllOf(HasSubstr("<B>tint *</B>"), HasSubstr(">size<"),
                           HasSubstr(">crateRule</FONT></B><BR/>content rule<"), HasSubstr(">hue<"),
                           HasSubstr("<S>size</S>"), HasSubstr(">lid<"),
                           HasSubstr("TOOLTIP=\"1.1.1: its colour\"")));
    EXPECT_THAT(draw(sample, {"--with", "must"}).out,
                AllOf(HasSubstr("/>tint<"), Not(HasSubstr("/>size<"))));
    EXPECT_THAT(draw(sample, {"--with", "attributes"}).out, HasSubstr("/>size<"));
}

TEST_F(SchemaGraph, LargeSchemasAreTables) {
    std::string content = sample;
    for (int i = 0; i < 300; ++i)
        content += "objectClasses: ( 1.3." + std::to_string(i) + " NAME 'leaf" + std::to_string(i) +
                   "' SUP top )\n";
    const std::string dot = draw(content, {}).out;
    EXPECT_THAT(dot, HasSubstr("300 structural classes right below top"));
    std::size_t edges = 0;
    for (std::size_t at = 0; (at = dot.find(" -> ", at)) != std::string::npos; ++at)
        ++edges;
    EXPECT_EQ(edges, 2U); // box below top, crate below box
}

TEST_F(SchemaGraph, HostileNamesStayNames) {
    const Result result = draw(
        "objectClasses: ( 1.1 NAME '\"];x->y;<B>&\\N\x1b' DESC '\"\\5c<' )\n"
        "objectClasses: ( 1.2 NAME 'b' SUP ( b $ c ) )\nobjectClasses: ( 1.3 NAME 'c' SUP b )\n",
        {"--format", "svg"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, AllOf(HasSubstr("<svg"), Not(HasSubstr("\x1b")), HasSubstr("&lt;B&gt;"),
                                  Not(HasSubstr(">y<"))));
}

TEST_F(SchemaGraph, TheSuffixSaysTheFormat) {
    const std::pair<const char *, const char *> cases[] = {
        {"g.svg", "<?xml"}, {"g.PNG", "\x89PNG"}, {"g.dot", "digraph"}, {"g.gv", "digraph"}};
    for (const auto &[name, start] : cases) {
        const Result result = draw(sample, {"-o", folder_.path(name)});
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_THAT(readFile(folder_.path(name)), StartsWith(start));
    }
    EXPECT_EQ(draw(sample, {"-o", folder_.path("g.svg")}).status, 2);
    EXPECT_EQ(draw(sample, {"-o", folder_.path("g.svg"), "--force"}).status, 0);
    EXPECT_EQ(draw(sample, {"-o", folder_.path("g.jpeg")}).status, 2);
}

TEST_F(SchemaGraph, WithoutGraphvizThereIsStillDot) {
    const Surroundings bare = {{{"PATH", folder_.path("")}}, {}, {}};
    const Result missing = draw(sample, {"-o", folder_.path("g.svg")}, bare);
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.err, AllOf(HasSubstr("package graphviz"), HasSubstr("--format dot")));
    EXPECT_EQ(draw(sample, {}, bare).status, 0);
    EXPECT_THAT(folder_.names(), ElementsAre("s.ldif"));
}

TEST_F(SchemaGraph, AFailureOfDotIsShown) {
    static_cast<void>(folder_.write("dot", "#!/bin/sh\necho no font >&2\nexit 3\n", 0700));
    const Surroundings own = {{{"PATH", folder_.path("")}}, {}, {}};
    const Result result = draw(sample, {"-o", folder_.path("g.svg")}, own);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("no font"));
    EXPECT_THAT(folder_.names(), ElementsAre("dot", "s.ldif"));
}

} // namespace
} // namespace test
