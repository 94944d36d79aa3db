#include "in_process.h"

#include <gtest/gtest.h>

namespace {

using wire::hex;
using wire::number;
using wire::text;

constexpr const char *kGroups = "ou=groups,dc=example,dc=com";

/** "is": flags, then the DN. */
std::string flagged(const char *dn, std::uint8_t flags = 0) {
    return number(flags) + text(dn);
}

class PartitionTest : public testing::Test {
  protected:
    PartitionTest() { server_.bindAdmin(); }

    int split(const char *dn, std::uint8_t flags = 0) {
        return server_.extended(3, flagged(dn, flags)).code;
    }
    int merge(const char *dn, std::uint8_t flags = 0) {
        return server_.extended(5, flagged(dn, flags)).code;
    }
    int abort(const char *dn) { return server_.extended(29, flagged(dn)).code; }
    /** The response value of an entry count, or its result code in words. */
    std::string count(const char *dn) {
        const auto response = server_.extended(13, text(dn));
        return response.code == 0 ? response.value : "code " + std::to_string(response.code);
    }
    int sync(const char *server, const char *dn, std::uint8_t delay = 0) {
        return server_.extended(25, text(server) + text(dn) + number(delay)).code;
    }

    InProcess server_;
};

TEST_F(PartitionTest, AnswersCarryTheOidAndNoValue) {
    for (const auto &[request, value] :
         std::vector<std::pair<int, std::string>>{{3, flagged(kGroups)},
                                                  {5, flagged(kGroups)},
                                                  {3, flagged(kGroups, 1)},
                                                  {29, flagged(kGroups)},
                                                  {39, text(kServer1) + text("dc=lost")},
                                                  {41, text(kServer1) + text("dc=lost")}}) {
        const auto response = server_.extended(request, value);
        EXPECT_EQ(response.code, 0) << request << response.diagnostic;
        EXPECT_EQ(response.oid, wire::strataOid(request + 1));
        EXPECT_EQ(response.value, "none");
    }
}

TEST_F(PartitionTest, SplitAnswerIsTheBytesOfTheStandard) {
    EXPECT_EQ(server_.raw(wire::message(
                  5, wire::extended(wire::strataOid(3),
                                    std::make_unique<std::string>(flagged(kGroups)).get()))),
              wire::message(5, wire::tlv(0x78, hex("0a0100 0400 0400") +
                                                   wire::tlv(0x8a, wire::strataOid(4)))));
}

TEST_F(PartitionTest, EntryCountIsThatOfThePartitionAlone) {
    // 10 entries of the top, the units, servers and groups, and the 120 people of the head office.
    EXPECT_EQ(count(kTop), hex("02020085"));
    EXPECT_EQ(count(kEmea), hex("020151"));
    EXPECT_EQ(count("OU=EMEA,dc=example,dc=com"), hex("020151"));
    EXPECT_EQ(count(kGroups), "code 32") << "not the root of a partition";
    EXPECT_EQ(count("ou=x,dc=example,dc=com"), "code 32");
    EXPECT_EQ(count("nonsense"), "code 34");
    server_.identity = {};
    EXPECT_EQ(count(kEmea), hex("020151")) << "open to anybody";
}

TEST_F(PartitionTest, SplitAndMerge) {
    EXPECT_EQ(split(kEmea), 68);
    EXPECT_EQ(split("ou=x,dc=example,dc=com"), 32);
    EXPECT_EQ(split("cn=monitor"), 53);
    EXPECT_EQ(split(kGroups), 0);
    EXPECT_EQ(split(kGroups), 68);
    EXPECT_EQ(count(kGroups), hex("020107"));
    EXPECT_EQ(count(kTop), hex("02017e"));
    EXPECT_EQ(merge(kGroups), 0);
    EXPECT_EQ(count(kGroups), "code 32");
    EXPECT_EQ(count(kTop), hex("02020085"));
    EXPECT_EQ(merge(kGroups), 32);
    EXPECT_EQ(merge(kTop), 53);
}

TEST_F(PartitionTest, FlagLeavesASplitPendingUntilItIsAborted) {
    EXPECT_EQ(abort(kGroups), 53);
    EXPECT_EQ(split(kGroups, 1), 0);
    EXPECT_EQ(count(kGroups), "code 32");
    EXPECT_EQ(split(kGroups), 53) << "one operation at a time";
    EXPECT_EQ(abort(kGroups), 0);
    EXPECT_EQ(abort(kGroups), 53);
    EXPECT_EQ(count(kGroups), "code 32");
}

TEST_F(PartitionTest, SynchronisationCompletesWhatIsPending) {
    EXPECT_EQ(split(kGroups, 3), 0);
    EXPECT_EQ(sync(kServer2, kGroups), 0) << "by the name of the split";
    EXPECT_EQ(count(kGroups), hex("020107"));
    EXPECT_EQ(merge(kGroups, 1), 0);
    EXPECT_EQ(count(kGroups), hex("020107"));
    EXPECT_EQ(sync(kServer2, kGroups), 0);
    EXPECT_EQ(count(kGroups), "code 32");
    EXPECT_EQ(split(kGroups, 1), 0);
    EXPECT_EQ(sync(kServer2, kTop), 0) << "by the name of the partition it lies in";
    EXPECT_EQ(count(kGroups), hex("020107"));
}

TEST_F(PartitionTest, SynchronisationWaitsForItsDelay) {
    EXPECT_EQ(split(kGroups, 1), 0);
    EXPECT_EQ(sync(kServer2, kTop, 10), 0);
    server_.time += 9;
    EXPECT_EQ(count(kGroups), "code 32");
    server_.time += 1;
    EXPECT_EQ(count(kGroups), hex("020107"));
}

TEST_F(PartitionTest, EntriesInUseStay) {
    EXPECT_EQ(split(kAda), 0);
    EXPECT_EQ(server_.code(wire::remove(kAda)), 53);
    EXPECT_EQ(merge(kAda), 0);
    EXPECT_EQ(split(kAda, 1), 0);
    EXPECT_EQ(server_.code(wire::remove(kAda)), 53);
    EXPECT_EQ(abort(kAda), 0);
    EXPECT_EQ(server_.code(wire::remove(kAda)), 0);
}

TEST_F(PartitionTest, Orphans) {
    const std::string lost = text(kServer2) + text("ou=lost,dc=example,dc=com");
    EXPECT_EQ(server_.extended(41, lost).code, 32);
    EXPECT_EQ(server_.extended(39, lost).code, 0);
    EXPECT_EQ(server_.extended(39, lost).code, 68);
    EXPECT_EQ(server_.extended(41, text(kServer1) + text("ou=lost,dc=example,dc=com")).code, 32)
        << "another server's";
    EXPECT_EQ(server_.extended(41, lost).code, 0);
    EXPECT_EQ(server_.extended(41, lost).code, 32);
    EXPECT_EQ(server_.extended(39, text("cn=no,dc=example,dc=com") + text(kTop)).code, 32);
    EXPECT_EQ(server_.extended(39, text("nonsense") + text(kTop)).code, 34);
    EXPECT_EQ(server_.extended(39, text(kServer1) + text("nonsense")).code, 34);
}

} // namespace
