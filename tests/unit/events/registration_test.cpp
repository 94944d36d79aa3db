// A registration stays open in libldap, which drops what comes after an extended response.
#include "events/notified.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

// libldap's, in no installed header.
extern "C" struct ldapreq *ldap_find_request_by_msgid(LDAP *ld, ber_int_t id);

namespace qldapx_test {
namespace {

constexpr char responseOid[] = "2.16.840.1.907341.1.27.100.80";

Bytes accepted() {
    return extendedResponse(0, responseOid, std::nullopt);
}
Bytes ended(int code = 51) {
    return extendedResponse(code, responseOid, std::nullopt);
}
Bytes event(int type) {
    return eventMessage(notification(type, 0, tlv(0x7d, integer(1) + octetString("op"))));
}

int parseAnswer(LDAP *ld, LDAPMessage *message, int *code) {
    return ldap_parse_monitor_events_response(ld, message, code, nullptr, nullptr, nullptr, 0);
}

void expectAccepted(EventStream &stream) {
    MessagePtr message = stream.next();
    int code = -1;
    ASSERT_EQ(ldap_msgtype(message.get()), LDAP_RES_EXTENDED);
    ASSERT_EQ(parseAnswer(stream.session(), message.get(), &code), LDAP_SUCCESS);
    EXPECT_EQ(code, LDAP_SUCCESS);
    int stored = -1;
    ldap_get_option(stream.session(), LDAP_OPT_RESULT_CODE, &stored);
    EXPECT_EQ(stored, LDAP_SUCCESS);
}

void expectEvent(EventStream &stream, int type) {
    MessagePtr message = stream.next();
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(ldap_msgtype(message.get()), LDAP_RES_INTERMEDIATE);
    NotifiedEvent event = parseEvent(stream.session(), message.get());
    EXPECT_EQ(event.result, LDAP_SUCCESS);
    EXPECT_EQ(event.type, type);
}

// Whether anything comes for that id within a moment.
int nothingComes(LDAP *ld, int id) {
    timeval moment{0, 100000};
    LDAPMessage *message = nullptr;
    int type = ldap_result(ld, id, LDAP_MSG_ONE, &moment, &message);
    ldap_msgfree(message);
    return type;
}

// They wait in the socket behind the answer.
TEST(Registration, EventsBehindTheAnswer) {
    EventStream stream({accepted(), event(1), event(2), event(3)});
    expectAccepted(stream);
    for (int type = 1; type <= 3; ++type)
        expectEvent(stream, type);
    EXPECT_EQ(stream.peer().received().size(), 1U); // nothing else was sent
}

TEST(Registration, EventsBeforeTheAnswer) {
    EventStream stream({event(1), accepted(), event(2)});
    expectEvent(stream, 1);
    expectAccepted(stream);
    expectEvent(stream, 2);
}

TEST(Registration, AnswerUnderMsgAll) {
    EventStream stream({accepted(), event(1)});
    LDAPMessage *message = nullptr;
    timeval patience{10, 0};
    ASSERT_EQ(ldap_result(stream.session(), stream.id(), LDAP_MSG_ALL, &patience, &message),
              LDAP_RES_EXTENDED);
    int code = -1;
    EXPECT_EQ(parseAnswer(stream.session(), message, &code), LDAP_SUCCESS);
    ldap_msgfree(message);
    expectEvent(stream, 1);
}

TEST(Registration, SecondFinalAnswerEndsIt) {
    EventStream stream({accepted(), event(1), ended(), event(2)});
    expectAccepted(stream);
    expectEvent(stream, 1);
    MessagePtr message = stream.next();
    ASSERT_EQ(ldap_msgtype(message.get()), LDAP_RES_EXTENDED);
    int code = -1;
    EXPECT_EQ(parseAnswer(stream.session(), message.get(), &code), LDAP_SUCCESS);
    EXPECT_EQ(code, 51);
    EXPECT_EQ(nothingComes(stream.session(), stream.id()), 0);
}

// Twice is once: libldap ends the process over a second request of one id.
TEST(Registration, AnswerParsedTwice) {
    EventStream stream({accepted(), event(1)});
    MessagePtr message = stream.next();
    int code = -1;
    EXPECT_EQ(parseAnswer(stream.session(), message.get(), &code), LDAP_SUCCESS);
    EXPECT_EQ(parseAnswer(stream.session(), message.get(), &code), LDAP_SUCCESS);
    expectEvent(stream, 1);
}

TEST(Registration, NotKeptWhenRefused) {
    EventStream stream({ended(53), event(1)});
    MessagePtr message = stream.next();
    int code = -1;
    EXPECT_EQ(parseAnswer(stream.session(), message.get(), &code), LDAP_SUCCESS);
    EXPECT_EQ(code, 53);
    EXPECT_EQ(nothingComes(stream.session(), stream.id()), 0);
}

TEST(Registration, NotKeptForAnotherOperation) {
    EventStream stream({extendedResponse(0, "1.2.3", std::nullopt), event(1)});
    MessagePtr message = stream.next();
    int code = -1;
    EXPECT_EQ(parseAnswer(stream.session(), message.get(), &code), LDAP_DECODING_ERROR);
    EXPECT_EQ(nothingComes(stream.session(), stream.id()), 0);
}

TEST(Registration, NotKeptForAnUnsolicitedMessage) {
    const Bytes unsolicited = ldapMessage(0, accepted());
    ScriptedPeer peer({ScriptedPeer::raw(unsolicited)});
    LDAP *ld = peer.session();
    EventSpecification event{7, 0};
    int id = 0, code = -1;
    ASSERT_EQ(ldap_monitor_events(ld, 1, &event, &id), LDAP_SUCCESS);
    LDAPMessage *message = nullptr;
    timeval patience{10, 0};
    ASSERT_EQ(ldap_result(ld, LDAP_RES_UNSOLICITED, LDAP_MSG_ONE, &patience, &message),
              LDAP_RES_EXTENDED);
    EXPECT_EQ(parseAnswer(ld, message, &code), LDAP_SUCCESS);
    ldap_msgfree(message);
    EXPECT_EQ(ldap_find_request_by_msgid(ld, 0), nullptr);
    EXPECT_EQ(peer.received().size(), 1U);
}

TEST(Registration, Abandon) {
    EventStream stream({accepted(), event(1), event(2)});
    expectAccepted(stream);
    expectEvent(stream, 1);
    EXPECT_EQ(ldap_abandon_ext(stream.session(), stream.id(), nullptr, nullptr), LDAP_SUCCESS);
    EXPECT_EQ(nothingComes(stream.session(), stream.id()), 0);
    // AbandonRequest ::= [APPLICATION 16] MessageID
    ASSERT_EQ(stream.peer().received().size(), 2U);
    EXPECT_EQ(toHex(stream.peer().received()[1]), toHex(ldapMessage(2, tlv(0x50, Bytes(1, 1)))));
}

TEST(Registration, OtherOperationsInBetween) {
    ScriptedPeer peer({ScriptedPeer::answers({accepted(), event(1)}),
                       ScriptedPeer::answers({searchEntry("cn=a"), searchDone(0)})});
    LDAP *ld = peer.session();
    EventSpecification wanted{7, 0};
    int id = 0, code = -1;
    ASSERT_EQ(ldap_monitor_events(ld, 1, &wanted, &id), LDAP_SUCCESS);
    timeval patience{10, 0};
    LDAPMessage *message = nullptr;
    ASSERT_EQ(ldap_result(ld, id, LDAP_MSG_ONE, &patience, &message), LDAP_RES_EXTENDED);
    ASSERT_EQ(parseAnswer(ld, message, &code), LDAP_SUCCESS);
    ldap_msgfree(message);
    ASSERT_EQ(ldap_search_ext_s(ld, "", LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr, nullptr,
                                nullptr, 0, &message),
              LDAP_SUCCESS);
    EXPECT_EQ(ldap_count_entries(ld, message), 1);
    ldap_msgfree(message);
    // The event came while the search waited, and was kept.
    ASSERT_EQ(ldap_result(ld, id, LDAP_MSG_ONE, &patience, &message), LDAP_RES_INTERMEDIATE);
    ldap_msgfree(message);
}

TEST(Registration, ManyOnOneSession) {
    constexpr int count = 50;
    std::vector<ScriptedPeer::Step> script;
    for (int i = 1; i <= count; ++i)
        script.push_back(ScriptedPeer::answers({accepted(), event(i)}));
    ScriptedPeer peer(script);
    LDAP *ld = peer.session();
    EventSpecification wanted{7, 0};
    timeval patience{10, 0};
    std::vector<int> ids;
    for (int i = 0; i < count; ++i) {
        int id = 0, code = -1;
        ASSERT_EQ(ldap_monitor_events(ld, 1, &wanted, &id), LDAP_SUCCESS);
        LDAPMessage *message = nullptr;
        ASSERT_EQ(ldap_result(ld, id, LDAP_MSG_ONE, &patience, &message), LDAP_RES_EXTENDED);
        ASSERT_EQ(parseAnswer(ld, message, &code), LDAP_SUCCESS);
        ldap_msgfree(message);
        ids.push_back(id);
    }
    for (int i = count - 1; i >= 0; --i) {
        LDAPMessage *raw = nullptr;
        ASSERT_EQ(ldap_result(ld, ids[static_cast<std::size_t>(i)], LDAP_MSG_ONE, &patience, &raw),
                  LDAP_RES_INTERMEDIATE);
        MessagePtr message(raw);
        EXPECT_EQ(parseEvent(ld, raw).type, i + 1);
    }
}

// A registration whose server sends these and then closes the connection.
class DroppedStream {
  public:
    explicit DroppedStream(std::vector<Bytes> operations)
        : peer_({{std::move(operations), {}, true}}) {
        EventSpecification wanted{7, 0};
        EXPECT_EQ(ldap_monitor_events(session(), 1, &wanted, &id_), LDAP_SUCCESS);
    }
    LDAP *session() { return peer_.session(); }
    // The type of the next message of that id, -1 for the end of the connection.
    int next(int id, MessagePtr *message) {
        timeval patience{10, 0};
        LDAPMessage *raw = nullptr;
        int type = ldap_result(session(), id, LDAP_MSG_ONE, &patience, &raw);
        message->reset(raw);
        return type;
    }
    [[nodiscard]] int id() const { return id_; }

  private:
    ScriptedPeer peer_;
    int id_ = 0;
};

constexpr int extended = static_cast<int>(LDAP_RES_EXTENDED);
constexpr int intermediate = static_cast<int>(LDAP_RES_INTERMEDIATE);

TEST(Registration, ConnectionDropsBeforeTheAnswerIsParsed) {
    DroppedStream stream({accepted()});
    MessagePtr answer, none;
    int code = -1;
    ASSERT_EQ(stream.next(stream.id(), &answer), extended);
    EXPECT_EQ(stream.next(LDAP_RES_ANY, &none), -1);
    EXPECT_EQ(parseAnswer(stream.session(), answer.get(), &code), LDAP_SUCCESS); // as it was
    EXPECT_EQ(stream.next(stream.id(), &none), -1);
}

// With another request outstanding libldap keeps what is left of the connection.
TEST(Registration, ConnectionDropsWithAnotherRegistrationOpen) {
    ScriptedPeer peer({ScriptedPeer::silence(), {{accepted()}, {}, true}});
    LDAP *ld = peer.session();
    EventSpecification wanted{7, 0};
    int first = 0, second = 0, code = -1;
    ASSERT_EQ(ldap_monitor_events(ld, 1, &wanted, &first), LDAP_SUCCESS);
    ASSERT_EQ(ldap_monitor_events(ld, 1, &wanted, &second), LDAP_SUCCESS);
    timeval patience{10, 0};
    LDAPMessage *raw = nullptr, *none = nullptr;
    ASSERT_EQ(ldap_result(ld, second, LDAP_MSG_ONE, &patience, &raw), extended);
    MessagePtr answer(raw);
    EXPECT_EQ(ldap_result(ld, first, LDAP_MSG_ONE, &patience, &none), -1);
    EXPECT_EQ(parseAnswer(ld, raw, &code), LDAP_SUCCESS);
}

// A server on a port, which would notice that the client came again.
class Listener {
  public:
    Listener() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(socket_, reinterpret_cast<sockaddr *>(&address), size), 0);
        EXPECT_EQ(listen(socket_, 5), 0);
        getsockname(socket_, reinterpret_cast<sockaddr *>(&address), &size);
        url_ = "ldap://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    }
    ~Listener() { close(socket_); }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    [[nodiscard]] const char *url() const { return url_.c_str(); }
    [[nodiscard]] int next() const { return accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC); }
    [[nodiscard]] bool isAskedAgain() const {
        pollfd waiting{socket_, POLLIN, 0};
        return poll(&waiting, 1, 100) > 0;
    }

  private:
    int socket_;
    std::string url_;
};

TEST(Registration, DroppedConnectionIsNotOpenedAgain) {
    Listener server;
    LDAP *ld = nullptr;
    ASSERT_EQ(ldap_initialize(&ld, server.url()), LDAP_SUCCESS);
    const int version = LDAP_VERSION3;
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    EventSpecification wanted{7, 0};
    int id = 0, code = -1;
    ASSERT_EQ(ldap_monitor_events(ld, 1, &wanted, &id), LDAP_SUCCESS);
    int connection = server.next();
    const Bytes answer = ldapMessage(id, accepted());
    EXPECT_EQ(write(connection, answer.data(), answer.size()), static_cast<ssize_t>(answer.size()));
    shutdown(connection, SHUT_WR);
    timeval patience{10, 0};
    LDAPMessage *raw = nullptr, *none = nullptr;
    ASSERT_EQ(ldap_result(ld, id, LDAP_MSG_ONE, &patience, &raw), extended);
    MessagePtr message(raw);
    EXPECT_EQ(ldap_result(ld, LDAP_RES_ANY, LDAP_MSG_ONE, &patience, &none), -1);
    EXPECT_EQ(parseAnswer(ld, raw, &code), LDAP_SUCCESS);
    EXPECT_FALSE(server.isAskedAgain());
    close(connection);
    ldap_unbind_ext_s(ld, nullptr, nullptr);
}

TEST(Registration, ConnectionDropsLater) {
    DroppedStream stream({accepted(), event(1)});
    MessagePtr message;
    int code = -1, stored = 0;
    ASSERT_EQ(stream.next(stream.id(), &message), extended);
    EXPECT_EQ(parseAnswer(stream.session(), message.get(), &code), LDAP_SUCCESS);
    EXPECT_EQ(stream.next(stream.id(), &message), intermediate);
    EXPECT_EQ(stream.next(stream.id(), &message), -1);
    ldap_get_option(stream.session(), LDAP_OPT_RESULT_CODE, &stored);
    EXPECT_EQ(stored, LDAP_SERVER_DOWN);
}

} // namespace
} // namespace qldapx_test
