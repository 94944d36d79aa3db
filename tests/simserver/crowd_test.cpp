#include "process_state.h"
#include "tls_client.h"
#include "tls_server.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <list>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

namespace {

using namespace std::chrono_literals;
using wire::message;

constexpr int kMany = 1000;

/** Many connections need more descriptors, here and in the server, than are usually given. */
class CrowdTest : public testing::Test {
  protected:
    void SetUp() override {
        constexpr rlim_t needed = 2 * kMany;
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < needed) {
            limit.rlim_cur = needed;
            ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0)
                << needed << " descriptors are needed and " << limit.rlim_max
                << " are allowed: raise the hard limit (ulimit -Hn)";
        }
    }

    static std::list<RawClient> connect(const SimProgram &server, int count) {
        std::list<RawClient> clients;
        for (int i = 0; i < count; ++i)
            clients.emplace_back(server.port());
        return clients;
    }

    /** How many connections the server counts, that of the question included. */
    static std::string connections(const SimProgram &server) {
        RawClient client(server.port());
        const std::string base = "cn=monitor";
        client.send(
            message(1, wire::search({.base = base, .scope = 0, .attributes = {"connections"}})));
        return wire::parse(client.readMessages(2)).entryAttributes.at(0).at(0).values.at(0);
    }

    static void expectEndsAtOnce(SimProgram &server, int signal) {
        const auto began = std::chrono::steady_clock::now();
        EXPECT_EQ(server.stop(signal), 0);
        EXPECT_LT(std::chrono::steady_clock::now() - began, 5s);
    }
};

void expectBound(RawClient &client) {
    client.send(message(1, kAnonymousBind));
    EXPECT_EQ(client.readMessages(1), kBoundAnonymously);
}

TEST_F(CrowdTest, AThousandConnectionsIdleAndWorking) {
    SimProgram server;
    std::list<RawClient> clients = connect(server, kMany);
    const std::string search = message(2, wire::search({.base = "ou=groups,dc=example,dc=com"}));
    int number = 0;
    for (RawClient &client : clients)
        if (++number % 10 == 0)
            client.send(search);
    number = 0;
    for (RawClient &client : clients)
        if (++number % 10 == 0) {
            const auto found = wire::parse(client.readMessages(8));
            EXPECT_EQ(found.code, 0);
            EXPECT_EQ(found.entries.size(), 7U);
        }
    for (RawClient &client : clients)
        expectBound(client);
    EXPECT_EQ(connections(server), std::to_string(kMany + 1));
    EXPECT_LT(server.residentKilobytes(), 400000);
    expectEndsAtOnce(server, SIGTERM);
    for (RawClient &client : clients)
        EXPECT_EQ(client.readAll(10s), "");
}

TEST_F(CrowdTest, ASignalEndsItUnderLoad) {
    SimProgram server;
    std::list<RawClient> clients = connect(server, kMany);
    std::string searches;
    for (std::uint8_t id = 1; id <= 100; ++id)
        searches += message(id, wire::search({.attributes = {"*", "+"}}));
    int number = 0;
    for (RawClient &client : clients)
        if (++number % 50 == 0)
            client.send(searches); // whose answers nobody reads
    expectBound(clients.front());
    expectEndsAtOnce(server, SIGINT);
}

TEST_F(CrowdTest, ASignalEndsItAmidHandshakes) {
    TlsServer server;
    std::list<RawClient> clients = connect(server.program(), 200);
    const std::string hello = clientHello();
    std::size_t length = 0;
    for (RawClient &client : clients)
        client.send(hello.substr(0, length++ * 2));
    TlsClient connected(server.port());
    EXPECT_EQ(connected.ask(kAnonymousBind), kBoundAnonymously);
    expectEndsAtOnce(server.program(), SIGTERM);
    EXPECT_EQ(connected.readAll(), "");
}

/** How a client leaves. */
enum class Leaving { Closes, Resets, ReadsNoMore };

/** A socket of a client that sends some bytes and leaves. */
void visit(int port, const std::string &bytes, Leaving leaving) {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(client, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    if (leaving == Leaving::ReadsNoMore)
        shutdown(client, SHUT_RD);
    send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    const linger atOnce{1, 0};
    if (leaving == Leaving::Resets)
        setsockopt(client, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    close(client);
}

TEST_F(CrowdTest, WhoComesAndGoesLeavesNothing) {
    SimProgram server;
    const std::size_t descriptors = openDescriptors(server.pid());
    const std::string search = message(2, wire::search({.attributes = {"*", "+"}}));
    const auto come = [&](int times) {
        for (int i = 0; i < times; ++i)
            visit(server.port(),
                  search.substr(0, search.size() - static_cast<std::size_t>(i % 3) * 10),
                  static_cast<Leaving>(i % 4 % 3));
        EXPECT_TRUE(becomes(10s, [&] { return connections(server) == "1"; }));
    };
    come(300);
    const long before = server.residentKilobytes();
    come(1500);
    EXPECT_TRUE(becomes(5s, [&] { return openDescriptors(server.pid()) == descriptors; }))
        << openDescriptors(server.pid()) << " descriptors are open, and were " << descriptors;
    EXPECT_LT(server.residentKilobytes(), before + 16000);
}

TEST_F(CrowdTest, TlsAndLdapOnTheWrongPortsLeaveNothing) {
    TlsServer tls;
    SimProgram plain;
    const std::string hello = clientHello();
    const std::string bind = message(1, kAnonymousBind);
    const std::size_t before = openDescriptors(tls.program().pid());
    for (int i = 0; i < 30; ++i) {
        RawClient toPlain(plain.port());
        toPlain.send(hello);
        const auto notice = wire::parse(toPlain.readAll(10s));
        EXPECT_EQ(notice.oid, "1.3.6.1.4.1.1466.20036");
        EXPECT_EQ(notice.code, 2);
        RawClient toTls(tls.port());
        toTls.send(bind);
        toTls.readAll(10s);
        EXPECT_TRUE(toTls.closed());
    }
    EXPECT_EQ(connections(plain), "1");
    TlsClient client(tls.port());
    EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
    client.finishSending();
    client.readAll();
    EXPECT_TRUE(becomes(5s, [&] { return openDescriptors(tls.program().pid()) == before; }))
        << openDescriptors(tls.program().pid()) << " descriptors are open, and were " << before;
}

/** StartTLS is no operation of this server, whenever it is asked for. */
TEST_F(CrowdTest, StartTlsIsRefusedInAnyState) {
    const std::string startTls = wire::extended("1.3.6.1.4.1.1466.20037");
    SimProgram plain;
    RawClient client(plain.port());
    const auto ask = [&](std::uint8_t id) {
        client.send(message(id, startTls));
        return wire::parse(client.readMessages(1));
    };
    EXPECT_EQ(ask(1).code, 2);
    expectBound(client);
    EXPECT_EQ(ask(2).code, 2) << "after a bind";
    client.send(message(3, wire::search({})) + message(4, startTls));
    const auto both = wire::parse(client.readMessages(338));
    EXPECT_EQ(both.entries.size(), 336U) << "with a search under way";
    expectBound(client);
    TlsServer tls;
    TlsClient inside(tls.port());
    EXPECT_EQ(wire::parse(inside.ask(startTls)).code, 2) << "within TLS";
    EXPECT_EQ(inside.ask(kAnonymousBind), kBoundAnonymously);
}

} // namespace
