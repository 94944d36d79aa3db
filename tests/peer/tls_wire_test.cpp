// What the network does to records of TLS: pieces, pauses, ends; and servers that are none.
#include "directory.h"
#include "openssl_server.h"
#include "persistent_search.h"
#include "session_check.h"
#include "support/ldap_message.h"
#include "tls_client.h"
#include "tls_listener.h"
#include "tls_relay.h"
#include "tls_slapd.h"

#include <chrono>

namespace test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr char ada[] = "cn=Ada,ou=people,dc=example,dc=com";

class TlsWire : public WithTls {
  protected:
    static void SetUpTestSuite() { server = std::make_unique<TlsSlapd>(); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        WithTls::SetUp();
        trust("ca.pem");
        relay = std::make_unique<TlsRelay>(server->port());
        session = newSession(relay->uri());
        ld = session.get();
    }
    void TearDown() override {
        session.reset();
        relay.reset();
        WithTls::TearDown();
    }

    [[nodiscard]] int search() const {
        int id = -1;
        EXPECT_EQ(ldap_search_ext(ld, ada, LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr, nullptr,
                                  nullptr, LDAP_NO_LIMIT, &id),
                  LDAP_SUCCESS);
        return id;
    }

    [[nodiscard]] int resultWithin(int id, timeval patience) const {
        LDAPMessage *message = nullptr;
        int type = ldap_result(ld, id, LDAP_MSG_ALL, &patience, &message);
        ldap_msgfree(message);
        return type;
    }

    static inline std::unique_ptr<TlsSlapd> server;
    std::unique_ptr<TlsRelay> relay;
    SessionPtr session;
    LDAP *ld = nullptr;
};

// Of bytes that are records of TLS and nothing else.
char lastRecordType(const std::string &bytes) {
    char type = 0;
    for (std::size_t at = 0; at + 5 <= bytes.size();) {
        type = bytes[at];
        at += 5 + static_cast<std::size_t>(static_cast<unsigned char>(bytes[at + 3]) * 256 +
                                           static_cast<unsigned char>(bytes[at + 4]));
    }
    return type;
}

TEST_F(TlsWire, Pieces) {
    for (std::size_t size : {1U, 2U, 5U, 100U}) {
        relay->cutInto(size);
        SessionPtr own = newSession(relay->uri());
        EXPECT_EQ(attempt(own.get()).result, LDAP_SUCCESS) << size;
        expectSearchWorks(own.get(), ada);
        expectSearchWorks(own.get(), "");
    }
}

// The second of two answers in one record is no longer on the socket when it is asked for.
TEST_F(TlsWire, TwoAnswersInOneRecord) {
    using namespace qldapx_test;
    OpenSslServer packing("good");
    SessionPtr own = newSession(packing.uri());
    ld = own.get();
    const int first = search(), second = search();
    ASSERT_FALSE(packing.read(1).empty());
    const Bytes answers =
        join({ldapMessage(first, searchDone(0)), ldapMessage(second, searchDone(0))});
    packing.write(std::string(answers.begin(), answers.end()));
    EXPECT_EQ(resultWithin(first, {10, 0}), LDAP_RES_SEARCH_RESULT);
    EXPECT_EQ(resultWithin(second, {1, 0}), LDAP_RES_SEARCH_RESULT);
    ld = session.get();
}

// TLS says that it ends (RFC 5246, 7.2.1), so that nobody else can make it look so.
TEST_F(TlsWire, LastRecordIsAnAlert) {
    OpenSslServer server12("good", {"-tls1_2"});
    TlsRelay between(server12.port());
    SessionPtr own = newSession(between.uri());
    EXPECT_EQ(ldap_connect(own.get()), LDAP_SUCCESS) << diagnosticOf(own.get());
    own.reset();
    constexpr char alert = 21;
    EXPECT_TRUE(eventually([&] { return lastRecordType(between.fromClients().front()) == alert; }));
}

// libldap with OpenSSL has no words for it.
void expectSaysHowItEnded(const TlsAttempt &given) {
    EXPECT_EQ(given.result, LDAP_SERVER_DOWN);
    EXPECT_EQ(given.diagnostic.empty(), libldapHasOpenSsl()) << given.diagnostic;
}

// Where the connection ends, and what of it had come until then.
TEST_F(TlsWire, EndWithinTheHandshake) {
    for (std::size_t count : {0U, 3U, 90U, 700U}) {
        SCOPED_TRACE(count);
        relay->passOnly(count, TlsRelay::Then::close);
        expectSaysHowItEnded(attempt(ld));
    }
    relay->passAll();
    EXPECT_EQ(attempt(ld).result, LDAP_SUCCESS);
}

TEST_F(TlsWire, EndWithinAnAnswer) {
    for (std::size_t count : {0U, 3U, 5U, 40U}) {
        SCOPED_TRACE(count);
        relay->passAll();
        session = newSession(relay->uri());
        ld = session.get();
        ASSERT_EQ(attempt(ld).result, LDAP_SUCCESS);
        relay->passOnly(count, TlsRelay::Then::close);
        EXPECT_EQ(resultWithin(search(), {10, 0}), -1);
        int code = 0;
        ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
        EXPECT_EQ(code, LDAP_SERVER_DOWN);
    }
}

TEST_F(TlsWire, ServerThatSpeaksSomethingElse) {
    TlsListener listener("HTTP/1.1 400 Bad Request\r\n\r\n");
    expectRefused(attempt(listener.uri()), "wrong version number");
}

TEST_F(TlsWire, ServerThatSpeaksLdapWithoutTls) {
    SlapdServer plain(SlapdServer::Transport::tcp);
    expectSaysHowItEnded(attempt("ldaps" + plain.uri().substr(4)));
}

TEST_F(TlsWire, ServerThatEndsAtOnce) {
    TlsListener listener("");
    expectSaysHowItEnded(attempt(listener.uri()));
}

// libldap's own TLS waits for the rest of a record, however little time there is.
using TlsCarriedRecord = TlsWire;

// Some of a record is there, but no answer: who does not want to wait is not kept waiting.
TEST_F(TlsCarriedRecord, HalfARecordKeepsNobodyWaiting) {
    ASSERT_EQ(attempt(ld).result, LDAP_SUCCESS);
    for (std::size_t count : {0U, 1U, 4U, 5U, 6U, 20U}) {
        SCOPED_TRACE(count);
        relay->passOnly(count, TlsRelay::Then::hold);
        int id = search();
        ASSERT_TRUE(relay->awaitHeld());
        Clock::time_point begin = Clock::now();
        EXPECT_EQ(resultWithin(id, {0, 0}), 0);
        EXPECT_EQ(resultWithin(id, {0, 50000}), 0);
        EXPECT_EQ(resultWithin(id, {0, 200000}), 0);
        EXPECT_LT(Clock::now() - begin, milliseconds(3000));
        EXPECT_GE(Clock::now() - begin, milliseconds(200));
        relay->passAll();
        EXPECT_GT(resultWithin(id, {10, 0}), 0);
    }
}

// libldap's own handshake with OpenSSL waits in a loop of its own that no time-out ends.
class TlsCarriedTimeout : public TlsWire {
  protected:
    static void expectTimeout(LDAP *ld) {
        timeval patience{0, 500000};
        ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &patience);
        Clock::time_point begin = Clock::now();
        expectRefused(attempt(ld), "TLS handshake timed out");
        EXPECT_GE(Clock::now() - begin, milliseconds(450));
        EXPECT_LT(Clock::now() - begin, milliseconds(5000));
    }
};

TEST_F(TlsCarriedTimeout, SilentServer) {
    TlsListener listener;
    SessionPtr silent = newSession(listener.uri());
    expectTimeout(silent.get());
}

TEST_F(TlsCarriedTimeout, ServerThatFallsSilent) {
    for (std::size_t count : {1U, 5U, 90U, 500U}) {
        relay->passOnly(count, TlsRelay::Then::hold);
        expectTimeout(ld);
    }
    relay->passAll();
    EXPECT_EQ(attempt(ld).result, LDAP_SUCCESS);
    expectSearchWorks(ld, ada);
}

TEST_F(TlsCarriedTimeout, ListOfServersOfWhichTheFirstIsSilent) {
    TlsListener listener;
    SessionPtr list = newSession(listener.uri() + " " + relay->uri());
    timeval patience{0, 500000};
    ldap_set_option(list.get(), LDAP_OPT_NETWORK_TIMEOUT, &patience);
    EXPECT_EQ(attempt(list.get()).result, LDAP_SUCCESS) << diagnosticOf(list.get());
    expectSearchWorks(list.get(), ada);
}

// A server that takes its time has it: the time-out of the network is none of an answer's.
TEST_F(TlsCarriedTimeout, SessionOutlivesTheTimeout) {
    timeval patience{0, 300000};
    ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &patience);
    ASSERT_EQ(attempt(ld).result, LDAP_SUCCESS);
    relay->passOnly(3, TlsRelay::Then::hold);
    int id = search();
    ASSERT_TRUE(relay->awaitHeld());
    EXPECT_EQ(resultWithin(id, {0, 600000}), 0);
    relay->passAll();
    EXPECT_GT(resultWithin(id, {10, 0}), 0);
}

} // namespace
} // namespace test
