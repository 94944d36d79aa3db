#include "events.h"
#include "program.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace std::chrono_literals;
using wire::message;
using wire::number;
using wire::text;
using wire::tlv;

const std::string kBindAdmin = message(1, wire::bind(kAdmin, "secret"));

std::string retitle(std::uint8_t id, const std::string &title, const char *dn = kAda) {
    return message(id, wire::modify(dn, {{2, {"title", {title}}}}));
}

/** Registrations on real connections. */
class EventStreamTest : public testing::Test {
  protected:
    EventStreamTest() {
        writer_.send(kBindAdmin);
        writer_.readMessages(1);
    }

    /** Binds and registers; the answers have been read. */
    std::unique_ptr<RawClient> monitor(const std::vector<Wanted> &wanted) {
        auto client = std::make_unique<RawClient>(server_.port());
        client->send(kBindAdmin + message(2, registration(wanted)));
        EXPECT_EQ(wire::parse(client->readMessages(2)).code, 0);
        return client;
    }
    void write(const std::string &title) {
        writer_.send(retitle(2, title));
        EXPECT_EQ(wire::parse(writer_.readMessages(1)).code, 0);
    }

    SimProgram server_{{"--event-queue", "100000"}};
    RawClient writer_{server_.port()};
};

TEST_F(EventStreamTest, EventsComeUnderTheIdOfTheRegistration) {
    const auto client = monitor({{3}});
    write("x");
    const auto response = wire::parse(client->readMessages(1));
    EXPECT_EQ(response.id, 2);
    EXPECT_EQ(response.op, 0x79);
    EXPECT_EQ(response.events.size(), 1U);
}

TEST_F(EventStreamTest, SeveralRegistrationsOnOneConnection) {
    RawClient client(server_.port());
    client.send(kBindAdmin);
    for (std::uint8_t id = 2; id <= 120; ++id)
        client.send(message(id, registration({{3}})));
    client.readMessages(120);
    write("x");
    std::set<int> ids;
    for (const wire::Element &each : wire::elements(client.readMessages(119)))
        ids.insert(wire::parse(tlv(0x30, each.content)).id);
    EXPECT_EQ(ids.size(), 119U) << "more of them than other operations may be under way";
    client.send(message(121, tlv(0x50, "\x05")));
    client.send(message(122, wire::compare(kAda, "cn", "x")));
    EXPECT_EQ(wire::parse(client.readMessages(1)).id, 122);
    write("y");
    ids.clear();
    for (const wire::Element &each : wire::elements(client.readMessages(118)))
        ids.insert(wire::parse(tlv(0x30, each.content)).id);
    EXPECT_FALSE(ids.contains(5));
    EXPECT_EQ(ids.size(), 118U);
}

TEST_F(EventStreamTest, ABindEndsThem) {
    const auto client = monitor({{3}});
    client->send(message(3, wire::bind("", "")));
    EXPECT_EQ(wire::parse(client->readMessages(1)).id, 3);
    write("x");
    client->send(message(4, wire::bind("", "")));
    EXPECT_EQ(wire::parse(client->readMessages(1)).id, 4) << "no event before it";
}

TEST_F(EventStreamTest, AMessageIdInUseEndsTheConnection) {
    const auto client = monitor({{3}});
    client->send(message(2, wire::compare(kAda, "cn", "x")));
    EXPECT_EQ(wire::parse(client->readAll()).id, 0);
    EXPECT_TRUE(client->closed());
}

TEST_F(EventStreamTest, AClientThatHasFinishedSendingIsLetGo) {
    const auto client = monitor({{3}});
    client->finishSending();
    EXPECT_EQ(client->readAll(), "");
    EXPECT_TRUE(client->closed());
    write("x");
}

TEST_F(EventStreamTest, OnItsOwnConnectionAnEventComesAfterTheAnswer) {
    const auto client = monitor({{3}, {17}, {23}});
    const std::string own = client->readMessages(1);
    EXPECT_EQ(wire::parse(own).events.size(), 1U) << "the response to the registration";
    client->send(retitle(3, "x"));
    const auto all = wire::elements(client->readMessages(4));
    ASSERT_EQ(all.size(), 4U);
    std::string types;
    for (const wire::Element &each : all) {
        const auto response = wire::parse(tlv(0x30, each.content));
        if (response.events.empty())
            types += 'a';
        else
            types += wire::elements(wire::elements(response.events[0])[0].content)[0].content;
    }
    EXPECT_EQ(types, "a\x03\x11\x17");
}

TEST_F(EventStreamTest, ConnectionsComeAndGo) {
    const auto client = monitor({{8}, {11}, {12}});
    // The fixture's connection is the first one, the monitor's the second.
    const auto fields = [](const std::string &value) {
        return wire::elements(wire::elements(value).at(0).content);
    };
    auto other = std::make_unique<RawClient>(server_.port());
    const auto opened = wire::parse(client->readMessages(2));
    ASSERT_EQ(opened.events.size(), 2U);
    const auto connection = fields(opened.events[0]);
    ASSERT_EQ(connection.size(), 5U);
    EXPECT_EQ(connection[0].content, "\x0b");
    EXPECT_EQ(connection[3].content, "\x01");
    const std::string address = connection[4].content;
    ASSERT_EQ(address.size(), 6U);
    EXPECT_EQ(address.substr(0, 4), wire::hex("7f000001"));
    const int port =
        static_cast<unsigned char>(address[4]) * 256 + static_cast<unsigned char>(address[5]);
    EXPECT_EQ(tlv(connection[2].tag, connection[2].content),
              tlv(0x72, number(3) + number(3) + text("127.0.0.1:" + std::to_string(port))));
    EXPECT_EQ(opened.events[1], event(8, 0, tlv(0x68, number(1) + text(address))));
    other.reset();
    const auto closed = wire::parse(client->readMessages(1));
    ASSERT_EQ(closed.events.size(), 1U);
    EXPECT_EQ(closed.events[0],
              event(12, 0,
                    tlv(0x72, number(3) + number(2) + text("127.0.0.1:" + std::to_string(port))),
                    number(1) + text(address)));
}

TEST_F(EventStreamTest, AMonitorThatDoesNotReadStopsNobody) {
    const auto stuck = monitor({{5}});
    const auto reading = monitor({{5}});
    const long before = server_.residentKilobytes();
    const std::string large(30000, 't');
    constexpr std::size_t changes = 1000; // 30 MB: more than sockets and the server hold
    for (std::size_t i = 0; i < changes; ++i) {
        write(large + std::to_string(i));
        EXPECT_EQ(wire::parse(reading->readMessages(1)).events.size(), 1U);
    }
    EXPECT_LT(server_.residentKilobytes(), before + 20000);
    // What it has got is a beginning without gaps; then it is told that there is no more.
    std::size_t heard = 0;
    wire::Response last;
    for (; last.code == -1 && heard < changes; heard += last.events.size()) {
        last = wire::parse(stuck->readMessages(1));
        for (const std::string &value : last.events)
            EXPECT_NE(value.find("t" + std::to_string(heard)), std::string::npos);
    }
    EXPECT_EQ(last.code, 51);
    EXPECT_LT(heard, changes);
    EXPECT_NE(last.diagnostic.find(std::to_string(heard) + " events were delivered"),
              std::string::npos)
        << last.diagnostic << " " << heard;
    stuck->send(message(3, wire::compare(kAda, "cn", "x")));
    EXPECT_EQ(wire::parse(stuck->readMessages(1)).id, 3) << "the connection goes on";
}

TEST_F(EventStreamTest, TwoHundredMonitorsAtOnce) {
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 200; ++i)
        clients.push_back(monitor({{3}}));
    constexpr std::size_t changes = 50;
    for (std::size_t i = 0; i < changes; ++i)
        write(std::to_string(i));
    std::string first;
    for (const auto &client : clients) {
        const std::string all = client->readMessages(changes);
        EXPECT_EQ(wire::parse(all).events.size(), changes);
        EXPECT_EQ(first.empty() ? all : first, all) << "all of them hear the same";
        first = all;
    }
}

TEST_F(EventStreamTest, ADelayedAnswerComesBeforeTheEvents) {
    SimProgram server({"--fault", "monitor-events=delay:200"});
    RawClient client(server.port());
    client.send(kBindAdmin + message(2, registration({{3}})) + retitle(3, "x"));
    const auto all = wire::elements(client.readMessages(4));
    ASSERT_EQ(all.size(), 4U);
    std::string ops;
    for (const wire::Element &each : all)
        ops += static_cast<char>(wire::parse(tlv(0x30, each.content)).op);
    EXPECT_EQ(ops, "\x61\x67\x78\x79");
}

TEST_F(EventStreamTest, ThePersistentSearchBesideItGoesOn) {
    const auto client = monitor({{23, 2}});
    client->send(message(3, wire::search({.base = kTop})));
    EXPECT_EQ(wire::parse(client->readMessages(337)).entries.size(), 336U);
}

} // namespace
