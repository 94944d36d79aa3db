// The LDIF files that come with 389-ds.
#include "system/load_peer_file.h"
#include "system/load_peer_tree.h"
#include "system/simulator.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace test {
namespace {

struct Sample {
    const char *name;
    const char *root;
    std::vector<std::pair<const char *, const char *>> attributes; // of the root
    // Entries whose RDN is in quotes, which RFC 4514 knows no longer.
    std::size_t quoted = 0;
};

void PrintTo(const Sample &sample, std::ostream *out) {
    *out << sample.name;
}

class LoadPeerSample : public testing::TestWithParam<Sample> {
  protected:
    [[nodiscard]] static std::string path() {
        return std::string("/usr/share/dirsrv/data/") + GetParam().name + ".ldif";
    }
    void SetUp() override {
        ASSERT_TRUE(std::filesystem::exists(path())) << "389-ds-base brings it";
    }
    static std::size_t entries() {
        std::size_t count = 0;
        std::ifstream file(path());
        for (std::string line; std::getline(file, line);)
            count += line.rfind("dn:", 0) == 0 ? 1 : 0;
        return count;
    }
    static std::string rootAlone() {
        std::ostringstream out;
        writeLdifLine(out, "dn", GetParam().root);
        for (const auto &[type, value] : GetParam().attributes)
            writeLdifLine(out, type, value);
        return out.str();
    }

    const TemporaryFolder folder;
};

TEST_P(LoadPeerSample, DryRunTakesEveryEntry) {
    const Result result = runTool({"load", path(), "--dry-run", "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.json()["updates"]["add"], entries());
}

// The root of a naming context cannot be added: it is there already.
TEST_P(LoadPeerSample, Loads) {
    const Simulator simulator({"--ldif", folder.write("root.ldif", rootAlone())});
    const LoadTarget target{simulator.uri(), adminDn, adminPassword};
    const Result result =
        runTool(target.load(path(), {"--continue", "--checkpoint", folder.path("checkpoint"),
                                     "--rejects", folder.path("rejects")}));
    const Json summary = result.json();
    EXPECT_EQ(result.status, 1);
    const std::size_t failed = 1 + GetParam().quoted;
    EXPECT_EQ(summary["updates"]["add"]["done"], entries() - failed)
        << readFile(folder.path("rejects"));
    EXPECT_EQ(summary["updates"]["add"]["failed"], failed);
    const PeerSession session(simulator.uri(), adminDn, adminPassword);
    EXPECT_EQ(session.subtree(GetParam().root).size(), entries() - GetParam().quoted);
}

const Sample samples[] = {
    {"Example", "dc=example,dc=com", {{"objectClass", "domain"}, {"dc", "example"}}},
    {"Example-roles", "dc=example,dc=com", {{"objectClass", "domain"}, {"dc", "example"}}, 1},
    {"Example-views", "dc=example,dc=com", {{"objectClass", "domain"}, {"dc", "example"}}, 1},
    {"Ace", "o=Ace Industry,c=US", {{"objectClass", "organization"}, {"o", "Ace Industry"}}},
    {"European",
     "o=\xc3\x87\xc3\xa9lin\xc3\xa9 \xc3\x84ndr\xc3\xa8",
     {{"objectClass", "organization"}, {"o", "\xc3\x87\xc3\xa9lin\xc3\xa9 \xc3\x84ndr\xc3\xa8"}}},
};
INSTANTIATE_TEST_SUITE_P(Each, LoadPeerSample, testing::ValuesIn(samples), [](const auto &test) {
    std::string name = test.param.name;
    name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
    return name;
});

} // namespace
} // namespace test
