#include "system/bulk_peer.h"
#include "system/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using namespace qldapx_test;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr unsigned char addTag = 0x68, deleteTag = 0x4a, modifyTag = 0x66, renameTag = 0x6c;

std::optional<BulkReply> withoutBulk(const BulkRequest &request) {
    if (request.tag != 0x63)
        return std::nullopt;
    return BulkReply{ldapMessage(request.id, searchEntry("")) +
                     ldapMessage(request.id, searchDone(0))};
}

Bytes updateAnswer(const BulkRequest &request) {
    const auto tag = static_cast<unsigned char>(request.tag == deleteTag ? 0x6b : request.tag + 1);
    return ldapMessage(request.id,
                       tlv(tag, tlv(0x0a, Bytes(1, '\0')) + octetString("") + octetString("")));
}

bool isUpdate(const BulkRequest &request) {
    return request.tag == addTag || request.tag == deleteTag || request.tag == modifyTag ||
           request.tag == renameTag;
}

std::string add(const std::string &dn) {
    return "dn: " + dn + "\ncn: a\n\n";
}
std::string remove(const std::string &dn) {
    return "dn: " + dn + "\nchangetype: delete\n\n";
}
std::string rename(const std::string &dn) {
    return "dn: " + dn + "\nchangetype: modrdn\nnewrdn: cn=z\ndeleteoldrdn: 1\n\n";
}

/** How many updates come together before one of them has to be answered. */
struct Order {
    std::string name;
    std::string ldif;
    std::vector<std::size_t> together;
};

TEST(LoadFallback, HoldsBackWhatMustComeLater) {
    const std::vector<Order> orders = {
        {"strangers", add("cn=a") + add("cn=b") + add("cn=c"), {3}},
        {"child behind its parent", add("ou=a") + add("cn=b,ou=a"), {1, 1}},
        {"in other letters", add("ou=A , dc=x") + add("cn=b,OU=a,DC=X"), {1, 1}},
        {"grandchild", add("ou=a") + add("cn=c") + add("cn=d,cn=b,ou=a"), {2, 1}},
        {"siblings", add("cn=a,ou=x") + add("cn=b,ou=x"), {2}},
        {"names that only end alike", add("cn=aa") + add("cn=a"), {2}},
        {"child and parent go", remove("cn=b,ou=a") + remove("ou=a"), {1, 1}},
        {"the same entry", add("cn=a") + remove("cn=a") + add("cn=a"), {1, 1, 1}},
        {"renames go alone", add("cn=a") + rename("cn=b") + add("cn=c"), {1, 1, 1}},
    };
    for (const Order &order : orders) {
        const TemporaryFolder folder;
        const std::string path = folder.write("f.ldif", order.ldif);
        std::vector<std::size_t> together;
        std::vector<Bytes> waiting;
        std::size_t next = 0;
        const BulkPeer peer([&](const BulkRequest &request) -> std::optional<BulkReply> {
            if (!isUpdate(request))
                return withoutBulk(request);
            waiting.push_back(updateAnswer(request));
            if (next < order.together.size() && waiting.size() < order.together[next])
                return BulkReply{};
            together.push_back(waiting.size());
            ++next;
            Bytes all;
            for (; !waiting.empty(); waiting.pop_back())
                all += waiting.back();
            return BulkReply{all};
        });
        const Result result = runTool(
            {"load", path, "-H", peer.uri(), "--fallback", "--window", "64", "--timeout", "5"});
        EXPECT_EQ(result.status, 0) << order.name << result.err;
        EXPECT_EQ(together, order.together) << order.name;
    }
}

// An update that is sent too early would be unanswered together with what it has to wait for.
TEST(LoadFallback, AChildIsNotSentBeforeItsParentIsAnswered) {
    const TemporaryFolder folder;
    const std::string path = folder.write("f.ldif", add("ou=a") + add("cn=b,ou=a"));
    const BulkPeer peer([&](const BulkRequest &request) -> std::optional<BulkReply> {
        return isUpdate(request) ? BulkReply{} : withoutBulk(request);
    });
    const Result result = runTool({"load", path, "-H", peer.uri(), "--fallback", "--window", "64",
                                   "--timeout", "1", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.json()["updates"]["add"]["inDoubt"], 1);
}

TEST(LoadFallback, LoadsEveryKindAndKeepsRejects) {
    const Simulator simulator({"--no-lburp"});
    const TemporaryFolder folder;
    const std::string base = ",ou=people,dc=example,dc=com";
    const auto person = [&](const std::string &name) {
        return "dn: cn=" + name + base + "\nobjectClass: person\ncn: " + name + "\nsn: s\n\n";
    };
    const std::string path = folder.write(
        "f.ldif", person("x1") + person("x2") + person("x3") + person("x2") + "dn: cn=x1" + base +
                      "\ncontrol: 2.16.840.1.113730.3.4.2\nchangetype: modify\nreplace: sn\n"
                      "sn: t\n-\n\n" +
                      "dn: cn=x2" + base + "\nchangetype: delete\n\n" + "dn: cn=x3" + base +
                      "\nchangetype: modrdn\nnewrdn: cn=x4\ndeleteoldrdn: 1\n\n" + person("x5"));
    const Arguments line = simulator.asAdministrator(
        {"load", path, "--fallback", "--continue", "--rejects", folder.path("r.ldif"), "--json"});
    const Result result = runTool(line);
    EXPECT_EQ(result.status, 1) << result.err;
    const Json json = result.json();
    EXPECT_EQ(json["mode"], "ordinary");
    EXPECT_EQ(json["updates"]["add"]["done"], 4);
    EXPECT_EQ(json["updates"]["add"]["failed"], 1);
    EXPECT_EQ(json["updates"]["rename"]["done"], 1);
    EXPECT_EQ(json["updates"]["delete"]["done"], 1);
    EXPECT_EQ(json["updates"]["modify"]["done"], 1);
    EXPECT_THAT(readFile(folder.path("r.ldif")), HasSubstr("# result 68"));
    EXPECT_THAT(folder.names(), ElementsAre("f.ldif", "r.ldif"));
    const std::string found =
        simulator.administer({"search", "-b", base.substr(1), "(cn=x*)", "cn", "sn"}).out;
    EXPECT_THAT(found, HasSubstr("dn: cn=x4"));
    EXPECT_THAT(found, HasSubstr("sn: t"));
    EXPECT_THAT(found, testing::Not(HasSubstr("cn=x2")));
}

TEST(LoadFallback, AFailureStopsIt) {
    const Simulator simulator({"--no-lburp"});
    const TemporaryFolder folder;
    std::string ldif;
    for (int i = 0; i < 200; ++i)
        ldif += "dn: cn=x" + std::to_string(i == 50 ? 10 : i) +
                ",ou=people,dc=example,dc=com\nobjectClass: person\ncn: x" +
                std::to_string(i == 50 ? 10 : i) + "\nsn: s\n\n";
    const std::string path = folder.write("f.ldif", ldif);
    const Result result =
        runTool(simulator.asAdministrator({"load", path, "--fallback", "--window", "8", "--json"}));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.json()["result"], "stopped");
    EXPECT_EQ(result.json()["updates"]["add"]["failed"], 1);
    EXPECT_LE(result.json()["updates"]["add"]["done"], 60);
    const Result resumed =
        runTool(simulator.asAdministrator({"load", path, "--fallback", "--resume", "--json"}));
    EXPECT_EQ(resumed.status, 1); // of the whole file one failed
    EXPECT_EQ(resumed.json()["result"], "failures");
    EXPECT_EQ(resumed.json()["updates"]["add"]["done"], 199);
}

} // namespace
} // namespace test
