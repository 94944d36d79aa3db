// qldapx schema with a server whose schema can only be read, and with the files it was made of.
#include "peer/schema_check.h"
#include "peer/slapd_server.h"
#include "system/schema_peer.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class SchemaPeerSlapd : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        server = std::make_unique<SlapdServer>(SlapdServer::Transport::unixSocket, "",
                                               SlapdServer::allSchemas);
    }
    static void TearDownTestSuite() { server.reset(); }

    static SchemaTarget target() {
        return {server->uri(), SlapdServer::adminDn, SlapdServer::adminPassword};
    }
    /**
     * With commas between, in the form that a server of today or of old is configured with; but for
     * one that has a directive which slapd passes over ("attributeype").
     */
    static std::string files(const std::string &suffix) {
        std::string list;
        for (const std::string &name : SlapdServer::allSchemas)
            if (name != "dsee")
                list += (list.empty() ? "" : ",") + ("/etc/ldap/schema/" + name + suffix);
        return list;
    }
    // The server has more built in.
    static void expectNothingButMore(const Result &diff) {
        EXPECT_EQ(diff.status, 1) << diff.err;
        for (const std::string &difference : differences(diff))
            EXPECT_THAT(difference, StartsWith("lost "));
    }

    static inline std::unique_ptr<SlapdServer> server;
    TemporaryFolder folder;
};

TEST_F(SchemaPeerSlapd, ExportIsTheSameSchema) {
    LDAP *ld = server->session();
    const SchemaValues values = searchSchema(ld, "cn=Subschema");
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    std::ptrdiff_t count = 0;
    for (const auto &kind : values)
        count += std::ssize(kind);
    const std::string file = folder.write("slapd.ldif", target().exported());
    const LdifValues exported = ldifValues(readFile(file));
    EXPECT_EQ(std::count_if(exported.begin(), exported.end(),
                            [](const auto &line) { return line.second[0] == '('; }),
              count);
    EXPECT_EQ(target().run({"diff", file}).status, 0);
    for (unsigned seed = 1; seed < 6; ++seed) {
        const std::string other = folder.write("other.ldif", Rewriter(seed).file(exported));
        const Result diff = target().run({"diff", other});
        EXPECT_EQ(diff.status, 0) << diff.out.substr(0, 500) << diff.err.substr(0, 500);
    }
}

TEST_F(SchemaPeerSlapd, ItsFilesAreWhatItHas) {
    for (const char *suffix : {".schema", ".ldif"})
        expectNothingButMore(target().run({"diff", files(suffix), "--json"}));
}

TEST_F(SchemaPeerSlapd, BothFormsOfItsFilesAreTheSame) {
    const Result diff = runSchema({"diff", files(".schema"), files(".ldif"), "--json"});
    EXPECT_EQ(diff.status, 0) << diff.out << diff.err;
}

TEST_F(SchemaPeerSlapd, ChangesAreRefusedAndNothingChanges) {
    const std::string before = target().exported();
    const Result added = target().run(
        {"add", "attribute", "OID=1.3.6.1.4.1.32473.9.1", "NAME=peerType", "SUP=name"});
    EXPECT_EQ(added.status, 1);
    EXPECT_THAT(added.err, HasSubstr("peerType"));
    EXPECT_EQ(added.out, "");
    EXPECT_EQ(target().exported(), before);
}

TEST_F(SchemaPeerSlapd, GraphvizDrawsAllOfIt) {
    const std::string dot = folder.path("all.dot");
    EXPECT_EQ(target().run({"graph", "-o", dot}).status, 0);
    const Result canonical = runShell("dot -Tcanon \"$DOT\" >/dev/null", {{{"DOT", dot}}, {}, {}});
    EXPECT_EQ(canonical.status, 0) << canonical.err;
    EXPECT_EQ(canonical.err, "");
}

} // namespace
} // namespace test
