#include "program.h"
#include "wire.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <random>

namespace {

using namespace std::chrono_literals;
using wire::hex;
using wire::message;

const std::string kBind = message(1, wire::bind("", ""));
const std::string kBound = hex("300c 020101 6107 0a0100 0400 0400");

// More than all buffers on the way hold, and all that the server keeps.
constexpr std::size_t kTooMuch = 100U * 1024 * 1024;

void expectNotice(const std::string &bytes) {
    const auto response = wire::parse(bytes);
    EXPECT_EQ(response.id, 0);
    EXPECT_EQ(response.code, 2);
    EXPECT_EQ(response.oid, "1.3.6.1.4.1.1466.20036");
    EXPECT_FALSE(response.diagnostic.empty());
}

void expectServes(const SimProgram &server) {
    RawClient client(server.port());
    client.send(kBind);
    EXPECT_EQ(client.readMessages(1), kBound);
}

class StreamTest : public testing::Test {
  protected:
    SimProgram server_{{"--max-message", "100000"}};
};

TEST_F(StreamTest, WhatIsNoLdapEndsTheConnectionWithANotice) {
    const std::string cases[] = {
        "GET / HTTP/1.1\r\n\r\n", hex("3080"),
        hex("30890000"),          hex("3000"),
        hex("3003020101"),        hex("3005020100 4200"),
        hex("300502017f 6100"),   hex("3005020101 6002"),
        hex("3005020101 6000"),   std::string(1000, '\xff'),
    };
    for (const std::string &bytes : cases) {
        RawClient client(server_.port());
        client.send(bytes);
        expectNotice(client.readAll());
        EXPECT_TRUE(client.closed());
    }
    expectServes(server_);
}

TEST_F(StreamTest, TooLargeMessagesAreNotReadAtAll) {
    for (const char *header : {"3083030000", "30847fffffff", "3088ffffffffffffffff"}) {
        RawClient client(server_.port());
        client.send(hex(header)); // and nothing after it
        expectNotice(client.readAll());
        EXPECT_TRUE(client.closed());
    }
    RawClient client(server_.port());
    client.send(message(1, wire::add("cn=x", {{"cn", {std::string(90000, 'x')}}})));
    EXPECT_EQ(wire::parse(client.readMessages(1)).code, 50) << "large, but not too large";
}

TEST_F(StreamTest, AnswersWhatCameBeforeTheMistake) {
    RawClient client(server_.port());
    client.send(kBind + message(2, wire::compare("", "supportedLDAPVersion", "3")) + "rubbish");
    const auto all = wire::elements(client.readAll());
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(wire::tlv(0x30, all[0].content), kBound);
    EXPECT_EQ(wire::parse(wire::tlv(0x30, all[2].content)).id, 0);
}

TEST_F(StreamTest, MessagesMayComeByteByByte) {
    RawClient client(server_.port());
    for (const char c : kBind + kBind)
        client.send(std::string(1, c));
    EXPECT_EQ(client.readMessages(2), kBound + kBound);
}

TEST_F(StreamTest, AClientThatHasFinishedSendingGetsItsAnswers) {
    RawClient client(server_.port());
    client.send(kBind + message(2, wire::search({})));
    client.finishSending();
    const auto response = wire::parse(client.readAll());
    EXPECT_EQ(response.entries.size(), 336U);
    EXPECT_EQ(response.code, 0);
    EXPECT_TRUE(client.closed());
}

TEST_F(StreamTest, EveryPrefixThenSilenceDoesNoHarm) {
    const std::string whole = message(2, wire::search({.attributes = {"cn"}}));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        RawClient client(server_.port());
        client.send(whole.substr(0, length));
        client.finishSending();
        EXPECT_EQ(client.readAll(), "") << length;
        EXPECT_TRUE(client.closed());
    }
}

TEST_F(StreamTest, RandomBytesDoNoHarm) {
    std::mt19937 random(1);
    const std::string whole =
        kBind + message(2, wire::search({.attributes = {"cn"}})) +
        message(3, wire::modify("cn=x", {{0, {"cn", {"a"}}}}), wire::control("1.2", true));
    for (int i = 0; i < 500; ++i) {
        std::string bytes = whole;
        for (int changes = 0; changes < 4; ++changes)
            bytes[random() % bytes.size()] = static_cast<char>(random());
        RawClient client(server_.port());
        client.send(bytes);
        client.finishSending();
        client.readAll();
        EXPECT_TRUE(client.closed());
    }
    expectServes(server_);
}

TEST_F(StreamTest, AMessageIdInUseEndsTheConnection) {
    RawClient client(server_.port());
    const std::string search = message(5, wire::search({.attributes = {"*"}}));
    client.send(search + search);
    const auto all = wire::elements(client.readAll());
    EXPECT_EQ(wire::parse(wire::tlv(0x30, all.back().content)).id, 0);
}

TEST_F(StreamTest, AbandonedAndUnboundSearchesAreSilent) {
    RawClient abandoning(server_.port());
    abandoning.send(message(5, wire::search({})) + message(6, wire::tlv(0x50, "\x05")) +
                    message(7, wire::bind("", "")));
    const auto response = wire::parse(abandoning.readMessages(1));
    EXPECT_EQ(response.id, 7) << "the search was stopped before its first entry";
    RawClient binding(server_.port());
    binding.send(message(5, wire::search({})) + message(7, wire::bind("", "")));
    EXPECT_EQ(wire::parse(binding.readMessages(1)).id, 7);
    RawClient leaving(server_.port());
    leaving.send(message(5, wire::search({})) + message(6, wire::tlv(0x42, "")));
    EXPECT_EQ(leaving.readAll(), "");
}

TEST_F(StreamTest, ManyRequestsAtOnceAreAllAnswered) {
    RawClient client(server_.port());
    std::string requests;
    for (std::uint8_t id = 1; id <= 120; ++id)
        requests += message(id, wire::search({.base = "ou=servers,dc=example,dc=com", .scope = 1}));
    client.send(requests);
    const auto response = wire::parse(client.readMessages(120 * 4));
    EXPECT_EQ(response.entries.size(), 360U);
    EXPECT_EQ(response.messages, 480U);
}

TEST_F(StreamTest, AClientThatDoesNotReadStopsOnlyItself) {
    RawClient stuck(server_.port());
    // Each answer is some 150 kB: what is asked for here would fill gigabytes.
    std::string request;
    for (std::uint8_t id = 1; id <= 100; ++id)
        request += message(id, wire::search({.attributes = {"*", "+"}}));
    EXPECT_TRUE(stuck.fill(request, kTooMuch)) << "the server went on reading";
    expectServes(server_);
    EXPECT_LT(server_.residentKilobytes(), 200000);
}

TEST_F(StreamTest, SmallAnswersThatAreNotReadAreBoundedToo) {
    RawClient stuck(server_.port());
    std::string request;
    for (int i = 0; i < 10000; ++i)
        request += kBind;
    EXPECT_TRUE(stuck.fill(request, kTooMuch)) << "the server went on reading";
    expectServes(server_);
    EXPECT_LT(server_.residentKilobytes(), 200000);
}

TEST_F(StreamTest, TwoHundredClientsAtOnce) {
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 200; ++i)
        clients.push_back(std::make_unique<RawClient>(server_.port()));
    for (const auto &client : clients)
        client->send(kBind + message(2, wire::search({})));
    for (const auto &client : clients) {
        const auto response = wire::parse(client->readMessages(338));
        EXPECT_EQ(response.entries.size(), 336U);
        EXPECT_EQ(response.code, 0);
    }
    RawClient last(server_.port());
    last.send(message(
        1, wire::search({.base = "cn=monitor", .scope = 0, .attributes = {"connections"}})));
    const auto response = wire::parse(last.readMessages(2));
    EXPECT_EQ(response.entryAttributes.at(0).at(0).values, std::vector<std::string>{"201"});
}

TEST_F(StreamTest, ClientsThatComeAndGoLeaveNothing) {
    for (int i = 0; i < 300; ++i)
        expectServes(server_);
    const long before = server_.residentKilobytes();
    for (int i = 0; i < 3000; ++i)
        RawClient(server_.port()).send(kBind);
    expectServes(server_);
    EXPECT_LT(server_.residentKilobytes(), before + 8000);
}

TEST(Faults, DelayedAnswersDoNotKeepOthersWaiting) {
    SimProgram server({"--fault", "get-bind-dn=delay:400", "--fault", "who-am-i=drop"});
    RawClient slow(server.port());
    const auto began = std::chrono::steady_clock::now();
    slow.send(message(1, wire::extended(wire::strataOid(31))) + message(2, wire::bind("", "")) +
              message(3, wire::extended(wire::strataOid(31))) +
              message(4, wire::search({.base = "", .scope = 0})));
    const auto first = wire::parse(slow.readMessages(3));
    EXPECT_EQ(first.id, 4) << "the bind stopped the first one";
    EXPECT_LT(std::chrono::steady_clock::now() - began, 350ms);
    EXPECT_EQ(wire::parse(slow.readMessages(1)).id, 3);
    EXPECT_GE(std::chrono::steady_clock::now() - began, 400ms);
    RawClient dropped(server.port());
    dropped.send(message(1, wire::extended("1.3.6.1.4.1.4203.1.11.3")));
    EXPECT_EQ(dropped.readAll(), "");
    EXPECT_TRUE(dropped.closed());
}

} // namespace
