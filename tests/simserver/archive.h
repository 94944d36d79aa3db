#pragma once

#include "in_process.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

/** An INTEGER of four bytes. */
inline std::string integer(std::int64_t value) {
    std::string content;
    for (int shift = 24; shift >= 0; shift -= 8)
        content += static_cast<char>(value >> shift);
    return wire::tlv(0x02, content);
}

inline std::string chunks(const std::vector<std::int64_t> &sizes) {
    std::string set;
    for (const std::int64_t size : sizes)
        set += wire::tlv(0x30, integer(size));
    return wire::tlv(0x30, integer(static_cast<std::int64_t>(sizes.size())) + wire::tlv(0x31, set));
}

// The head of an image that says that it has as many bytes as there are numbers.
inline const std::string kEndless = "STRATIMG" + wire::hex("0000000000000001 7fffffffffffffff");

inline std::int64_t numberOf(const std::string &content) {
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
        const auto response = server_.extended(96, wire::text(dn) + integer(first) +
                                                       integer(second) + wire::text("password"));
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
        return server_.extended(98, wire::text(dn) + wire::text(password) + integer(size) +
                                        wire::text(data) + chunks({size}));
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
