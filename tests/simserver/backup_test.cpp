#include "archive.h"

#include <chrono>

namespace {

using wire::text;

TEST_F(ArchiveTest, LargeImagesComeInPieces) {
    setDescription(200000);
    const auto pieces = fetchAll();
    ASSERT_EQ(pieces.size(), 4U);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(pieces[i].size(), 65536U);
    const Piece first = fetch();
    EXPECT_NE(first.first, 0);
    EXPECT_EQ(first.second, 2);
    EXPECT_EQ(first.sizes, std::vector<std::int64_t>(16, 4096));
    removeAda();
    for (const std::string &piece : pieces) {
        EXPECT_FALSE(isThere());
        EXPECT_EQ(put(piece).code, 0);
    }
    EXPECT_TRUE(isThere());
    EXPECT_EQ(server_.ask(wire::compare(kAda, "description", std::string(200000, 'd'))).code, 6);
}

TEST_F(ArchiveTest, ABackupShowsTheEntryAsItWasAtTheFirstPiece) {
    setDescription(100000);
    const Piece first = fetch();
    setDescription(10);
    removeAda();
    const Piece second = fetch(first.first, first.second);
    EXPECT_EQ(second.code, 0);
    EXPECT_EQ(second.first, 0);
    EXPECT_EQ(second.second, 0);
    EXPECT_EQ(put(first.data).code, 0);
    EXPECT_EQ(put(second.data).code, 0);
    EXPECT_EQ(server_.ask(wire::compare(kAda, "description", std::string(100000, 'd'))).code, 6);
}

TEST_F(ArchiveTest, StatesThatNobodyHasGivenAreRefused) {
    setDescription(200000);
    const Piece first = fetch();
    const std::pair<std::int64_t, std::int64_t> cases[] = {{first.first, 0},
                                                           {first.first, -1},
                                                           {first.first, 5},
                                                           {first.first, 0x7fffffff},
                                                           {0, 2},
                                                           {0, 1},
                                                           {first.first + 1, 2},
                                                           {-1, 2},
                                                           {-0x80000000L, 2},
                                                           {0x7fffffff, 2}};
    for (const auto &[id, number] : cases)
        EXPECT_EQ(fetch(id, number).code, 53) << id << "+" << number;
    EXPECT_EQ(fetch(first.first, 2, kServer1).code, 53) << "another entry's";
    EXPECT_EQ(fetch(first.first, 2).code, 0);
    EXPECT_EQ(fetch(first.first, 2).code, 0) << "a lost answer may be asked for again";
    EXPECT_EQ(fetch(first.first, 4).code, 0);
    EXPECT_EQ(fetch(first.first, 4).code, 53) << "complete";
}

TEST_F(ArchiveTest, BackupsBelongToTheirIdentityAndConnection) {
    setDescription(200000);
    const Piece first = fetch();
    stratasim::Connection other;
    other.identity = server_.identity;
    const std::string value = text(kAda) + integer(first.first) + integer(2) + text("password");
    const std::string request = wire::message(1, wire::extended(wire::strataOid(96), &value));
    EXPECT_EQ(wire::parse(server_.dispatcher.handle(other, stratasim::asBytes(request)).bytes).code,
              53);
    EXPECT_EQ(fetch(first.first, 2).code, 0);
    server_.bindAdmin();
    EXPECT_EQ(fetch(first.first, 2).code, 53) << "a bind ends what was under way";
    EXPECT_NE(fetch().first, first.first) << "an old state never means a new backup";
}

TEST_F(ArchiveTest, TheOldestOfManyBackupsIsForgotten) {
    setDescription(100000);
    std::vector<Piece> begun;
    for (int i = 0; i < 17; ++i)
        begun.push_back(fetch());
    EXPECT_EQ(fetch(begun[0].first, 2).code, 53);
    for (int i = 1; i < 17; ++i)
        EXPECT_EQ(fetch(begun.at(static_cast<std::size_t>(i)).first, 2).code, 0) << i;
}

TEST_F(ArchiveTest, BackupsShareABoundOfBytes) {
    server_.directory.archive.backupBytes = 500000;
    setBulk(200000);
    const Piece first = fetch();
    const Piece second = fetch();
    const Piece third = fetch();
    EXPECT_EQ(fetch(first.first, 2).code, 53);
    EXPECT_EQ(fetch(second.first, 2).code, 0);
    EXPECT_EQ(fetch(third.first, 2).code, 0);
    setBulk(600000);
    const Piece huge = fetch();
    EXPECT_EQ(fetch(huge.first, 3).code, 0) << "one alone may be larger";
    EXPECT_EQ(fetch(third.first, 2).code, 53);
}

TEST_F(ArchiveTest, BackupResults) {
    EXPECT_EQ(fetch(0, 0, "cn=no,dc=example,dc=com").code, 32);
    EXPECT_EQ(fetch(0, 0, "nonsense").code, 34);
    EXPECT_EQ(fetch(0, 0, "").code, 53);
    EXPECT_EQ(fetch(0, 0, "cn=schema").code, 53);
    server_.bindAs(kAda);
    EXPECT_EQ(fetch().code, 50);
    EXPECT_EQ(put("x").code, 50);
}

TEST_F(ArchiveTest, TheImageIsNotCopiedForEachPiece) {
    constexpr std::size_t size = 64U * 1024 * 1024;
    setBulk(size);
    const auto began = std::chrono::steady_clock::now();
    Piece piece = fetch();
    std::size_t pieces = 1;
    for (; piece.first != 0; ++pieces)
        piece = fetch(piece.first, piece.second);
    EXPECT_EQ(pieces, size / 65536 + 1);
    // Less than a second; to copy the image for each of a thousand pieces takes much longer.
    EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
}

TEST_F(ArchiveTest, FaultsSpoilTheAnswers) {
    EXPECT_EQ(server_.faults.add("backup-object=truncate:7"), "");
    EXPECT_EQ(server_.faults.add("restore-object=code:80:broken"), "");
    const std::string request = text(kAda) + integer(0) + integer(0) + text("");
    EXPECT_EQ(server_.extended(96, request).value.size(), 7U);
    const auto restored = put("x");
    EXPECT_EQ(restored.code, 80);
    EXPECT_EQ(restored.diagnostic, "broken");
    EXPECT_EQ(restored.oid, wire::strataOid(99));
}

} // namespace
