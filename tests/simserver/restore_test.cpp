#include "archive.h"
#include "program.h"
#include "watch.h"

#include <openssl/sha.h>

#include <cstring>

namespace {

using wire::hex;
using wire::text;

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

} // namespace
