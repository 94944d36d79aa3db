#include "in_process.h"
#include "process_state.h"
#include "tls_client.h"
#include "tls_server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <sys/resource.h>

namespace {

using namespace std::chrono_literals;
using wire::message;
using wire::tlv;

void expectServed(RawClient &client, const char *why = "") {
    client.send(message(1, kAnonymousBind));
    EXPECT_EQ(client.readMessages(1), kBoundAnonymously) << why;
}

std::string repeat(const std::string &part, std::size_t size) {
    std::string all;
    all.reserve(size + part.size());
    while (all.size() < size)
        all += part;
    return all;
}

// Nearly as much as a message may have.
constexpr std::size_t kLarge = 15U * 1024 * 1024;

/** A large request that would keep the server busy or fill its memory, and its result. */
struct Costly {
    const char *what;
    std::function<std::string()> op;
    int code;
};

std::string searchFor(const std::string &filter) {
    return wire::search({.filter = filter});
}

std::string searchWithNames() {
    const std::string names = repeat(wire::text("a"), kLarge);
    std::string op = wire::search({.attributes = {}});
    op.resize(op.size() - 2); // the empty list
    return tlv(0x63, op.substr(op[1] == '\x84' ? 6 : 2) + tlv(0x30, names));
}

std::vector<Costly> costlyRequests() {
    const auto name = [] { return repeat("a=b,", kLarge) + "c=d"; };
    return {
        {"a filter of many parts",
         [] {
             return searchFor(tlv(0xa1, repeat({"\x87\0", 2}, kLarge)));
         },
         11},
        {"a filter of many pieces",
         [] {
             const std::string pieces = tlv(0x30, repeat({"\x81\0", 2}, kLarge));
             return searchFor(tlv(0xa4, wire::text("cn") + pieces));
         },
         11},
        {"a filter with a large value",
         [] {
             return searchFor(tlv(0xa9, tlv(0x81, "2.5.13.2") + tlv(0x82, "cn") +
                                            tlv(0x83, std::string(kLarge, 'A'))));
         },
         0},
        {"many attributes", searchWithNames, 11},
        {"a base of many parts", [=] { return wire::search({.base = name()}); }, 34},
        {"a name to bind with", [=] { return wire::bind(name(), "x"); }, 34},
        {"a name to delete", [=] { return wire::remove(name()); }, 34},
        {"many changes",
         [] {
             const std::string change =
                 tlv(0x30, wire::enumerated(0) + wire::attribute({"description", {"x"}}));
             return tlv(0x66, wire::text(kAda) + tlv(0x30, repeat(change, kLarge)));
         },
         11},
    };
}

TEST(Limits, LargeRequestsKeepNobodyWaitingAndDoNotFillTheMemory) {
    const SimProgram server;
    RawClient other(server.port());
    for (const Costly &costly : costlyRequests()) {
        RawClient client(server.port());
        client.send(message(2, costly.op()));
        const auto began = std::chrono::steady_clock::now();
        expectServed(other, costly.what);
        EXPECT_LT(std::chrono::steady_clock::now() - began, 10s) << costly.what;
        EXPECT_EQ(wire::parse(client.readMessages(1)).code, costly.code) << costly.what;
        EXPECT_LT(server.residentKilobytes(), 300000) << costly.what;
    }
}

TEST(Limits, ManyControlsEndTheConnection) {
    InProcess server;
    const std::string one = wire::control("1.2.3", false);
    EXPECT_EQ(server.ask(wire::bind("", ""), repeat(one, 1000 * one.size())).code, 0);
    EXPECT_EQ(server.ask(wire::bind("", ""), repeat(one, 1001 * one.size())).id, 0);
    EXPECT_TRUE(server.closed);
}

/** What is just not too much is served. */
TEST(Limits, AreWhereTheyAreSaidToBe) {
    InProcess server;
    const auto parts = [&](std::size_t count) {
        return server.ask(searchFor(tlv(0xa1, repeat({"\x87\1a", 3}, 3 * (count - 1))))).code;
    };
    EXPECT_EQ(parts(10000), 0);
    EXPECT_EQ(parts(10001), 11);
    const auto attributes = [&](std::size_t count) {
        const std::vector<std::string> names(count, "sn");
        return server.ask(wire::search({.scope = 0, .attributes = names})).code;
    };
    EXPECT_EQ(attributes(1000), 0);
    EXPECT_EQ(attributes(1001), 11);
    const auto name = [&](std::size_t size) {
        return server.ask(wire::remove("cn=" + std::string(size - 3, 'x'))).code;
    };
    EXPECT_EQ(name(16384), 50);
    EXPECT_EQ(name(16385), 34);
    server.bindAdmin();
    const auto changes = [&](std::size_t count) {
        const std::vector<wire::Mod> all(count, {2, {"description", {"x"}}});
        return server.ask(wire::modify(kAda, all)).code;
    };
    EXPECT_EQ(changes(1000), 0);
    EXPECT_EQ(changes(1001), 11);
}

TEST(Limits, AnIdToAbandonHasThirtyOneBits) {
    for (const char *id : {"", "ff", "0080000000", "0100000005", "000000000000000001"}) {
        InProcess server;
        EXPECT_EQ(wire::parse(server.raw(message(1, tlv(0x50, wire::hex(id))))).id, 0) << id;
        EXPECT_TRUE(server.closed) << id;
    }
    for (const char *id : {"00", "05", "7fffffff"}) {
        InProcess server;
        EXPECT_EQ(server.raw(message(1, tlv(0x50, wire::hex(id)))), "") << id;
        EXPECT_FALSE(server.closed) << id;
    }
}

/** Who comes when all places are taken waits, and has one when somebody leaves. */
TEST(Limits, ConnectionsBeyondTheirNumberWait) {
    const TestFile log("connections.log");
    const SimProgram server({"--max-connections", "3"}, log.path());
    std::list<RawClient> clients;
    for (int i = 0; i < 5; ++i)
        clients.emplace_back(server.port());
    for (auto client = clients.begin(); client != std::next(clients.begin(), 3); ++client)
        expectServed(*client);
    clients.back().send(message(1, kAnonymousBind));
    EXPECT_EQ(clients.back().readAll(100ms), "");
    clients.pop_front();
    clients.pop_front();
    EXPECT_EQ(clients.back().readMessages(1), kBoundAnonymously);
    EXPECT_EQ(log.read(), "strata-sim: new connections have to wait, 3 are open: there may be no "
                          "more of them (--max-connections)\n");
}

/** Lets the server have that many descriptors; its own process is not to be bothered. */
class FewDescriptors {
  public:
    explicit FewDescriptors(rlim_t most) {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit few{most, before_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    FewDescriptors(const FewDescriptors &) = delete;
    FewDescriptors &operator=(const FewDescriptors &) = delete;

  private:
    rlimit before_{};
};

#ifndef __SANITIZE_ADDRESS__ // which opens a pipe of its own to look at an address, and dies
                             // without
TEST(Limits, WithoutDescriptorsItSaysSoOnceAndGoesOnWhenThereAreSome) {
    const TestFile log("descriptors.log");
    std::unique_ptr<SimProgram> server;
    {
        const FewDescriptors few(40);
        server = std::make_unique<SimProgram>(std::vector<std::string>{}, log.path());
    }
    std::list<RawClient> clients;
    for (int i = 0; i < 60; ++i)
        clients.emplace_back(server->port());
    EXPECT_TRUE(becomes(10s, [&] { return !log.read().empty(); }));
    const long before = processorTicks(server->pid());
    expectServed(clients.front(), "one that was there before");
    clients.back().send(message(1, kAnonymousBind));
    EXPECT_EQ(clients.back().readAll(500ms), "");
    EXPECT_LE(processorTicks(server->pid()) - before, 10) << "of 50 that spinning would take";
    while (clients.size() > 10)
        clients.pop_front();
    EXPECT_EQ(clients.back().readMessages(1), kBoundAnonymously);
    const std::string said = log.read();
    EXPECT_TRUE(contains(said, "new connections have to wait")) << said;
    EXPECT_TRUE(contains(said, "Too many open files")) << said;
    EXPECT_EQ(said.find('\n'), said.size() - 1) << "it is said once";
}
#endif

class IdleTest : public testing::Test {
  protected:
    SimProgram server_{{"--idle-time", "1"}};
};

TEST_F(IdleTest, WhoSaysNothingIsLetGo) {
    RawClient silent(server_.port());
    RawClient half(server_.port());
    half.send(message(1, kAnonymousBind).substr(0, 5));
    RawClient bound(server_.port());
    expectServed(bound);
    for (RawClient *client : {&silent, &half, &bound}) {
        EXPECT_EQ(client->readAll(10s), "");
        EXPECT_TRUE(client->closed());
    }
}

TEST_F(IdleTest, WhoTakesNothingIsLetGo) {
    RawClient stuck(server_.port());
    std::string request;
    for (std::uint8_t id = 1; id <= 100; ++id)
        request += message(id, wire::search({.attributes = {"*", "+"}}));
    stuck.send(request);
    RawClient watcher(server_.port());
    const auto connections = [&] {
        watcher.send(message(
            1, wire::search({.base = "cn=monitor", .scope = 0, .attributes = {"connections"}})));
        return wire::parse(watcher.readMessages(2)).entryAttributes.at(0).at(0).values.at(0);
    };
    EXPECT_TRUE(becomes(10s, [&] { return connections() == "1"; })) << connections();
}

TEST_F(IdleTest, WhoWaitsForWhatHappensIsNot) {
    RawClient watching(server_.port());
    const std::string value =
        tlv(0x30, wire::number(15) + wire::boolean(true) + wire::boolean(false));
    watching.send(message(2, wire::search({.base = kTop, .scope = 0}),
                          wire::control("2.16.840.1.113730.3.4.3", true, &value)));
    RawClient silent(server_.port());
    EXPECT_EQ(silent.readAll(10s), "");
    EXPECT_TRUE(silent.closed());
    EXPECT_EQ(watching.readAll(1500ms), "");
    EXPECT_FALSE(watching.closed());
}

TEST(Idle, WithTlsAndAFarewell) {
    TlsServer server({"--idle-time", "1"});
    TlsClient client(server.port());
    EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
    EXPECT_EQ(client.readAll(), "");
    EXPECT_TRUE(client.closedProperly());
}

} // namespace
