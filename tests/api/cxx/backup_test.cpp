// Backup images: piece by piece from the server, and back.
#include "answers.h"

namespace api_test {
namespace {

namespace backup = qldapx::backup;

constexpr char backupAnswerOid[] = "2.16.840.1.907341.1.27.100.97";
constexpr char restoreAnswerOid[] = "2.16.840.1.907341.1.27.100.99";

// INTEGER length, INTEGER, INTEGER, OCTET STRING, SEQUENCE { count, SET OF SEQUENCE { size } }
ScriptedPeer::Step piece(const Bytes &image, int first, int second) {
    const Bytes sizes = sequence({integer(1), set({sequence({integer(3)})})});
    return ScriptedPeer::answer(
        extendedResponse(LDAP_SUCCESS, backupAnswerOid,
                         join({integer(static_cast<int>(image.size())), integer(first),
                               integer(second), octetString(image), sizes})));
}

TEST(CxxBackup, ComesInPieces) {
    ScriptedPeer peer({piece("abc", 5, 7), piece("", 0, 0)});
    backup::image image(borrowed(peer), "o=a", "secret");
    EXPECT_TRUE(image.has_more());
    EXPECT_EQ(image.state(), "");
    const auto first = image.next();
    ASSERT_TRUE(first) << describe(first.error());
    EXPECT_EQ(first->data(), "abc");
    EXPECT_EQ(first->chunk_sizes(), "1;3;");
    EXPECT_EQ(image.state(), "5+7");
    EXPECT_TRUE(image.has_more());
    const auto last = image.next();
    ASSERT_TRUE(last) << describe(last.error());
    EXPECT_EQ(last->data(), "");
    EXPECT_FALSE(image.has_more());
    EXPECT_EQ(describe(image.next().error()), "-3||");
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_EQ(toHex(peer.received()[1]),
              toHex(ldapMessage(2, extendedRequest("2.16.840.1.907341.1.27.100.96",
                                                   fromHex("04 03 6f 3d 61 02 01 05 02 01 07"
                                                           " 04 06 73 65 63 72 65 74")))));
}

TEST(CxxBackup, HasNoMoreWhereOneNumberIsZero) {
    ScriptedPeer peer({piece("abc", 5, 0), piece("abc", 0, 5)});
    backup::image half(borrowed(peer), "o=a"), other(borrowed(peer), "o=a");
    ASSERT_TRUE(half.next());
    EXPECT_FALSE(half.has_more());
    ASSERT_TRUE(other.next());
    EXPECT_FALSE(other.has_more());
}

TEST(CxxBackup, IsRefused) {
    ScriptedPeer peer({ScriptedPeer::answer(refusal(backupAnswerOid))});
    EXPECT_EQ(describe(backup::image(borrowed(peer), "o=a").next().error()), refused);
}

TEST(CxxRestore, SendsAPiece) {
    ScriptedPeer peer(
        {ScriptedPeer::answer(extendedResponse(LDAP_SUCCESS, restoreAnswerOid, std::nullopt)),
         ScriptedPeer::answer(refusal(restoreAnswerOid))});
    char sizes[] = "1;3;", again[] = "1;3;", none[] = "";
    EXPECT_EQ(describe(backup::restore(borrowed(peer), "o=a", "secret", "abc", sizes)), "done");
    EXPECT_EQ(describe(backup::restore(borrowed(peer), "o=a", nullptr, "abc", again)), refused);
    EXPECT_EQ(describe(backup::restore(borrowed(peer), "o=a", nullptr, "abc", none)), "-3||");
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_NE(peer.received()[0].find(octetString("abc")), Bytes::npos);
}

} // namespace
} // namespace api_test
