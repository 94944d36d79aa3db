#include "lburp_fixture.h"

#include <set>

namespace {

using wire::hex;
using wire::number;
using wire::text;
using wire::tlv;

/** Each operation of a request that is well-formed, with controls. */
std::vector<std::string> goodOperations() {
    const std::string controls = wire::control("1.2.3", false) + tlv(0x30, text("1.2.3"));
    const std::vector<std::string> all = {
        lburp::add("a"), lburp::describe("a", "x"),
        lburp::rename(lburp::dn("a"), "cn=b", "ou=people,dc=example,dc=com"),
        wire::remove("cn=b,ou=people,dc=example,dc=com")};
    std::vector<std::string> operations;
    for (const std::string &operation : all)
        operations.push_back(tlv(0x30, lburp::withControls(operation, controls)));
    return operations;
}

class LburpValueTest : public LburpTest {
  protected:
    /** The request of that OID's number is refused and leaves nothing behind. */
    wire::Response expectMalformed(int request, const std::string &value) {
        const std::uint64_t changes = server_.directory.changes.lastNumber();
        auto response = client_.ask(lburp::request(request, value));
        EXPECT_EQ(response.code, 2) << value.size() << " bytes of request " << request;
        EXPECT_EQ(response.oid, lburp::kArc + std::to_string(request == 4 ? 5 : request + 1));
        EXPECT_EQ(response.diagnostic.substr(0, 13), "request value");
        EXPECT_EQ(server_.directory.changes.lastNumber(), changes);
        return response;
    }
    void expectMalformed(const std::string &elements, const char *problem) {
        const auto response = expectMalformed(6, tlv(0x30, number(1) + elements));
        EXPECT_EQ(response.diagnostic, std::string("request value, ") + problem);
    }
};

TEST_F(LburpValueTest, PartsOfARequestAreNone) {
    std::string content = number(1);
    std::set<std::size_t> whole = {content.size()};
    for (const std::string &operation : goodOperations())
        whole.insert((content += operation).size());
    const std::string value = tlv(0x30, content);
    start();
    for (std::size_t length = 0; length < value.size(); ++length)
        expectMalformed(6, value.substr(0, length));
    for (std::size_t length = 0; length < content.size(); ++length)
        if (!whole.contains(length))
            expectMalformed(6, tlv(0x30, content.substr(0, length)));
    expectMalformed(6, value + '\0');
    expectMalformed(6, value + goodOperations()[0]);
    EXPECT_EQ(ask(lburp::request(6, value)), 0) << "the number was not used up";
}

TEST_F(LburpValueTest, PartsOfAStartOrEndAreNone) {
    const std::string good = tlv(0x30, text(lburp::kStyle));
    for (std::size_t length = 0; length < good.size(); ++length)
        expectMalformed(1, good.substr(0, length));
    for (const std::string &value :
         {good + '\0', tlv(0x30, text(lburp::kStyle) + number(1)), tlv(0x31, text(lburp::kStyle)),
          tlv(0x30, number(1)), text(lburp::kStyle), tlv(0x30, tlv(0x80, lburp::kStyle))})
        expectMalformed(1, value);
    start();
    const std::string end = tlv(0x30, number(0));
    for (std::size_t length = 0; length < end.size(); ++length)
        expectMalformed(4, end.substr(0, length));
    for (const std::string &value :
         {end + '\0', tlv(0x30, number(0) + number(0)), tlv(0x31, number(0)), number(0),
          tlv(0x30, text("0")), tlv(0x30, wire::wideNumber("")),
          tlv(0x30, wire::wideNumber("0100000000")),
          tlv(0x30, wire::wideNumber("000000000000000000"))})
        expectMalformed(4, value);
    EXPECT_EQ(ask(lburp::end(0)), 0) << "it is still open";
}

TEST_F(LburpValueTest, TheValueHasToBeThere) {
    start();
    for (const int request : {1, 6, 4}) {
        const auto response = client_.ask(wire::extended(lburp::kArc + std::to_string(request)));
        EXPECT_EQ(response.code, 2);
        EXPECT_EQ(response.diagnostic, "request value: missing");
    }
    EXPECT_EQ(ask(lburp::end(0)), 0);
}

TEST_F(LburpValueTest, SequenceNumbersAreOfThirtyTwoBits) {
    start();
    for (const char *digits : {"", "0100000000", "0080000000", "000000000000000001"})
        expectMalformed(6, tlv(0x30, wire::wideNumber(digits)));
    expectMalformed(6, tlv(0x30, wire::enumerated(1)));
    EXPECT_EQ(ask(lburp::request(6, tlv(0x30, wire::wideNumber("0000000001")))), 0);
    EXPECT_TRUE(
        client_.send(wire::message(9, lburp::request(6, tlv(0x30, wire::wideNumber("7fffffff")))))
            .empty())
        << "the largest one waits";
}

TEST_F(LburpValueTest, WhatIsNoOperation) {
    const std::string rdn = text(lburp::dn("a")) + text("cn=b");
    const auto first = [](const std::string &operation) { return tlv(0x30, operation); };
    const std::string remove = wire::remove(lburp::dn("a"));
    std::string deep = remove;
    for (int level = 0; level < 1000; ++level)
        deep = tlv(0x30, deep);
    const std::pair<std::string, const char *> cases[] = {
        {lburp::add("a"), "operation 1: operation: tag 0x68 where 0x30 is due"},
        {first(""), "operation 1: protocolOp: missing"},
        {first(first(lburp::add("a")) + first(remove)),
         "operation 1: operation: 26 bytes after the last element"},
        {deep, "operation 1: tag 0x30 is no update"},
        {first(wire::bind("", "")), "operation 1: tag 0x60 is no update"},
        {first(wire::search({})), "operation 1: tag 0x63 is no update"},
        {first(wire::compare("", "a", "b")), "operation 1: tag 0x6e is no update"},
        {first(wire::extended("1.2.3")), "operation 1: tag 0x77 is no update"},
        {first(tlv(0x50, "\x01")), "operation 1: tag 0x50 is no update"},
        {first(tlv(0x42, "")), "operation 1: tag 0x42 is no update"},
        {first(tlv(0x6a, lburp::dn("a"))), "operation 1: tag 0x6a is no update"},
        {first(tlv(0x48, "")), "operation 1: tag 0x48 is no update"},
        {first(hex("4a7f61")), "operation 1: protocolOp: length runs 126 bytes past the end"},
        {first(hex("4a84ffffffff61")),
         "operation 1: protocolOp: length runs 4294967294 bytes past the end"},
        {first(hex("4a8061")), "operation 1: protocolOp: bad length"},
        {first(hex("7f0161")), "operation 1: protocolOp: tag number above 30"},
        {first(remove + remove), "operation 1: operation: 24 bytes after the last element"},
        {first(remove) + first("\x30"), "operation 2: protocolOp: bad length"},
        {first(remove + tlv(0xa0, "") + tlv(0xa0, "")),
         "operation 1: operation: 2 bytes after the last element"},
        {first(remove + tlv(0xa0, text("1.2.3"))),
         "operation 1: control: tag 0x04 where 0x30 is due"},
        {first(remove + tlv(0xa0, tlv(0x30, ""))), "operation 1: control OID: missing"},
        {first(remove + tlv(0xa0, tlv(0x30, text("1") + hex("0102ffff")))),
         "operation 1: control criticality: boolean that is not one byte"},
        {first(tlv(0x6c, rdn)), "operation 1: deleteoldrdn: missing"},
        {first(tlv(0x6c, rdn + wire::number(1))),
         "operation 1: deleteoldrdn: tag 0x02 where 0x01 is due"},
        {first(wire::rename(lburp::dn("a"), "cn=b", true, "cn=c")),
         "operation 1: update: 6 bytes after the last element"},
        {first(tlv(0x6c, rdn + wire::boolean(true) + text("cn=c") + text("cn=d"))),
         "operation 1: update: 6 bytes after the last element"},
        {first(tlv(0x68, text("cn=a"))), "operation 1: attributes: missing"},
        {first(tlv(0x68, text("cn=a") + tlv(0x31, ""))),
         "operation 1: attributes: tag 0x31 where 0x30 is due"},
        {first(tlv(0x68, text("cn=a") + tlv(0x30, "") + text(""))),
         "operation 1: update: 2 bytes after the last element"},
        {first(tlv(0x68, text("cn=a") + tlv(0x30, tlv(0x30, text("cn") + tlv(0x30, ""))))),
         "operation 1: attribute values: tag 0x30 where 0x31 is due"},
        {first(tlv(0x66, text("cn=a") + tlv(0x30, tlv(0x30, number(0) + wire::attribute({}))))),
         "operation 1: kind of change: tag 0x02 where 0x0a is due"},
        {first(tlv(0x66, text("cn=a") + tlv(0x30, "") + text(""))),
         "operation 1: update: 2 bytes after the last element"},
    };
    start();
    for (const auto &[elements, problem] : cases) {
        expectMalformed(elements, problem);
        // Also behind one that is good, and before its turn: at once and all or nothing.
        expectMalformed(6, tlv(0x30, number(1) + goodOperations()[0] + elements));
        expectMalformed(6, tlv(0x30, number(7) + elements));
    }
    EXPECT_EQ(ask(lburp::end(0)), 0) << "no number was used up, nothing waits";
}

TEST_F(LburpValueTest, LengthsMayBeLongerThanNeeded) {
    const auto wide = [](char tag, const std::string &content) {
        return std::string{tag, '\x84', '\0', '\0', '\0', static_cast<char>(content.size())} +
               content;
    };
    const std::string values = wide(0x31, text("a"));
    const std::string list =
        wide(0x30, wide(0x30, text("objectClass") + values) + wide(0x30, text("cn") + values));
    start();
    const std::string value = wide(
        0x30, number(1) + wide(0x30, wide(0x68, text(lburp::dn("a")) + list) + wide('\xa0', "")));
    const auto response = client_.ask(lburp::request(6, value));
    EXPECT_EQ(response.code, 0) << response.diagnostic;
    EXPECT_TRUE(isThere("a"));
}

TEST_F(LburpValueTest, EveryFlippedBitIsAnsweredOrWaits) {
    std::string content = number(1);
    for (const std::string &operation : goodOperations())
        content += operation;
    const std::string value = tlv(0x30, content);
    constexpr std::size_t sequenceNumberAt = 8; // another one may make it wait
    for (std::size_t bit = 0; bit < value.size() * 8; ++bit) {
        std::string flipped = value;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
        start();
        const auto responses = client_.send(wire::message(5, lburp::request(6, flipped)));
        if (bit / 8 != sequenceNumberAt) {
            EXPECT_EQ(responses.size(), 1U) << bit;
        }
        client_.bindAdmin();
    }
}

} // namespace
