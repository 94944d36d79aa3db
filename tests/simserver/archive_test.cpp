#include "image.h"
#include "in_process.h"
#include "program.h"
#include "watch.h"

#include <gtest/gtest.h>
#include <openssl/sha.h>

#include <chrono>
#include <cstring>
#include <map>

namespace {

using wire::hex;
using wire::text;
using wire::tlv;

/** An INTEGER of four bytes. */
std::string integer(std::int64_t value) {
    std::string content;
    for (int shift = 24; shift >= 0; shift -= 8)
        content += static_cast<char>(value >> shift);
    return tlv(0x02, content);
}

std::string chunks(const std::vector<std::int64_t> &sizes) {
    std::string set;
    for (const std::int64_t size : sizes)
        set += tlv(0x30, integer(size));
    return tlv(0x30, integer(static_cast<std::int64_t>(sizes.size())) + tlv(0x31, set));
}

// The head of an image that says that it has as many bytes as there are numbers.
const std::string kEndless = "STRATIMG" + hex("0000000000000001 7fffffffffffffff");

std::int64_t numberOf(const std::string &content) {
    std::int64_t value = 0;
    for (const char c : content)
        value = value * 256 + static_cast<unsigned char>(c);
    return value;
}

struct Piece {
    int code = -1;
    std::int64_t first = -1;
    std::int64_t second = -1;
    std::string data;
    std::vector<std::int64_t> sizes;
};

class ArchiveTest : public testing::Test {
  protected:
    ArchiveTest() { server_.bindAdmin(); }

    Piece fetch(std::int64_t first = 0, std::int64_t second = 0, const std::string &dn = kAda) {
        const auto response =
            server_.extended(96, text(dn) + integer(first) + integer(second) + text("password"));
        EXPECT_EQ(response.oid, wire::strataOid(97));
        Piece piece{response.code, -1, -1, {}, {}};
        if (response.code != 0)
            return piece;
        const auto parts = wire::elements(response.value);
        EXPECT_EQ(parts.size(), 5U);
        piece.first = numberOf(parts.at(1).content);
        piece.second = numberOf(parts.at(2).content);
        piece.data = parts.at(3).content;
        EXPECT_EQ(numberOf(parts.at(0).content), static_cast<std::int64_t>(piece.data.size()));
        readSizes(parts.at(4), piece);
        return piece;
    }

    static void readSizes(const wire::Element &list, Piece &piece) {
        EXPECT_EQ(list.tag, 0x30);
        const auto parts = wire::elements(list.content);
        EXPECT_EQ(parts.at(1).tag, 0x31);
        std::int64_t sum = 0;
        for (const wire::Element &element : wire::elements(parts.at(1).content)) {
            piece.sizes.push_back(numberOf(wire::elements(element.content).at(0).content));
            sum += piece.sizes.back();
            EXPECT_LE(piece.sizes.back(), 4096);
        }
        EXPECT_EQ(numberOf(parts.at(0).content), static_cast<std::int64_t>(piece.sizes.size()));
        EXPECT_EQ(sum, static_cast<std::int64_t>(piece.data.size()));
    }

    std::vector<std::string> fetchAll(const std::string &dn = kAda) {
        std::vector<std::string> pieces;
        Piece piece = fetch(0, 0, dn);
        while (piece.code == 0) {
            pieces.push_back(piece.data);
            if (piece.first == 0 && piece.second == 0)
                return pieces;
            piece = fetch(piece.first, piece.second, dn);
        }
        ADD_FAILURE() << "result " << piece.code;
        return pieces;
    }

    std::string image(const std::string &dn = kAda) {
        std::string whole;
        for (const std::string &piece : fetchAll(dn))
            whole += piece;
        return whole;
    }

    wire::Response put(const std::string &data, const std::string &dn = kAda,
                       const std::string &password = "password") {
        const auto size = static_cast<std::int64_t>(data.size());
        return server_.extended(98, text(dn) + text(password) + integer(size) + text(data) +
                                        chunks({size}));
    }

    void setDescription(std::size_t size) {
        ASSERT_EQ(
            server_.code(wire::modify(kAda, {{2, {"description", {std::string(size, 'd')}}}})), 0);
    }
    /** Makes the entry large by an attribute whose values match as they are. */
    void setBulk(std::size_t size) {
        ASSERT_EQ(
            server_.code(wire::modify(kAda, {{2, {"userPassword", {std::string(size, 'd')}}}})), 0);
    }
    void removeAda() { ASSERT_EQ(server_.code(wire::remove(kAda)), 0); }
    bool isThere() {
        return server_.directory.tree.find("cn=ada brandt,ou=people,dc=example,dc=com") != nullptr;
    }

    InProcess server_;
};

/** An image as its description says, from its fields after the length on. */
std::string makeImage(const std::string &fields, std::uint64_t version = 1) {
    const auto number = [](std::uint64_t value) {
        std::string bytes;
        for (int shift = 56; shift >= 0; shift -= 8)
            bytes += static_cast<char>(value >> shift);
        return bytes;
    };
    std::string made = "STRATIMG" + number(version) + number(24 + fields.size() + 32) + fields;
    unsigned char digest[32];
    SHA256(reinterpret_cast<const unsigned char *>(made.data()), made.size(), digest);
    return made.append(reinterpret_cast<const char *>(digest), 32);
}

TEST_F(ArchiveTest, AnEntryComesBackAsItWas) {
    const std::string everything =
        wire::search({.base = kAda, .scope = 0, .attributes = {"*", "+"}});
    server_.code(wire::modify(kAda, {{2, {"description", {std::string("\0\xff\x80 \n", 5)}}}}));
    const std::string before = server_.raw(wire::message(1, everything));
    const Piece only = fetch();
    EXPECT_EQ(only.first, 0);
    EXPECT_EQ(only.second, 0);
    removeAda();
    server_.time += 1000;
    const auto restored = put(only.data);
    EXPECT_EQ(restored.code, 0) << restored.diagnostic;
    EXPECT_EQ(restored.oid, wire::strataOid(99));
    EXPECT_EQ(restored.value, "none");
    EXPECT_EQ(server_.raw(wire::message(1, everything)), before);
    EXPECT_EQ(server_.code(wire::bind(kAda, "changeme")), 0) << "with its password";
}

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

TEST_F(ArchiveTest, PiecesMayBeCutOtherwise) {
    setDescription(5000);
    server_.directory.archive.pieceBytes = 64;
    const auto pieces = fetchAll();
    EXPECT_EQ(pieces.size(), (image().size() + 63) / 64);
    removeAda();
    std::string whole;
    for (const std::string &piece : pieces)
        whole += piece;
    EXPECT_EQ(put(whole.substr(0, 24)).code, 0);
    EXPECT_EQ(put("").code, 0) << "nothing, but no mistake";
    EXPECT_EQ(put(whole.substr(24)).code, 0);
    EXPECT_TRUE(isThere());
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
    const std::string request =
        wire::message(1, wire::extended(wire::strataOid(96),
                                        &(const std::string &)(text(kAda) + integer(first.first) +
                                                               integer(2) + text("password"))));
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

TEST_F(ArchiveTest, RestoreResults) {
    const std::string ada = image();
    const std::string helpdesk = image("cn=helpdesk,ou=groups,dc=example,dc=com");
    EXPECT_EQ(put(ada).code, 68);
    removeAda();
    EXPECT_EQ(put(ada, kAda, "Password").code, 49);
    EXPECT_EQ(put(ada, kAda, "").code, 49);
    EXPECT_EQ(put(helpdesk).code, 64);
    EXPECT_EQ(put(ada, kServer1).code, 64);
    EXPECT_EQ(put(ada, "nonsense").code, 34);
    EXPECT_EQ(put(ada, "cn=x,cn=monitor").code, 53);
    EXPECT_FALSE(isThere());
    EXPECT_EQ(put(ada, "CN=ada  brandt, ou=people,dc=example,dc=com").code, 0);
    removeAda();
    server_.code(wire::add("ou=x,dc=example,dc=com",
                           {{"objectClass", {"organizationalUnit"}}, {"ou", {"x"}}}));
    server_.code(
        wire::add("cn=y,ou=x,dc=example,dc=com", {{"objectClass", {"person"}}, {"cn", {"y"}}}));
    const std::string below = image("cn=y,ou=x,dc=example,dc=com");
    server_.code(wire::remove("cn=y,ou=x,dc=example,dc=com"));
    server_.code(wire::remove("ou=x,dc=example,dc=com"));
    EXPECT_EQ(put(below, "cn=y,ou=x,dc=example,dc=com").code, 32);
}

TEST_F(ArchiveTest, AnEmptyPasswordIsOne) {
    const auto response = server_.extended(96, text(kAda) + integer(0) + integer(0) + text(""));
    const std::string data = wire::elements(response.value).at(3).content;
    removeAda();
    EXPECT_EQ(put(data, kAda, "x").code, 49);
    EXPECT_EQ(put(data, kAda, "").code, 0);
}

TEST_F(ArchiveTest, DamagedImagesChangeNothing) {
    const std::string whole = image();
    removeAda();
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        // A longer length is not yet wrong: more may come. That is looked at below.
        if (bit / 8 >= 16 && bit / 8 < 24)
            continue;
        std::string damaged = whole;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        EXPECT_EQ(put(damaged).code, 53) << bit;
    }
    const auto extended = put(whole + "x");
    EXPECT_EQ(extended.code, 53);
    EXPECT_NE(extended.diagnostic.find("is to have"), std::string::npos) << extended.diagnostic;
    EXPECT_EQ(put(whole.substr(0, 23)).code, 53) << "not even its head";
    EXPECT_EQ(put("").code, 53);
    EXPECT_FALSE(isThere());
    EXPECT_EQ(put(whole).code, 0);
}

TEST_F(ArchiveTest, APieceThatFailsForgetsTheOnesBefore) {
    setDescription(100000);
    const auto pieces = fetchAll();
    removeAda();
    EXPECT_EQ(put(pieces.at(0)).code, 0);
    const auto lies =
        server_.extended(98, text(kAda) + text("password") + integer(1) + text("x") + chunks({2}));
    EXPECT_EQ(lies.code, 2);
    EXPECT_EQ(put(pieces.at(1)).code, 53) << "it is the first one now";
    EXPECT_EQ(put(pieces.at(0)).code, 0);
    EXPECT_EQ(put(pieces.at(0)).code, 53) << "twice the same";
    EXPECT_EQ(put(pieces.at(1)).code, 53);
    EXPECT_EQ(put(pieces.at(0)).code, 0);
    server_.bindAdmin();
    EXPECT_EQ(put(pieces.at(1)).code, 53) << "the bind has ended it";
    EXPECT_EQ(put(pieces.at(0)).code, 0);
    EXPECT_EQ(put(pieces.at(1)).code, 0);
    EXPECT_TRUE(isThere());
}

TEST_F(ArchiveTest, PiecesOfTwoObjectsDoNotMix) {
    setDescription(100000);
    server_.code(wire::modify(kServer3, {{2, {"description", {std::string(100000, 'e')}}}}));
    const auto ada = fetchAll();
    removeAda();
    EXPECT_EQ(put(ada.at(0)).code, 0);
    for (const std::string &piece : fetchAll(kServer3))
        EXPECT_EQ(put(piece, kServer3).code, piece.size() == 65536 ? 0 : 68);
    EXPECT_EQ(put(ada.at(1)).code, 0);
    EXPECT_TRUE(isThere());
}

TEST_F(ArchiveTest, SizesHaveToAddUp) {
    struct Case {
        std::int64_t length;
        std::string data;
        std::string chunks;
    };
    const Case cases[] = {
        {2, "x", chunks({1})},
        {0, "x", chunks({1})},
        {-1, "x", chunks({1})},
        {1, "x", chunks({2})},
        {1, "x", chunks({})},
        {1, "x", chunks({1, 1})},
        {1, "x", chunks({2, -1})},
        {1, "x", chunks({0x7fffffff, 0x7fffffff, 3})},
        {1, "x", hex("3006 020102 3100")},
        {1, "x", hex("300b 020102 3106 3004 02020001 ")},
        {1, "x", hex("300a 0201ff 3105 3003 020101")},
        {1, "x", hex("300a 020101 3005 3003 020101")},
        {1, "x", hex("300a 020101 3105 3103 020101")},
        {1, "x", hex("300d 02047fffffff 3105 3003 020101")},
    };
    for (const Case &c : cases) {
        const auto response = server_.extended(98, text(kAda) + text("password") +
                                                       integer(c.length) + text(c.data) + c.chunks);
        EXPECT_EQ(response.code, 2);
        EXPECT_EQ(response.oid, wire::strataOid(99));
        EXPECT_EQ(response.diagnostic.substr(0, 13), "request value");
    }
}

TEST_F(ArchiveTest, WhatIsCollectedIsBounded) {
    server_.directory.archive.restoreBytes = 10000;
    const std::string &head = kEndless;
    EXPECT_EQ(put(head + std::string(9000, 'x')).code, 0);
    EXPECT_EQ(put(std::string(900, 'x')).code, 0);
    EXPECT_EQ(put(head + std::string(900, 'x'), kServer1).code, 11) << "for all objects together";
    EXPECT_EQ(put(std::string(900, 'x')).code, 11);
    EXPECT_EQ(put(head + std::string(9000, 'x')).code, 0) << "what has failed is forgotten";
    server_.bindAdmin();
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(put(head, "cn=" + std::to_string(i) + ",dc=example,dc=com").code, 0);
    EXPECT_EQ(put(head, "cn=16,dc=example,dc=com").code, 11);
    EXPECT_EQ(put("x", "cn=3,dc=example,dc=com").code, 0) << "the others go on";
}

TEST_F(ArchiveTest, ImagesWithTheRightSumAndTheWrongContentAreRefused) {
    const auto number = [](char value) { return std::string(7, '\0') + value; };
    const auto field = [&](const std::string &value) {
        return number(static_cast<char>(value.size())) + value;
    };
    const std::string whole = image();
    // DN, salt and verifier of a real image: it is the password's.
    const std::size_t begin = 24 + 8 + std::strlen(kAda);
    const std::string head = field(kAda) + whole.substr(begin, 8 + 16 + 8 + 32);
    const auto attribute = [&](const std::string &name, const std::string &value) {
        return field(name) + number(1) + field(value);
    };
    const std::string person = attribute("objectClass", "person");
    removeAda();
    const std::pair<std::string, int> cases[] = {
        {"", 53},
        {head, 53},
        {head + number(0), 65},
        {head + number(2) + person, 53},
        {head + number(1) + person, 64},
        {head + number(1) + person + "x", 53},
        {head + std::string(8, '\xff') + person, 53},
        {head + number(2) + person + attribute("", "Ada Brandt"), 53},
        {head + number(2) + person + person, 53},
        {head + number(2) + person + field("cn") + number(0), 53},
        {head + number(2) + person + field("cn") + std::string(8, '\xff') + field("x"), 53},
        {head + number(2) + person + field("cn") + number(1) + std::string(8, '\x7f') + "x", 53},
        {field("nonsense") + head.substr(8 + std::strlen(kAda)), 34},
        {field(kAda) + field("") + field("") + number(0), 49},
    };
    for (const auto &[fields, code] : cases) {
        const auto response = put(makeImage(fields));
        EXPECT_EQ(response.code, code) << response.diagnostic;
        EXPECT_FALSE(isThere());
    }
    const std::string good = head + number(2) + person + attribute("cn", "Ada Brandt");
    EXPECT_EQ(put(makeImage(good, 2)).code, 53) << "another version";
    EXPECT_EQ(put(makeImage(good)).code, 0);
}

TEST_F(ArchiveTest, ARestoredEntryIsAnAddedOneToWhoeverWatches) {
    const std::string whole = image();
    removeAda();
    Watch watch(server_, {});
    put(whole);
    const auto changes = watch.changes();
    EXPECT_EQ(changes.entries, std::vector<std::string>{kAda});
    EXPECT_EQ(changes.entryControls.at(0).at(0).value, entryChange(1, nullptr, 2));
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

TEST(ArchiveProgramTest, SwitchesSetTheLimits) {
    SimProgram server({"--backup-piece", "100", "--max-message", "1000"});
    RawClient client(server.port());
    const auto ask = [&](const std::string &op) {
        client.send(wire::message(1, op));
        return wire::parse(client.readMessages(1));
    };
    ask(wire::bind(kAdmin, "secret"));
    const std::string request = text(kAda) + integer(0) + integer(0) + text("");
    const auto piece = ask(wire::extended(wire::strataOid(96), &request));
    EXPECT_EQ(wire::elements(piece.value).at(3).content.size(), 100U);
    int code = 0;
    std::size_t taken = 0;
    for (std::string data = kEndless; code == 0 && taken < 100000; data = std::string(500, 'x')) {
        const auto size = static_cast<std::int64_t>(data.size());
        const std::string restore =
            text(kAda) + text("") + integer(size) + text(data) + chunks({size});
        code = ask(wire::extended(wire::strataOid(98), &restore)).code;
        taken += data.size();
    }
    EXPECT_EQ(code, 11);
    EXPECT_GT(taken, 16000U);
    EXPECT_LE(taken, 16500U + kEndless.size());
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
