#include "program.h"
#include "watch.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace std::chrono_literals;
using wire::message;

const std::string kBindAdmin = message(1, wire::bind(kAdmin, "secret"));

std::string watch(std::uint8_t id, const wire::Search &search = {}) {
    return message(id, wire::search(search), watchControl({}));
}
std::string retitle(std::uint8_t id, const std::string &title, const char *dn = kAda) {
    return message(id, wire::modify(dn, {{2, {"title", {title}}}}));
}
std::string status(std::uint8_t id) {
    const std::string value = wire::hex("3006 8101ff 8201ff");
    return message(id, wire::search({.base = "", .scope = 0}),
                   wire::control("2.16.840.1.907341.1.27.101.40", true, &value));
}

class WatchStreamTest : public testing::Test {
  protected:
    WatchStreamTest() : writer_(server_.port()) {
        writer_.send(kBindAdmin);
        writer_.readMessages(1);
    }

    void write(const std::string &title, const char *dn = kAda) {
        writer_.send(retitle(2, title, dn));
        ASSERT_EQ(wire::parse(writer_.readMessages(1)).code, 0);
    }
    /** Connections and searches, with the ones that ask. */
    std::string load() {
        writer_.send(status(3));
        return wire::parse(writer_.readMessages(2)).controls.at(0).value;
    }
    void awaitLoad(const std::string &expected) {
        for (int tries = 0; tries < 1000 && load() != expected; ++tries)
            continue; // each asks the server, which comes to everything in turn
        EXPECT_EQ(load(), expected);
    }

    SimProgram server_;
    RawClient writer_;
};

TEST_F(WatchStreamTest, TwoHundredClientsHearOfEveryChange) {
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 200; ++i)
        clients.push_back(std::make_unique<RawClient>(server_.port()));
    for (const auto &client : clients)
        client->send(watch(7));
    awaitLoad(wire::hex("3008 810200c9 820200c9"));
    for (int i = 0; i < 5; ++i)
        write(std::to_string(i));
    for (const auto &client : clients) {
        const auto seen = wire::parse(client->readMessages(5));
        EXPECT_EQ(seen.entries, std::vector<std::string>(5, kAda));
        EXPECT_EQ(seen.id, 7);
        EXPECT_EQ(seen.entryControls.at(4).at(0).value, entryChange(4, nullptr, 5));
    }
    clients.clear();
    awaitLoad(wire::hex("3006 810101 820101"));
}

TEST_F(WatchStreamTest, OneConnectionMayHoldTwoHundred) {
    RawClient client(server_.port());
    std::string requests;
    for (int id = 1; id <= 120; ++id)
        requests += watch(static_cast<std::uint8_t>(id));
    client.send(requests);
    client.send(message(121, wire::bind("", ""))); // ends them all
    EXPECT_EQ(wire::parse(client.readMessages(1)).id, 121);
    for (int more = 0; more < 200; ++more) {
        const std::string id = {2, static_cast<char>(more / 100 + 1),
                                static_cast<char>(more % 100)};
        client.send(wire::tlv(0x30, wire::tlv(0x02, id.substr(1)) + wire::search({}) +
                                        wire::tlv(0xa0, watchControl({}))));
    }
    client.send(status(122));
    const auto answer = wire::parse(client.readMessages(2));
    EXPECT_EQ(answer.id, 122) << "it still serves what comes after them";
    EXPECT_EQ(answer.controls.at(0).value, wire::hex("3007 810102 820200c9"));
    write("x");
    EXPECT_EQ(wire::parse(client.readMessages(200)).entries.size(), 200U);
}

TEST_F(WatchStreamTest, AbandonAndBindEndASearch) {
    RawClient client(server_.port());
    client.send(watch(5) + watch(6) + message(7, wire::tlv(0x50, "\x05")) + status(8));
    EXPECT_EQ(wire::parse(client.readMessages(2)).controls.at(0).value,
              wire::hex("3006 810102 820102"));
    write("x");
    EXPECT_EQ(wire::parse(client.readMessages(1)).id, 6);
    client.send(message(9, wire::bind("", "")) + status(10));
    const auto bound = wire::parse(client.readMessages(3));
    EXPECT_EQ(bound.controls.at(0).value, wire::hex("3006 810102 820101"));
    write("y");
    client.send(message(11, wire::bind("", "")));
    EXPECT_EQ(wire::parse(client.readMessages(1)).id, 11) << "nothing of the change before it";
}

TEST_F(WatchStreamTest, AClientThatHasFinishedSendingGetsTheFirstPassAndNoMore) {
    RawClient client(server_.port());
    client.send(message(5, wire::search({}), watchControl({.changesOnly = false})));
    client.finishSending();
    EXPECT_EQ(wire::parse(client.readAll()).entries.size(), 336U);
    EXPECT_TRUE(client.closed()) << "it could never abandon the search";
    awaitLoad(wire::hex("3006 810101 820101"));
}

TEST_F(WatchStreamTest, AnIdleWatchCostsNothing) {
    RawClient client(server_.port());
    client.send(watch(5));
    awaitLoad(wire::hex("3006 810102 820102"));
    const auto ticks = [this] {
        const auto stat = runCommand({"cat", "/proc/" + std::to_string(server_.pid()) + "/stat"});
        std::string text = stat.output.substr(stat.output.rfind(')') + 2);
        for (int fields = 0; fields < 11; ++fields)
            text.erase(0, text.find(' ') + 1);
        return std::stol(text) + std::stol(text.substr(text.find(' ')));
    };
    const long before = ticks();
    EXPECT_EQ(client.readAll(500ms), "");
    EXPECT_LE(ticks() - before, 10) << "of 50 that a busy server would take";
}

TEST_F(WatchStreamTest, AWatcherThatDoesNotReadStopsNobody) {
    RawClient stuck(server_.port());
    RawClient reading(server_.port());
    stuck.send(watch(5, {.base = kAda, .scope = 0, .attributes = {"title"}}));
    reading.send(watch(6, {.base = kAda, .scope = 0, .attributes = {"1.1"}}));
    awaitLoad(wire::hex("3006 810103 820103"));
    const long before = server_.residentKilobytes();
    const std::string large(300000, 't');
    constexpr int changes = 100; // 30 MB: more than sockets and the server hold
    for (int i = 0; i < changes; ++i)
        write(large);
    EXPECT_EQ(wire::parse(reading.readMessages(changes)).entries.size(),
              static_cast<std::size_t>(changes));
    EXPECT_LT(server_.residentKilobytes(), before + 40000);
    // The search that could not keep up is over; what it has got is a beginning without gaps.
    stuck.finishSending();
    const auto all = wire::parse(stuck.readAll());
    EXPECT_EQ(all.code, 11) << all.diagnostic;
    EXPECT_LT(all.entries.size(), static_cast<std::size_t>(changes));
    for (std::size_t i = 0; i < all.entries.size(); ++i)
        EXPECT_EQ(all.entryControls[i].at(0).value,
                  entryChange(4, nullptr, static_cast<std::uint8_t>(i + 1)));
}

} // namespace
