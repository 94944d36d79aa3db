#include "digest.h"
#include "tls_client.h"
#include "tls_server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

namespace {

using namespace std::chrono_literals;
using wire::message;

const std::string kGetBindDn = wire::extended(wire::strataOid(31));

TEST(TlsFaults, SilentSaysNothingForEver) {
    const TlsServer server({"--fault", "tls-handshake@1=silent", "--tls-handshake-time", "1"});
    RawClient client(server.port());
    client.send(clientHello());
    EXPECT_EQ(client.readAll(1300ms), "");
    EXPECT_FALSE(client.closed());
    EXPECT_EQ(TlsClient(server.port()).ask(kAnonymousBind), kBoundAnonymously);
    client.finishSending();
    EXPECT_EQ(client.readAll(10s), "");
    EXPECT_TRUE(client.closed()) << "it has no more to wait for";
}

TEST(TlsFaults, HandshakesGoWrongAsTheyAreCounted) {
    const TlsServer server(
        {"--fault", "tls-handshake@2=closed", "--fault", "tls-handshake@3=garbage"});
    const std::pair<bool, const char *> expected[] = {
        {true, ""},
        {false, "unexpected eof while reading"},
        {false, "wrong version number"},
        {true, ""},
    };
    for (const auto &[connected, problem] : expected) {
        const TlsClient client(server.port());
        EXPECT_EQ(client.connected(), connected);
        EXPECT_EQ(client.problem(), problem);
    }
}

TEST(TlsFaults, ClosedIsInTheMiddleOfAMessage) {
    const TlsServer server({"--fault", "tls-handshake=closed"});
    RawClient client(server.port());
    client.send(clientHello());
    const std::string answer = client.readAll(10s);
    EXPECT_TRUE(client.closed());
    EXPECT_TRUE(answer.starts_with(wire::hex("160303007a 02"))) << "a ServerHello begins";
    EXPECT_LT(answer.size(), 0x7aU);
}

TEST(TlsFaults, DelayedHandshakesDoNotKeepOthersWaiting) {
    const TlsServer server({"--fault", "tls-handshake@1=delay:600"});
    const auto began = std::chrono::steady_clock::now();
    RawClient slow(server.port());
    slow.send(clientHello());
    EXPECT_EQ(TlsClient(server.port()).ask(kAnonymousBind), kBoundAnonymously);
    EXPECT_LT(std::chrono::steady_clock::now() - began, 350ms);
    EXPECT_EQ(slow.readAll(200ms), "");
    EXPECT_EQ(slow.readAll(700ms).substr(0, 1), "\x16");
}

TEST(TlsFaults, ADelayDoesNotKeepTheServerFromEnding) {
    TlsServer server({"--fault", "tls-handshake=delay:60000"});
    RawClient slow(server.port());
    slow.send(clientHello());
    EXPECT_EQ(slow.readAll(200ms), "");
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(server.program().stop(SIGTERM), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - began, 10s);
}

TEST(TlsFaults, CutLeavesOutTheFarewell) {
    for (const std::vector<std::string> &faults :
         {std::vector<std::string>{"--fault", "get-bind-dn=cut"},
          {"--fault", "get-bind-dn=cut", "--fault", "get-bind-dn=delay:50"},
          {"--fault", "digest-md5-challenge=cut"}}) {
        const TlsServer server(faults);
        TlsClient client(server.port());
        const bool bind = faults.back() == "digest-md5-challenge=cut";
        client.send(message(1, bind ? digest_client::begin() : kGetBindDn));
        const auto response = wire::parse(client.readAll());
        EXPECT_EQ(response.code, bind ? 14 : 0);
        EXPECT_FALSE(client.closedProperly());
        EXPECT_EQ(client.problem(), "unexpected eof while reading");
    }
}

TEST(TlsFaults, DropHasItsFarewell) {
    const TlsServer server({"--fault", "get-bind-dn=drop"});
    TlsClient client(server.port());
    client.send(message(1, kGetBindDn));
    EXPECT_EQ(client.readAll(), "");
    EXPECT_TRUE(client.closedProperly());
}

TEST(TlsFaults, WithoutTlsCutOnlyEndsTheConnection) {
    const SimProgram server({"--fault", "get-bind-dn=cut"});
    RawClient client(server.port());
    client.send(message(1, kGetBindDn) + message(2, kGetBindDn));
    EXPECT_EQ(wire::parse(client.readAll()).code, 0);
    EXPECT_TRUE(client.closed());
}

} // namespace
