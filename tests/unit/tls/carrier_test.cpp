// TLS where libldap is built without OpenSSL: the library carries it.
#include "session.h"
#include "tls_server.h"

#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace test;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class TlsCarrier : public testing::Test {
  protected:
    ~TlsCarrier() override { ldapssl_client_deinit(); }

    void trust() {
        ASSERT_EQ(ldapssl_client_init(nullptr), 0);
        const std::string bytes = authority_.own().der();
        const berval buffer = {bytes.size(), const_cast<char *>(bytes.data())};
        ASSERT_EQ(ldapssl_add_trusted_cert(&buffer, QLDAPX_TLS_BUFFER_DER), 0);
    }

    Authority authority_;
};

TEST_F(TlsCarrier, GoesThroughAWholeSession) {
    trust();
    TlsServer server(authority_.issue());
    Session session = openSession(server.port());
    EXPECT_EQ(bindAnonymously(session), LDAP_SUCCESS);
    EXPECT_EQ(textOption(session, LDAP_OPT_URI),
              "ldaps://127.0.0.1:" + std::to_string(server.port()));
    EXPECT_EQ(ldap_tls_inplace(session.get()), 0) << "it is not libldap's";
    session.reset();
    const TlsServer::Seen seen = server.seen(1)[0];
    EXPECT_EQ(seen.requests, 2U);
    EXPECT_TRUE(seen.isUnbound);
    EXPECT_TRUE(seen.isClosed);
}

TEST_F(TlsCarrier, ServesSessionsThatLibldapOpened) {
    trust();
    TlsServer server(authority_.issue());
    LDAP *ld = nullptr;
    ASSERT_EQ(ldap_initialize(&ld, ("ldaps://localhost:" + std::to_string(server.port())).c_str()),
              LDAP_SUCCESS);
    const Session session(ld);
    EXPECT_EQ(bindAnonymously(session), LDAP_SUCCESS);
}

struct Server {
    const char *name;
    Statement statement;
    bool isTrusted;
    const char *host;
    const char *reason; // NULL: it is accepted
};

void PrintTo(const Server &server, std::ostream *out) {
    *out << server.name;
}

class TlsServers : public testing::TestWithParam<Server> {
  protected:
    ~TlsServers() override { ldapssl_client_deinit(); }
};

// A server that is refused gets no LDAP.
TEST_P(TlsServers, AreAcceptedOrRefused) {
    const Server &row = GetParam();
    const Authority authority;
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    std::string bytes = authority.own().der();
    const berval buffer = {bytes.size(), bytes.data()};
    if (row.isTrusted) {
        ASSERT_EQ(ldapssl_add_trusted_cert(&buffer, QLDAPX_TLS_BUFFER_DER), 0);
    }
    TlsServer server(authority.issue(row.statement));
    const Session session = openSession(server.port(), row.host);
    EXPECT_EQ(bindAnonymously(session), row.reason != nullptr ? LDAP_SERVER_DOWN : LDAP_SUCCESS);
    if (row.reason == nullptr)
        return;
    EXPECT_EQ(diagnosis(session), "error:0A000086:SSL routines::certificate verify failed (" +
                                      std::string(row.reason) + ")");
    EXPECT_EQ(server.seen(1)[0].requests, 0U);
}

Statement named(const std::string &alternativeNames, const std::string &name = "server") {
    return {name, alternativeNames};
}

std::string machineName() {
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

std::vector<Server> servers() {
    constexpr const char *here = "127.0.0.1";
    constexpr const char *otherName = "hostname mismatch";
    constexpr const char *otherAddress = "IP address mismatch";
    return {
        {"trusted", {}, true, here, nullptr},
        {"untrusted", {}, false, here, "unable to get local issuer certificate"},
        {"expired", {"s", "IP:127.0.0.1", -3, -1}, true, here, "certificate has expired"},
        {"early", {"s", "IP:127.0.0.1", 1, 2}, true, here, "certificate is not yet valid"},
        {"localhost", named("DNS:localhost"), true, "localhost", nullptr},
        {"localhostInCapitals", named("DNS:localhost"), true, "LOCALHOST", nullptr},
        {"machine", named("DNS:" + machineName()), true, "localhost", nullptr},
        {"otherName", named("DNS:other.example.com"), true, "localhost", otherName},
        {"partialWildcard", named("DNS:local*"), true, "localhost", otherName},
        {"commonName", named("", "localhost"), true, "localhost", nullptr},
        {"commonNameBesideOthers", named("DNS:a.example.com", "localhost"), true, "localhost",
         otherName},
        {"otherAddress", named("IP:127.0.0.2"), true, here, otherAddress},
        {"addressAsName", named("DNS:127.0.0.1"), true, here, otherAddress},
        {"addressAsCommonName", named("", "127.0.0.1"), true, here, otherAddress},
    };
}

INSTANTIATE_TEST_SUITE_P(Rows, TlsServers, testing::ValuesIn(servers()),
                         [](const auto &row) { return std::string(row.param.name); });

std::vector<int> faults;

int acceptAndNote(X509_STORE_CTX *store) {
    int32_t fault = 0;
    int length = sizeof fault;
    ldapssl_get_cert_attribute(store, QLDAPX_TLS_CERT_VERIFY_ERROR, &fault, &length);
    faults.push_back(fault);
    return 0;
}

TEST_F(TlsCarrier, CallbackIsAskedAboutEveryFault) {
    trust();
    TlsServer server(authority_.issue({"s", "DNS:other", -3, -1}));
    faults.clear();
    ASSERT_EQ(ldapssl_set_verify_callback(acceptAndNote), 0);
    EXPECT_EQ(tryServer(server.port(), "localhost"), LDAP_SUCCESS);
    EXPECT_EQ(faults,
              (std::vector<int>{X509_V_ERR_HOSTNAME_MISMATCH, X509_V_ERR_CERT_HAS_EXPIRED}));
}

TEST_F(TlsCarrier, NoVerificationTakesAnybody) {
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    ASSERT_EQ(ldapssl_set_verify_mode(QLDAPX_TLS_VERIFY_NONE), 0);
    TlsServer server(authority_.issue({"s", "DNS:other", -3, -1}));
    EXPECT_EQ(tryServer(server.port(), "localhost"), LDAP_SUCCESS);
}

TEST_F(TlsCarrier, PlainSessionsStayPlain) {
    trust();
    TlsServer server(authority_.issue());
    const Session session = openSession(server.port(), "127.0.0.1", false);
    setOption(session, LDAP_OPT_TIMEOUT, timeval{0, 200'000});
    EXPECT_NE(bindAnonymously(session), LDAP_SUCCESS);
    EXPECT_FALSE(server.seen(1)[0].isEstablished);
}

TEST_F(TlsCarrier, GoesOnWithTheContextThatWasGivenAfterDeinit) {
    trust();
    TlsServer server(authority_.issue());
    ASSERT_EQ(ldapssl_client_deinit(), 0);
    EXPECT_EQ(tryServer(server.port()), LDAP_SUCCESS);
}

TEST_F(TlsCarrier, LeavesOldConnectionsTheirContext) {
    trust();
    TlsServer server(authority_.issue());
    const Session session = openSession(server.port());
    ASSERT_EQ(bindAnonymously(session), LDAP_SUCCESS);
    ASSERT_EQ(ldapssl_client_init(nullptr), 0);
    ASSERT_EQ(ldapssl_client_deinit(), 0);
    EXPECT_EQ(bindAnonymously(session), LDAP_SUCCESS);
}

TEST_F(TlsCarrier, LibldapsHardModeIsRefused) {
    trust();
    TlsServer server(authority_.issue());
    for (const bool isSecure : {true, false}) {
        const Session session = openSession(server.port(), "127.0.0.1", isSecure);
        setOption(session, LDAP_OPT_X_TLS, int{LDAP_OPT_X_TLS_HARD});
        EXPECT_EQ(bindAnonymously(session), LDAP_SERVER_DOWN);
        EXPECT_NE(diagnosis(session).find("use an ldaps URL"), std::string::npos);
    }
    for (const TlsServer::Seen &seen : server.seen(2))
        EXPECT_FALSE(seen.isEstablished);
}

// Begins a bind that the server has no answer to, and gives it up; libldap then forgets the
// connection and makes another one for the next request.
void loseConnection(const Session &session) {
    berval none = {0, nullptr};
    int messageId = 0;
    LDAPMessage *message = nullptr;
    timeval patience = {10, 0};
    ASSERT_EQ(ldap_sasl_bind(session.get(), nullptr, LDAP_SASL_SIMPLE, &none, nullptr, nullptr,
                             &messageId),
              LDAP_SUCCESS);
    ASSERT_EQ(ldap_result(session.get(), messageId, LDAP_MSG_ALL, &patience, &message), -1);
    ldap_abandon_ext(session.get(), messageId, nullptr, nullptr);
}

// Answers one request, and goes at the next one.
void answerOnce(SSL *ssl, TlsServer::Seen &seen) {
    char request[64];
    if (TlsServer::answerOne(ssl, seen))
        SSL_read(ssl, request, sizeof request);
}

TEST_F(TlsCarrier, ASessionWithLibldapsOwnTlsIsNotTakenOver) {
    std::signal(SIGPIPE, SIG_IGN); // libldap's own TLS raises it
    TlsServer server(authority_.issue(), {}, answerOnce);
    const Session session = openSession(server.port());
    setOption(session, LDAP_OPT_X_TLS_REQUIRE_CERT, int{LDAP_OPT_X_TLS_NEVER});
    setOption(session, LDAP_OPT_X_TLS_NEWCTX, 0);
    ASSERT_EQ(bindAnonymously(session), LDAP_SUCCESS);
    EXPECT_EQ(ldap_tls_inplace(session.get()), 1);
    loseConnection(session);
    trust();
    EXPECT_EQ(bindAnonymously(session), LDAP_SERVER_DOWN);
    EXPECT_NE(diagnosis(session).find("open a new one"), std::string::npos);
}

TEST_F(TlsCarrier, AsynchronousConnectIsTlsAsWell) {
    trust();
    TlsServer server(authority_.issue());
    const Session session = openSession(server.port());
    ldap_set_option(session.get(), LDAP_OPT_CONNECT_ASYNC, LDAP_OPT_ON);
    EXPECT_EQ(bindAnonymously(session), LDAP_SUCCESS);
    EXPECT_EQ(bindAnonymously(session), LDAP_SUCCESS);
}

TEST_F(TlsCarrier, HandshakeObeysTheNetworkTimeOut) {
    trust();
    const Listener server; // says nothing
    const Session session = openSession(server.port());
    setOption(session, LDAP_OPT_NETWORK_TIMEOUT, timeval{0, 300'000});
    const auto begin = Clock::now();
    EXPECT_EQ(bindAnonymously(session), LDAP_SERVER_DOWN);
    EXPECT_EQ(diagnosis(session), "TLS handshake timed out");
    EXPECT_GE(Clock::now() - begin, 290ms);
    EXPECT_LT(Clock::now() - begin, 5s);
}

// Says nothing but HelloRequest (RFC 5246, 7.4.1.1), which a client skips, as long as it is heard.
void greetForEver(int listener) {
    const int socket = accept(listener, nullptr, nullptr);
    std::string greetings;
    for (int i = 0; i < 1000; ++i)
        greetings.append("\x16\x03\x03\x00\x04\x00\x00\x00\x00", 9);
    while (send(socket, greetings.data(), greetings.size(), MSG_NOSIGNAL) > 0) {
    }
    close(socket);
}

TEST_F(TlsCarrier, HandshakeObeysTheNetworkTimeOutWhileTheServerTalks) {
    trust();
    const Listener listener;
    std::thread server(greetForEver, listener.socket());
    Session session = openSession(listener.port());
    setOption(session, LDAP_OPT_NETWORK_TIMEOUT, timeval{0, 300'000});
    const auto begin = Clock::now();
    EXPECT_EQ(bindAnonymously(session), LDAP_SERVER_DOWN);
    EXPECT_EQ(diagnosis(session), "TLS handshake timed out");
    EXPECT_LT(Clock::now() - begin, 5s);
    session.reset();
    server.join();
}

// Of itself: a client that closes with tickets unread resets the connection.
void giveNoTickets(SSL_CTX *context) {
    SSL_CTX_set_num_tickets(context, 0);
}

// Sends so many tickets (RFC 8446, 4.6.1) at once that reading them takes a second and more.
void giveManyTickets(SSL *ssl, TlsServer::Seen &seen) {
    BIO *tickets = BIO_new(BIO_s_mem());
    char byte = 0;
    SSL_read(ssl, &byte, 1);
    SSL_set0_wbio(ssl, tickets);
    for (; seen.requests < 20'000; ++seen.requests)
        if (SSL_new_session_ticket(ssl) != 1 || SSL_do_handshake(ssl) != 1)
            return;
    char *bytes = nullptr;
    auto left = static_cast<std::size_t>(BIO_get_mem_data(tickets, &bytes));
    for (ssize_t sent = 1; left > 0 && sent > 0;
         bytes += sent, left -= static_cast<std::size_t>(sent))
        sent = std::max<ssize_t>(send(SSL_get_fd(ssl), bytes, left, MSG_NOSIGNAL), 0);
}

TEST_F(TlsCarrier, AReadObeysItsTimeOutWhileTheServerTalks) {
    trust();
    TlsServer server(authority_.issue(), giveNoTickets, giveManyTickets);
    const Session session = openSession(server.port());
    berval none = {0, nullptr};
    int messageId = 0;
    ASSERT_EQ(ldap_sasl_bind(session.get(), nullptr, LDAP_SASL_SIMPLE, &none, nullptr, nullptr,
                             &messageId),
              LDAP_SUCCESS);
    int socket = -1;
    ldap_get_option(session.get(), LDAP_OPT_DESC, &socket);
    pollfd incoming = {socket, POLLIN, 0};
    poll(&incoming, 1, 60'000); // until the tickets are made
    const auto begin = Clock::now();
    timeval patience = {0, 100'000};
    LDAPMessage *message = nullptr;
    EXPECT_EQ(ldap_result(session.get(), messageId, LDAP_MSG_ONE, &patience, &message), 0);
    EXPECT_LT(Clock::now() - begin, 600ms);
}

void ignoreSignal(int /*number*/) {}

// Interrupts this thread again and again.
class Interruptions {
  public:
    Interruptions() : target_(pthread_self()) {
        struct sigaction action = {};
        action.sa_handler = ignoreSignal;
        sigaction(SIGUSR1, &action, nullptr);
        thread_ = std::thread([this] {
            while (!isOver_) {
                std::this_thread::sleep_for(20ms);
                pthread_kill(target_, SIGUSR1);
            }
        });
    }
    ~Interruptions() {
        isOver_ = true;
        thread_.join();
    }
    Interruptions(const Interruptions &) = delete;
    Interruptions &operator=(const Interruptions &) = delete;

  private:
    pthread_t target_;
    std::atomic<bool> isOver_ = false;
    std::thread thread_;
};

TEST_F(TlsCarrier, ASignalEndsTheHandshakeUnlessItIsToBeRestarted) {
    trust();
    const Listener server; // says nothing
    const Interruptions signals;
    const Session session = openSession(server.port());
    ldap_set_option(session.get(), LDAP_OPT_RESTART, LDAP_OPT_OFF);
    EXPECT_EQ(bindAnonymously(session), LDAP_SERVER_DOWN);
    EXPECT_EQ(diagnosis(session), "TLS handshake: Interrupted system call");
    ldap_set_option(session.get(), LDAP_OPT_RESTART, LDAP_OPT_ON);
    setOption(session, LDAP_OPT_NETWORK_TIMEOUT, timeval{0, 300'000});
    EXPECT_EQ(bindAnonymously(session), LDAP_SERVER_DOWN);
    EXPECT_EQ(diagnosis(session), "TLS handshake timed out");
}

// Sends half a record and keeps the other half until the client gives up.
void answerHalf(SSL *ssl, TlsServer::Seen & /*seen*/) {
    char request[64];
    SSL_read(ssl, request, sizeof request);
    const std::string half("\x17\x03\x03\x01\x00garbage", 12);
    send(SSL_get_fd(ssl), half.data(), half.size(), MSG_NOSIGNAL);
    while (recv(SSL_get_fd(ssl), request, sizeof request, 0) > 0) {
    }
}

TEST_F(TlsCarrier, ReadsDoNotBlock) {
    trust();
    TlsServer server(authority_.issue(), {}, answerHalf);
    const Session session = openSession(server.port());
    berval none = {0, nullptr};
    int messageId = 0;
    ASSERT_EQ(ldap_sasl_bind(session.get(), nullptr, LDAP_SASL_SIMPLE, &none, nullptr, nullptr,
                             &messageId),
              LDAP_SUCCESS);
    const auto begin = Clock::now();
    for (int i = 0; i < 3; ++i) {
        timeval patience = {0, 100'000};
        LDAPMessage *message = nullptr;
        EXPECT_EQ(ldap_result(session.get(), messageId, LDAP_MSG_ONE, &patience, &message), 0);
    }
    EXPECT_LT(Clock::now() - begin, 5s);
}

// Another library's errors in the thread's queue are not this connection's.
TEST_F(TlsCarrier, ErrorsOfOthersDoNotEndAConnection) {
    trust();
    TlsServer server(authority_.issue(), {}, [](SSL *ssl, TlsServer::Seen &seen) {
        std::this_thread::sleep_for(100ms);
        TlsServer::converse(ssl, seen);
    });
    const Session session = openSession(server.port());
    ERR_raise(ERR_LIB_USER, 42);
    berval none = {0, nullptr};
    int messageId = 0;
    ASSERT_EQ(ldap_sasl_bind(session.get(), nullptr, LDAP_SASL_SIMPLE, &none, nullptr, nullptr,
                             &messageId),
              LDAP_SUCCESS);
    for (int result = 0; result == 0;) {
        ERR_raise(ERR_LIB_USER, 42);
        timeval patience = {0, 10'000};
        LDAPMessage *message = nullptr;
        result = ldap_result(session.get(), messageId, LDAP_MSG_ONE, &patience, &message);
        EXPECT_NE(result, -1);
        ldap_msgfree(message);
    }
    ERR_clear_error();
}

void takeNothing(SSL * /*ssl*/, TlsServer::Seen & /*seen*/) {
    std::this_thread::sleep_for(1s);
}

int sendLarge(const Session &session) {
    std::string large(32U << 20U, 'x');
    berval value = {large.size(), large.data()};
    int messageId = 0;
    return ldap_extended_operation(session.get(), "1.2.3", &value, nullptr, nullptr, &messageId);
}

TEST_F(TlsCarrier, AWriteWaitsNoLongerThanTheNetworkTimeOut) {
    trust();
    TlsServer server(authority_.issue(), {}, takeNothing);
    const Session session = openSession(server.port());
    setOption(session, LDAP_OPT_NETWORK_TIMEOUT, timeval{0, 300'000});
    const auto begin = Clock::now();
    EXPECT_EQ(sendLarge(session), LDAP_SERVER_DOWN);
    EXPECT_GE(Clock::now() - begin, 290ms);
    EXPECT_LT(Clock::now() - begin, 900ms) << "before the server went";
}

// Reads slowly, so that the client has to wait for it.
void takeSlowly(SSL *ssl, TlsServer::Seen &seen) {
    std::vector<char> bytes(1U << 20U);
    std::this_thread::sleep_for(200ms);
    for (int count = 1; count > 0;) {
        count = SSL_read(ssl, bytes.data(), static_cast<int>(bytes.size()));
        seen.requests += static_cast<std::size_t>(std::max(count, 0));
    }
}

TEST_F(TlsCarrier, AWriteWaitsForASlowServer) {
    trust();
    TlsServer server(authority_.issue(), giveNoTickets, takeSlowly);
    EXPECT_EQ(sendLarge(openSession(server.port())), LDAP_SUCCESS);
    EXPECT_GT(server.seen(1)[0].requests, 32U << 20U) << "and its unbind";
}

// Without this library's help the second write would end the process.
TEST_F(TlsCarrier, AServerThatIsGoneRaisesNoSignal) {
    trust();
    std::signal(SIGPIPE, SIG_DFL);
    TlsServer server(authority_.issue(), {}, [](SSL *ssl, TlsServer::Seen & /*seen*/) {
        const linger reset = {1, 0};
        setsockopt(SSL_get_fd(ssl), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    });
    const Session session = openSession(server.port());
    bindAnonymously(session);
    server.seen(1);
    for (int i = 0; i < 3; ++i)
        sendLarge(session);
}

// An application's own callback, which libldap calls after the library's.
int refuse(LDAP * /*ld*/, Sockbuf * /*sockbuf*/, LDAPURLDesc * /*url*/, sockaddr * /*address*/,
           ldap_conncb * /*callback*/) {
    return -1;
}

void ignore(LDAP * /*ld*/, Sockbuf * /*sockbuf*/, ldap_conncb * /*callback*/) {}

TEST_F(TlsCarrier, AConnectionThatAnotherCallbackRefusesIsForgotten) {
    static ldap_conncb refusal = {refuse, ignore, nullptr};
    ASSERT_EQ(ldap_set_option(nullptr, LDAP_OPT_CONNECT_CB, &refusal), LDAP_OPT_SUCCESS);
    trust(); // libldap calls what was set last first
    TlsServer server(authority_.issue());
    EXPECT_EQ(tryServer(server.port()), LDAP_SERVER_DOWN);
    EXPECT_TRUE(server.seen(1)[0].isEstablished);
    EXPECT_EQ(server.seen(1)[0].requests, 0U);
    ldap_get_option(nullptr, LDAP_OPT_CONNECT_CB, &refusal); // takes it away
    EXPECT_EQ(tryServer(server.port()), LDAP_SUCCESS);
}

// Answers two requests in one record.
void answerTogether(SSL *ssl, TlsServer::Seen & /*seen*/) {
    std::array<char, 64> request{};
    for (int i = 0; i < 2; ++i)
        SSL_read(ssl, request.data(), request.size());
    const std::string answers("\x30\x0c\x02\x01\x01\x78\x07\x0a\x01\x00\x04\x00\x04\x00"
                              "\x30\x0c\x02\x01\x02\x78\x07\x0a\x01\x00\x04\x00\x04\x00",
                              28);
    SSL_write(ssl, answers.data(), static_cast<int>(answers.size()));
    SSL_read(ssl, request.data(), request.size()); // the unbind
}

// A poll of the socket does not see what OpenSSL has read already.
TEST_F(TlsCarrier, ASecondMessageOfARecordIsSeen) {
    trust();
    TlsServer server(authority_.issue(), {}, answerTogether);
    const Session session = openSession(server.port());
    std::array<int, 2> messageIds{};
    for (int &id : messageIds)
        ASSERT_EQ(ldap_whoami(session.get(), nullptr, nullptr, &id), LDAP_SUCCESS);
    for (const int id : messageIds) {
        timeval patience = {2, 0};
        LDAPMessage *message = nullptr;
        EXPECT_EQ(ldap_result(session.get(), id, LDAP_MSG_ONE, &patience, &message),
                  LDAP_RES_EXTENDED);
        ldap_msgfree(message);
    }
}

TEST_F(TlsCarrier, ListsOfServersKeepTheirUrls) {
    trust();
    TlsServer server(authority_.issue());
    const std::string dead = "ldaps://127.0.0.1:" + std::to_string(Listener().port());
    const std::string alive = "ldaps://127.0.0.1:" + std::to_string(server.port());
    LDAP *ld = nullptr;
    ASSERT_EQ(ldap_initialize(&ld, (dead + " " + alive).c_str()), LDAP_SUCCESS);
    const Session session(ld);
    EXPECT_EQ(bindAnonymously(session), LDAP_SUCCESS);
    EXPECT_EQ(textOption(session, LDAP_OPT_URI), dead + " " + alive);
}

} // namespace
