#include "tls_client.h"
#include "tls_server.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <list>

namespace {

using namespace std::chrono_literals;
using wire::message;

class TlsTest : public testing::Test {
  protected:
    void expectServes() {
        TlsClient client(server_.port(), {.ca = server_.ca()});
        EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously) << client.problem();
    }

    TlsServer server_{{"--tls-handshake-time", "2"}};
};

TEST_F(TlsTest, VersionsFrom12On) {
    EXPECT_TRUE(server_.program().uri().starts_with("ldaps://127.0.0.1:"));
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        TlsClient client(server_.port(), {.ca = server_.ca(), .version = version});
        EXPECT_EQ(SSL_version(client.ssl()), version);
        EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
        client.finishSending();
        EXPECT_EQ(client.readAll(), "");
        EXPECT_TRUE(client.closedProperly());
    }
    const TlsClient old(server_.port(), {.version = TLS1_1_VERSION});
    EXPECT_FALSE(old.connected());
    EXPECT_EQ(old.problem(), "tlsv1 alert protocol version");
}

TEST_F(TlsTest, MessagesMayComeByteByByte) {
    TlsClient client(server_.port());
    for (const char c : message(1, kAnonymousBind))
        client.send(std::string(1, c));
    EXPECT_EQ(client.read(kBoundAnonymously.size()), kBoundAnonymously);
}

TEST_F(TlsTest, WhoHasFinishedSendingGetsItsAnswersAndAFarewell) {
    TlsClient client(server_.port());
    client.send(message(1, kAnonymousBind) + message(2, wire::search({.attributes = {"*"}})));
    client.finishSending();
    const std::string all = client.readAll();
    EXPECT_TRUE(all.starts_with(kBoundAnonymously));
    const auto found = wire::parse(all.substr(kBoundAnonymously.size()));
    EXPECT_EQ(found.entries.size(), 336U);
    EXPECT_EQ(found.code, 0);
    EXPECT_TRUE(client.closedProperly());
}

TEST_F(TlsTest, UnbindAndNoticesEndWithAFarewell) {
    for (const std::string &bytes : {wire::hex("3005 020101 4200"), std::string("rubbish")}) {
        TlsClient client(server_.port());
        client.send(bytes);
        const std::string rest = client.readAll();
        EXPECT_EQ(rest.empty(), bytes != "rubbish");
        EXPECT_TRUE(client.closedProperly());
    }
}

TEST_F(TlsTest, WhoDoesNotReadKeepsNobodyWaitingAndGetsAllOfIt) {
    constexpr int requests = 120; // more than all buffers on the way hold
    TlsClient lazy(server_.port());
    for (std::uint8_t id = 1; id <= requests; ++id)
        lazy.send(message(id, wire::search({.attributes = {"*", "+"}})));
    expectServes();
    lazy.finishSending();
    std::size_t done = 0;
    const std::string all = lazy.readAll();
    for (const auto &element : wire::elements(all))
        done += wire::elements(element.content).at(1).tag == 0x65 ? 1 : 0;
    EXPECT_EQ(done, static_cast<std::size_t>(requests));
    EXPECT_GT(all.size(), 16U << 20U);
    EXPECT_TRUE(lazy.closedProperly());
}

TEST_F(TlsTest, ManyAtOnce) {
    std::list<TlsClient> clients;
    for (int i = 0; i < 50; ++i)
        clients.emplace_back(server_.port());
    for (TlsClient &client : clients)
        EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
}

TEST_F(TlsTest, SessionsAreResumed) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        TlsClient::Session session;
        for (int i = 0; i < 5; ++i) {
            TlsClient client(server_.port(), {.version = version, .session = session});
            EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
            EXPECT_EQ(client.resumed(), i > 0) << version;
            session = client.session();
            client.finishSending();
            client.readAll();
        }
    }
}

TEST_F(TlsTest, SessionsAreResumedFromTheCacheAsWell) {
    TlsClient::Session session;
    for (int i = 0; i < 2; ++i) {
        TlsClient client(server_.port(),
                         {.version = TLS1_2_VERSION, .session = session, .tickets = false});
        EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
        EXPECT_EQ(client.resumed(), i > 0);
        session = client.session();
        client.finishSending();
        client.readAll();
    }
}

TEST_F(TlsTest, RenegotiationEndsTheConnection) {
    TlsClient client(server_.port(), {.version = TLS1_2_VERSION});
    EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
    client.beginRenegotiation();
    EXPECT_TRUE(client.awaitEnd()) << "the client says no more";
    expectServes();
}

TEST_F(TlsTest, WhoEndsWithoutAFarewellIsGone) {
    TlsClient client(server_.port());
    EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
    client.cutSending();
    EXPECT_TRUE(client.awaitEnd());
    expectServes();
}

TEST_F(TlsTest, WhatIsNoRecordEndsTheConnection) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        TlsClient client(server_.port(), {.version = version});
        EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
        // A record of application data that nobody has encrypted.
        client.sendRaw(wire::hex("1703030020") + std::string(32, 'x'));
        EXPECT_EQ(client.readAll(), "");
        EXPECT_TRUE(contains(client.problem(), "bad record mac")) << client.problem();
    }
    expectServes();
}

TEST_F(TlsTest, WhatIsNoHandshakeEndsTheConnection) {
    const std::string cases[] = {
        message(1, kAnonymousBind),
        "GET / HTTP/1.1\r\n\r\n",
        std::string(5000, '\xff'),
        std::string(5000, '\0'),
        std::string(100, '\x16'),
        wire::hex("160301ffff") + std::string(70000, 'x'),    // a record that is too long
        wire::hex("1603010004 01ffffff") + std::string(9, 0), // a message that is too long
        wire::hex("1603010004 02000000"),                     // no ClientHello
        wire::hex("160301000401000000"),                      // an empty one
        wire::hex("1503010002 0100"),                         // an alert: close_notify
        wire::hex("1703010002 0100"),                         // data
    };
    for (const std::string &bytes : cases) {
        RawClient client(server_.port());
        client.send(bytes);
        const std::string answer = client.readAll(10s);
        EXPECT_TRUE(client.closed()) << bytes.substr(0, 10);
        EXPECT_TRUE(answer.empty() || answer[0] == '\x15') << "no alert";
    }
    expectServes();
}

TEST_F(TlsTest, HandshakesThatEndInTheMiddleDoNoHarm) {
    const std::string hello = clientHello();
    ASSERT_GT(hello.size(), 100U);
    for (std::size_t length = 0; length <= hello.size(); length += 7) {
        RawClient client(server_.port());
        client.send(hello.substr(0, length));
        client.finishSending();
        client.readAll(10s);
        EXPECT_TRUE(client.closed()) << length;
    }
    for (std::size_t length = 0; length <= hello.size(); length += 50)
        RawClient(server_.port()).send(hello.substr(0, length)); // and closes
    expectServes();
}

TEST_F(TlsTest, HandshakesThatStandStillKeepNobodyWaitingAndAreEnded) {
    const std::string hello = clientHello();
    std::list<RawClient> still;
    for (const std::size_t length : {std::size_t{0}, std::size_t{3}, std::size_t{60}, hello.size()})
        still.emplace_back(server_.port()).send(hello.substr(0, length));
    const auto began = std::chrono::steady_clock::now();
    expectServes();
    EXPECT_LT(std::chrono::steady_clock::now() - began, 1500ms);
    for (RawClient &client : still) {
        client.readAll(10s);
        EXPECT_TRUE(client.closed());
    }
    EXPECT_GT(std::chrono::steady_clock::now() - began, 1500ms);
    expectServes();
}

TEST_F(TlsTest, AConnectionOutlivesTheTimeOfItsHandshake) {
    RawClient still(server_.port());
    TlsClient client(server_.port());
    EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
    still.readAll(10s); // its time is up, and the other's would be
    EXPECT_TRUE(still.closed());
    EXPECT_EQ(client.ask(kAnonymousBind), kBoundAnonymously);
}

TEST_F(TlsTest, SignalsEndItCleanlyInTheMiddleOfHandshakes) {
    TlsServer server; // whose handshakes have 30 s
    RawClient still(server.port());
    still.send(clientHello());
    TlsClient connected(server.port());
    EXPECT_EQ(connected.ask(kAnonymousBind), kBoundAnonymously);
    const auto began = std::chrono::steady_clock::now();
    EXPECT_EQ(server.program().stop(SIGTERM), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - began, 10s);
    EXPECT_EQ(connected.readAll(), "");
    EXPECT_TRUE(connected.closedProperly());
}

} // namespace
