// qldapx schema with a server whose schema can be changed by everybody's ldapmodify.
#include "peer/directory_server_389.h"
#include "peer/schema_check.h"
#include "system/schema_peer.h"
#include "system/simulator.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char directoryString[] = "SYNTAX=1.3.6.1.4.1.1466.115.121.1.15";

class SchemaPeer389 : public testing::Test {
  protected:
    static void SetUpTestSuite() { server = std::make_unique<DirectoryServer389>(); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override { before = folder.write("before.ldif", target().exported()); }
    /** Every test leaves the schema as it found it. */
    void TearDown() override { EXPECT_EQ(target().run({"diff", before}).status, 0); }

    static SchemaTarget target() {
        return {server->uri(), DirectoryServer389::adminDn, DirectoryServer389::password};
    }
    static void must(const Arguments &arguments) {
        const Result result = target().run(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
    }
    /** What changed since, as differences from then to now. */
    [[nodiscard]] std::multiset<std::string> changes() const {
        return differences(runSchemaAsTarget({"diff", before, target().uri, "--json"}));
    }
    static Result runSchemaAsTarget(const Arguments &arguments) { return target().run(arguments); }

    static inline std::unique_ptr<DirectoryServer389> server;
    TemporaryFolder folder;
    std::string before;
};

/**
 * As libldap prints it; a class whose OID libldap has lost gets a word, and a backslash that stands
 * alone in a text its digits, without which nobody reads them.
 */
std::string asExported(const SchemaRecord &record) {
    std::string text = record.key.empty()
                           ? "( " + record.names.front() + "-oid " + record.printed.substr(2)
                           : record.printed;
    for (std::size_t at = 0; (at = text.find('\\', at)) != std::string::npos; ++at)
        if (text.compare(at, 3, "\\27") != 0 && text.compare(at, 3, "\\5c") != 0 &&
            text.compare(at, 3, "\\5C") != 0)
            text.insert(at + 1, "5c");
    return text;
}

std::size_t countOf(const SchemaValues &values) {
    std::size_t count = 0;
    for (const auto &each : values)
        count += each.size();
    return count;
}

/** What libldap reads of the server's values, as it is exported. */
std::multiset<std::pair<std::string, std::string>> readable(const SchemaValues &values) {
    std::multiset<std::pair<std::string, std::string>> printed;
    for (unsigned kind = 0; kind < schemaKinds; ++kind)
        for (const std::string &value : values[kind])
            if (auto record = readDescription(kind, value))
                printed.emplace(schemaAttributes[kind], asExported(*record));
    return printed;
}

TEST_F(SchemaPeer389, ExportHasEveryDescription) {
    LDAP *ld = server->session();
    const SchemaValues all = searchSchema(ld, "cn=schema");
    const auto expected = readable(all);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    EXPECT_GT(expected.size(), 1000U);
    LdifValues values = ldifValues(readFile(before));
    ASSERT_FALSE(values.empty());
    EXPECT_EQ(values.front(), std::pair(std::string("dn"), std::string("cn=schema")));
    std::multiset<std::pair<std::string, std::string>> exported;
    for (const auto &[name, value] : values)
        if (value[0] == '(')
            exported.emplace(name, value);
    EXPECT_TRUE(std::includes(exported.begin(), exported.end(), expected.begin(), expected.end()));
    // Also those that libldap does not read as they stand.
    EXPECT_EQ(exported.size(), countOf(all));
    const Result json = target().run({"export", "--json"});
    EXPECT_EQ(json.json()["elements"].size(), countOf(all));
}

TEST_F(SchemaPeer389, ListShowsEveryElement) {
    const Result all = target().run({"list", "--json"});
    ASSERT_EQ(all.status, 0) << all.err;
    EXPECT_EQ(all.json().size(), target().run({"export", "--json"}).json()["elements"].size());
    const Result classes = target().run({"list", "classes", "--like", "INET*"});
    EXPECT_EQ(classes.status, 0);
    EXPECT_THAT(classes.out, HasSubstr("inetOrgPerson"));
    EXPECT_THAT(classes.out, Not(HasSubstr("organizationalUnit")));
}

TEST_F(SchemaPeer389, ShowSaysWhatIsInheritedAndWhoUsesIt) {
    const Result shown = target().run({"show", "inetOrgPerson"});
    EXPECT_EQ(shown.status, 0) << shown.err;
    for (const char *part :
         {"2.16.840.1.113730.3.2.2", "organizationalPerson", "telexNumber", "sn"})
        EXPECT_THAT(shown.out, HasSubstr(part));
    EXPECT_THAT(target().run({"show", "sn"}).out, HasSubstr("person"));
    EXPECT_NE(target().run({"show", "noSuchElement"}).status, 0);
}

TEST_F(SchemaPeer389, ADifferenceIsExactlyTheEdit) {
    must({"add", "attribute", "OID=1.3.6.1.4.1.32473.9.1", "NAME=peerType", directoryString});
    EXPECT_EQ(changes(),
              std::multiset<std::string>{"gained attribute peerType 1.3.6.1.4.1.32473.9.1"});
    const std::string between = folder.write("between.ldif", target().exported());
    must({"modify", "peerType", "DESC=it's another"});
    const Result diff = target().run({"diff", between, target().uri, "--json"});
    EXPECT_EQ(diff.status, 1);
    EXPECT_EQ(differences(diff),
              std::multiset<std::string>{"changed attribute peerType 1.3.6.1.4.1.32473.9.1"});
    EXPECT_EQ(diff.json()["differences"][0]["fields"].size(), 1U);
    EXPECT_EQ(diff.json()["differences"][0]["fields"][0]["keyword"], "DESC");
    must({"delete", "peerType"});
    EXPECT_EQ(changes(), std::multiset<std::string>{});
}

TEST_F(SchemaPeer389, ADryRunGivenToLdapmodifyDoesTheSame) {
    const std::vector<Arguments> edits = {
        {"add", "attribute", "OID=1.3.6.1.4.1.32473.9.1", "NAME=peerType", "NAME=peerTypeToo",
         "DESC=caf\xc3\xa9 isn't a \\", "EQUALITY=caseIgnoreMatch",
         std::string(directoryString) + "{64}", "SINGLE-VALUE"},
        {"modify", "peerTypeToo", std::string(directoryString) + "{128}", "SINGLE-VALUE-"},
        {"modify", "peerType", "DESC=plain", "NAME-=peerTypeToo"},
        {"add", "class", "OID=1.3.6.1.4.1.32473.9.2", "NAME=peerClass", "SUP=top", "AUXILIARY",
         "MUST=cn", "MAY=peerType"},
        {"modify", "peerClass", "MAY+=sn", "MAY-=peerType", "MUST+=uid", "OBSOLETE"},
        {"modify", "peerClass", "MAY-=sn", "DESC=a", "NAME=renamed"},
        {"delete", "renamed", "peerType"},
    };
    std::vector<std::string> directly, byLdapmodify;
    for (const Arguments &edit : edits) {
        must(edit);
        directly.push_back(target().exported());
    }
    for (Arguments edit : edits) {
        edit.emplace_back("--dry-run");
        const Result dry = target().run(edit);
        EXPECT_EQ(dry.status, 0) << dry.err;
        const Result done = target().modify(dry.out);
        EXPECT_EQ(done.status, 0) << dry.out << done.err;
        byLdapmodify.push_back(target().exported());
    }
    for (std::size_t i = 0; i < edits.size(); ++i)
        EXPECT_EQ(ldifValues(byLdapmodify[i]), ldifValues(directly[i])) << i;
}

TEST_F(SchemaPeer389, ADryRunChangesNothing) {
    EXPECT_EQ(target().run({"delete", "cn", "--force", "--dry-run"}).status, 0);
    EXPECT_EQ(changes(), std::multiset<std::string>{});
}

TEST_F(SchemaPeer389, RefusalsAreSaid) {
    const Result used = target().run({"delete", "cn"});
    EXPECT_EQ(used.status, 1);
    EXPECT_THAT(used.err, HasSubstr("documentSeries")); // one of those who name it
    const Result forced = target().run({"delete", "cn", "--force"});
    EXPECT_EQ(forced.status, 1);
    EXPECT_THAT(forced.err, HasSubstr("53"));
    EXPECT_THAT(forced.err, HasSubstr("cn"));
    const Result twice = target().run({"add", "attribute", "OID=2.5.4.3", "NAME=peerType"});
    EXPECT_NE(twice.status, 0);
    EXPECT_THAT(twice.err, HasSubstr("2.5.4.3"));
}

TEST_F(SchemaPeer389, AnotherOrderAndAnotherSpacingAreNoDifference) {
    const LdifValues values = ldifValues(readFile(before));
    for (unsigned seed = 1; seed < 6; ++seed) {
        const std::string file = folder.write("rewritten.ldif", Rewriter(seed).file(values));
        const Result result = target().run({"diff", file});
        EXPECT_EQ(result.status, 0) << result.out.substr(0, 500) << result.err.substr(0, 500);
        EXPECT_EQ(result.out, "");
    }
}

// The simulator adds what it has built in; of the file nothing is lost and nothing otherwise.
TEST_F(SchemaPeer389, AnExportLoadsIntoTheSimulator) {
    const Simulator simulator({"--schema", before});
    const Result diff = simulator.run({"schema", "diff", before, "--json"});
    for (const std::string &difference : differences(diff))
        EXPECT_THAT(difference, StartsWith("lost "));
}

TEST_F(SchemaPeer389, GraphvizDrawsAllOfIt) {
    const std::string dot = folder.path("all.dot");
    must({"graph", "-o", dot});
    const Result canonical = runShell("dot -Tcanon \"$DOT\" | wc -l", {{{"DOT", dot}}, {}, {}});
    EXPECT_EQ(canonical.status, 0) << canonical.err;
    EXPECT_EQ(canonical.err, "");
    EXPECT_GT(std::stol(canonical.out), 100);
    EXPECT_THAT(readFile(dot), HasSubstr("inetOrgPerson"));
    must({"graph", "inetOrgPerson", "--with", "attributes", "-o", folder.path("one.svg")});
    EXPECT_THAT(readFile(folder.path("one.svg")), HasSubstr("</svg>"));
}

} // namespace
} // namespace test
