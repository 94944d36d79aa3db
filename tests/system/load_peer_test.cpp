#include "system/bulk_peer.h"
#include "system/process.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using namespace qldapx_test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr int start = 1, operations = 6, end = 4;

std::string entries(int count) {
    std::string all;
    for (int i = 1; i <= count; ++i)
        all += "dn: cn=e" + std::to_string(i) + "\ncn: e" + std::to_string(i) + "\n\n";
    return all;
}

class LoadPeer : public testing::Test {
  protected:
    [[nodiscard]] Arguments line(const BulkPeer &peer, const Arguments &more) const {
        Arguments all = {"load", "f.ldif", "-H", peer.uri()};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    Result load(const BulkPeer &peer, const Arguments &more = {}, int count = 25) {
        static_cast<void>(folder_.write("f.ldif", entries(count)));
        return runTool(line(peer, more), {{}, {}, folder_.path("")});
    }

    TemporaryFolder folder_;
};

std::vector<std::size_t> sizes(const BulkPeer &peer) {
    std::vector<std::size_t> all;
    for (const BulkRequest &request : peer.received(operations))
        all.push_back(request.count);
    return all;
}

BulkReply answered(const BulkRequest &request, int code, const std::optional<Bytes> &value) {
    return {bulkAnswer(request.id, code, request.step, value)};
}

TEST_F(LoadPeer, TheSequenceIsStartNumbersEnd) {
    const BulkPeer peer([](const BulkRequest &) { return std::nullopt; }, 10);
    EXPECT_EQ(load(peer).status, 0);
    EXPECT_THAT(sizes(peer), ElementsAre(10, 10, 5));
    std::vector<int> numbers;
    for (const BulkRequest &request : peer.received(operations))
        numbers.push_back(request.number);
    EXPECT_THAT(numbers, ElementsAre(1, 2, 3));
    ASSERT_EQ(peer.received(start).size(), 1U);
    ASSERT_EQ(peer.received(end).size(), 1U);
    EXPECT_EQ(peer.received(end).front().number, 3);
}

TEST_F(LoadPeer, AnOperationIsWrittenAsTheServerReadsIt) {
    const BulkPeer peer;
    EXPECT_EQ(load(peer, {}, 1).status, 0);
    const Bytes attribute = wideSequence({octetString("cn"), longTlv(0x31, octetString("e1"), 4)});
    const Bytes add = longTlv(0x68, octetString("cn=e1") + wideSequence({attribute}), 4);
    EXPECT_THAT(peer.received(operations).at(0).operation,
                HasSubstr(wideSequence({integer(1), wideSequence({add})})));
}

struct Sizes {
    int transactionSize;
    Arguments options;
    std::vector<std::size_t> sizes;
    bool warns = false;
};

TEST_F(LoadPeer, BatchesAreAsTheServerAndTheUserSay) {
    const std::vector<Sizes> cases = {
        {20, {}, {20, 5}},
        {0, {}, {25}},
        {-1, {}, {25}},
        {2147483647, {}, {25}},
        {1, {"--batch", "20"}, {20, 5}, true},
        {100, {"--batch", "15"}, {15, 10}},
        {100, {"--batch", "10", "--rate", "100000"}, {10, 10, 5}},
        {100, {"--rate", "100"}, {10, 10, 5}},
    };
    for (const Sizes &each : cases) {
        const BulkPeer peer([](const BulkRequest &) { return std::nullopt; }, each.transactionSize);
        const Result result = load(peer, each.options);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(sizes(peer), each.sizes) << each.transactionSize;
        EXPECT_EQ(result.err.find("at most") != std::string::npos, each.warns) << result.err;
    }
}

TEST_F(LoadPeer, LongRecordsMakeShortBatches) {
    const BulkPeer peer;
    static_cast<void>(folder_.write("long.ldif", [] {
        std::string all;
        for (int i = 0; i < 5; ++i)
            all += "dn: cn=e\ncn: " + std::string(500000, 'x') + "\n\n";
        return all;
    }()));
    const Result result = runTool({"load", folder_.path("long.ldif"), "-H", peer.uri()});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(sizes(peer), ElementsAre(2, 2, 1));
}

// Behind one that says success libldap's search succeeds without a message.
TEST_F(LoadPeer, ANoticeOfDisconnectionIsNoRootDse) {
    const BulkPeer peer([](const BulkRequest &request) -> std::optional<BulkReply> {
        constexpr unsigned char search = 0x63;
        if (request.tag != search)
            return std::nullopt;
        return BulkReply{
            ldapMessage(0, extendedResponse(0, "1.3.6.1.4.1.1466.20036", std::nullopt))};
    });
    const Result result = load(peer);
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_THAT(result.err, HasSubstr("load"));
}

TEST_F(LoadPeer, NoMoreThanTheWindowIsUnderWay) {
    for (const std::size_t window : {1U, 3U, 8U}) {
        // Nothing is answered before the window is full, and then all of it, the last one first.
        std::vector<Bytes> waiting;
        std::size_t most = 0, left = 24;
        const BulkPeer peer(
            [&](const BulkRequest &request) -> std::optional<BulkReply> {
                if (request.step != operations)
                    return std::nullopt;
                waiting.push_back(bulkAnswer(request.id, 0, operations, std::nullopt));
                most = std::max(most, waiting.size());
                if (waiting.size() < std::min(window, left))
                    return BulkReply{};
                left -= waiting.size();
                Bytes all;
                for (; !waiting.empty(); waiting.pop_back())
                    all += waiting.back();
                return BulkReply{all};
            },
            1);
        const Result result = load(peer, {"--window", std::to_string(window)}, 24);
        EXPECT_EQ(result.status, 0) << result.err << window;
        EXPECT_EQ(most, window);
    }
}

TEST_F(LoadPeer, AFailureEndsTheSendingAndIsCounted) {
    const BulkPeer peer(
        [](const BulkRequest &request) -> std::optional<BulkReply> {
            if (request.step != operations || request.number != 2)
                return std::nullopt;
            return answered(request, 80, bulkFailure(3, 68, "there\x1b[31m already\nnow"));
        },
        5);
    const Result result = load(peer, {"--window", "1", "--json", "--rejects", "r.ldif"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(sizes(peer), ElementsAre(5, 5));
    EXPECT_EQ(peer.received(end).size(), 1U);
    const Json json = result.json();
    EXPECT_EQ(json["updates"]["add"]["done"], 9);
    EXPECT_EQ(json["updates"]["add"]["failed"], 1);
    EXPECT_EQ(readFile(folder_.path("r.ldif")),
              "# result 68 (Already exists): there\\x1b[31m already\\x0anow\n# f.ldif:22\n"
              "dn: cn=e8\ncn: e8\n\n");
}

TEST_F(LoadPeer, ARefusedRequestFailsWhole) {
    for (const bool hasOid : {true, false}) {
        const BulkPeer peer(
            [&](const BulkRequest &request) -> std::optional<BulkReply> {
                if (request.step != operations || request.number != 2 || request.count == 0)
                    return std::nullopt;
                const std::optional<std::string> oid =
                    hasOid ? std::optional(std::string(bulkArc) + "7") : std::nullopt;
                return BulkReply{ldapMessage(request.id, extendedResponse(51, oid, {}))};
            },
            5);
        const Result result = load(peer, {"--continue", "--json"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.json()["updates"]["add"]["done"], 20);
        EXPECT_EQ(result.json()["updates"]["add"]["failed"], 5);
        EXPECT_EQ(result.json()["results"][0]["code"], 51);
        // An empty request takes its place.
        EXPECT_THAT(sizes(peer), testing::Contains(0U));
    }
}

struct Lie {
    std::string name;
    int step;
    std::function<BulkReply(const BulkRequest &)> answer;
    std::string words;
};

TEST_F(LoadPeer, ALyingServerIsAnErrorWithNothingLost) {
    const auto failures = [](const Bytes &list) {
        return [list](const BulkRequest &request) { return answered(request, 80, list); };
    };
    Bytes many;
    for (int i = 1; i <= 10000; ++i)
        many += bulkFailure(i, 68, "no");
    const std::vector<Lie> lies = {
        {"number 0", operations, failures(bulkFailure(0, 68, "")), "operation 0"},
        {"number 6", operations, failures(bulkFailure(6, 68, "")), "operation 6"},
        {"number -1", operations,
         failures(tlv(0x30, fromHex("02 01 ff") +
                                sequence({integer(68), octetString(""), octetString("")}))),
         "operation -1"},
        {"twice", operations, failures(bulkFailure(2, 68, "") + bulkFailure(2, 68, "")), "twice"},
        {"ten thousand", operations, failures(many), "operation 6"},
        {"cut", operations, failures(bulkFailure(2, 68, "text").substr(0, 9)),
         "could not be understood"},
        {"other OID", operations,
         [](const BulkRequest &request) { return BulkReply{bulkAnswer(request.id, 0, 1, {})}; },
         "could not be understood"},
        {"no OID", operations,
         [](const BulkRequest &request) {
             return BulkReply{ldapMessage(request.id, extendedResponse(0, {}, {}))};
         },
         "could not be understood"},
        {"another operation's answer", operations,
         [](const BulkRequest &request) {
             return BulkReply{ldapMessage(request.id, searchDone(0))};
         },
         "could not be understood"},
        {"a code that libldap has for itself", operations,
         [](const BulkRequest &request) { return answered(request, -5, {}); },
         "could not be understood"},
        {"start without OID", start,
         [](const BulkRequest &request) {
             return BulkReply{ldapMessage(request.id, extendedResponse(0, {}, {}))};
         },
         "could not be understood"},
        {"start with rubbish", start,
         [](const BulkRequest &request) { return answered(request, 0, Bytes("\x30\x03\x02")); },
         "could not be understood"},
    };
    for (const Lie &lie : lies) {
        const BulkPeer peer(
            [&](const BulkRequest &request) -> std::optional<BulkReply> {
                if (request.tag != 0x77 || request.step != lie.step)
                    return std::nullopt;
                return lie.answer(request);
            },
            5);
        const Result result = load(peer, {"--window", "1", "--json", "--continue"});
        EXPECT_EQ(result.status, 1) << lie.name;
        EXPECT_THAT(result.err, HasSubstr(lie.words)) << lie.name;
        if (lie.step == operations) {
            EXPECT_EQ(result.json()["updates"]["add"]["inDoubt"], 5) << lie.name;
            EXPECT_EQ(result.json()["result"], "broken") << lie.name;
            EXPECT_THAT(folder_.names(), ElementsAre("f.ldif", "f.ldif.checkpoint"));
            unlink(folder_.path("f.ldif.checkpoint").c_str());
        } else {
            EXPECT_THAT(folder_.names(), ElementsAre("f.ldif"));
        }
    }
}

TEST_F(LoadPeer, AnswersToNobodyAreIgnored) {
    const BulkPeer peer(
        [](const BulkRequest &request) -> std::optional<BulkReply> {
            if (request.step != operations)
                return std::nullopt;
            return BulkReply{bulkAnswer(request.id + 70, 80, operations, bulkFailure(1, 68, "")) +
                             bulkAnswer(request.id, 0, operations, {})};
        },
        5);
    EXPECT_EQ(load(peer).status, 0);
}

TEST_F(LoadPeer, ARefusedStartNamesTheFallback) {
    for (const int code : {2, 52, 53}) {
        const BulkPeer peer([&](const BulkRequest &request) -> std::optional<BulkReply> {
            if (request.step != start)
                return std::nullopt;
            return BulkReply{ldapMessage(request.id, extendedResponse(code, {}, {}))};
        });
        const Result refused = load(peer);
        EXPECT_EQ(refused.status, 1);
        EXPECT_THAT(refused.err, HasSubstr("--fallback"));
        EXPECT_THAT(folder_.names(), ElementsAre("f.ldif"));
        const Result result = load(peer, {"--fallback", "--json"});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.json()["mode"], "ordinary");
        EXPECT_EQ(result.json()["updates"]["add"]["done"], 25);
    }
}

TEST_F(LoadPeer, AServerWithoutBulkUpdatesNamesTheFallback) {
    const BulkPeer peer([](const BulkRequest &request) -> std::optional<BulkReply> {
        if (request.tag != 0x63)
            return std::nullopt;
        return BulkReply{ldapMessage(request.id, searchEntry("")) +
                         ldapMessage(request.id, searchDone(0))};
    });
    const Result result = load(peer);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("--fallback"));
    EXPECT_EQ(peer.received(start).size(), 0U);
    EXPECT_EQ(load(peer, {"--fallback"}).status, 0);
}

TEST_F(LoadPeer, ALostConnectionLeavesACheckpoint) {
    const BulkPeer peer(
        [](const BulkRequest &request) -> std::optional<BulkReply> {
            if (request.step != operations || request.number != 3)
                return std::nullopt;
            return BulkReply{{}, true};
        },
        5);
    const Result result = load(peer, {"--window", "1", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.json()["updates"]["add"]["done"], 10);
    EXPECT_EQ(result.json()["updates"]["add"]["inDoubt"], 5);
    EXPECT_EQ(result.json()["checkpoint"], "f.ldif.checkpoint");
    EXPECT_THAT(result.err, HasSubstr("--resume"));
}

TEST_F(LoadPeer, ASilentServerEndsItInTime) {
    const BulkPeer peer(
        [](const BulkRequest &request) -> std::optional<BulkReply> {
            if (request.step != operations)
                return std::nullopt;
            return BulkReply{};
        },
        5);
    const Result result = load(peer, {"--timeout", "1", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("within 1 second"));
    EXPECT_EQ(result.json()["updates"]["add"]["inDoubt"], 20);
}

TEST_F(LoadPeer, ASecondSignalEndsItAtOnce) {
    static_cast<void>(folder_.write("f.ldif", entries(25)));
    const BulkPeer peer(
        [](const BulkRequest &request) -> std::optional<BulkReply> {
            if (request.step != operations)
                return std::nullopt;
            return BulkReply{};
        },
        5);
    Process tool(QLDAPX_PATH, line(peer, {}), {{}, {}, folder_.path("")});
    ASSERT_TRUE(soon([&] { return peer.received(operations).size() == 4; }));
    tool.signal(SIGINT);
    usleep(100000); // two signals that are pending together are one
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait().status, 128 + SIGINT);
    EXPECT_THAT(readFile(folder_.path("f.ldif.checkpoint")), HasSubstr("\"sent\":{\"record\":20,"));
}

TEST_F(LoadPeer, RenamesInARowShareAGap) {
    const BulkPeer peer;
    const std::string rename = "dn: cn=e1\nchangetype: modrdn\nnewrdn: cn=f\ndeleteoldrdn: 1\n\n";
    static_cast<void>(folder_.write("r.ldif", entries(2) + rename + rename + entries(2)));
    const Result result = runTool({"load", folder_.path("r.ldif"), "-H", peer.uri(), "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(peer.received(start).size(), 2U);
    EXPECT_EQ(peer.received(end).size(), 2U);
    EXPECT_EQ(result.json()["updates"]["rename"]["done"], 2);
    const BulkPeer another;
    const Result bulk =
        runTool({"load", folder_.path("r.ldif"), "-H", another.uri(), "--rename", "bulk"});
    EXPECT_EQ(bulk.status, 0) << bulk.err;
    EXPECT_THAT(sizes(another), ElementsAre(6));
}

// It has no number in a sequence that would have to be filled.
TEST_F(LoadPeer, ARenameThatFailsIsNoGapInASequence) {
    constexpr unsigned char modifyDn = 0x6c;
    int renames = 0;
    const BulkPeer peer([&](const BulkRequest &request) -> std::optional<BulkReply> {
        if (request.tag != modifyDn || ++renames == 1)
            return std::nullopt;
        const Bytes noSuchObject = tlv(0x0a, "\x20") + octetString("") + octetString("");
        return BulkReply{ldapMessage(request.id, tlv(modifyDn + 1, noSuchObject))};
    });
    const std::string rename = "dn: cn=e1\nchangetype: modrdn\nnewrdn: cn=f\ndeleteoldrdn: 1\n\n";
    static_cast<void>(
        folder_.write("r.ldif", entries(2) + rename + entries(3) + rename + entries(4)));
    const Result result =
        runTool({"load", folder_.path("r.ldif"), "-H", peer.uri(), "--continue", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.json()["updates"]["rename"]["failed"], 1);
    EXPECT_THAT(sizes(peer), ElementsAre(2, 3, 4));
}

TEST_F(LoadPeer, ThePasswordIsNotInTheCheckpoint) {
    static_cast<void>(folder_.write("f.ldif", entries(1)));
    const BulkPeer peer([](const BulkRequest &request) -> std::optional<BulkReply> {
        if (request.step != operations)
            return std::nullopt;
        return BulkReply{{}, true};
    });
    const Result result =
        runTool(line(peer, {"-D", "cn=me", "-w", "hush-hush"}), {{}, {}, folder_.path("")});
    EXPECT_EQ(result.status, 1);
    const std::string checkpoint = readFile(folder_.path("f.ldif.checkpoint"));
    EXPECT_THAT(checkpoint, HasSubstr("cn=me"));
    EXPECT_THAT(checkpoint, Not(HasSubstr("hush-hush")));
}

} // namespace
} // namespace test
