// Binds by DIGEST-MD5 among the other things that happen in a session.
#include "directory.h"
#include "persistent_search.h"
#include "sasl_bind.h"
#include "sasl_peer.h"
#include "support/expected_leak.h"

#include <csignal>
#include <functional>
#include <poll.h>
#include <sys/socket.h>
#include <thread>

namespace {

using namespace test;

class SaslSession : public WithSaslPeer {
  protected:
    // What a start answers while another bind is under way: an answer was due.
    static constexpr int startedAlready = LDAP_INVALID_CREDENTIALS;

    void abandonBind() const {
        EXPECT_EQ(finishWithoutRealm(ld, {.mode = QLDAPX_DIGEST_ABANDON}), LDAP_USER_CANCELLED);
    }

    // The result of a bind whose answer libldap has, or gets, without that anybody waits for it.
    [[nodiscard]] int unreadResult() const {
        LDAPMessage *message = nullptr;
        timeval patience{10, 0};
        int type = ldap_result(ld, LDAP_RES_ANY, LDAP_MSG_ALL, &patience, &message);
        MessagePtr owner(message);
        EXPECT_EQ(type, LDAP_RES_BIND);
        int result = -1;
        if (message != nullptr)
            ldap_parse_result(ld, message, &result, nullptr, nullptr, nullptr, nullptr, 0);
        return result;
    }

    // Until the connection has it; libldap has not looked yet.
    void awaitUnreadAnswer() const {
        pollfd connection{descriptor(), POLLIN, 0};
        EXPECT_EQ(poll(&connection, 1, 10000), 1);
    }

    [[nodiscard]] bool everythingIsRead() const {
        LDAPMessage *message = nullptr;
        timeval now{0, 0};
        return ldap_result(ld, LDAP_RES_ANY, LDAP_MSG_ALL, &now, &message) == 0;
    }

    // libldap leaves the signal of a broken connection to the program.
    void closeConnection(int directions) const {
        std::signal(SIGPIPE, SIG_IGN);
        ASSERT_EQ(shutdown(descriptor(), directions), 0);
    }

    [[nodiscard]] int descriptor() const {
        int number = -1;
        EXPECT_EQ(ldap_get_option(ld, LDAP_OPT_DESC, &number), LDAP_OPT_SUCCESS);
        return number;
    }
};

// The server takes the second request for an empty answer to its challenge, and libldap keeps what
// it says to that. No request may follow before (RFC 4511, 4.2.1): servers differ in what they make
// of one.
TEST_F(SaslSession, AbandonedBindLeavesAnAnswerUnread) {
    for (int i = 0; i < 3; ++i) {
        abandonBind();
        EXPECT_EQ(unreadResult(), startedAlready);
        EXPECT_TRUE(everythingIsRead());
        expectAnonymous(ld);
        EXPECT_EQ(digestBind(ld, "ada", "peer-secret"), LDAP_SUCCESS);
        expectIs(ld, person("ada"));
    }
}

// Other answers are looked for by their number, so that the unread one disturbs nobody.
TEST_F(SaslSession, UnreadAnswerMayStay) {
    abandonBind();
    awaitUnreadAnswer();
    EXPECT_EQ(digestBind(ld, "ada", "peer-secret"), LDAP_SUCCESS);
    expectIs(ld, person("ada"));
    EXPECT_EQ(unreadResult(), startedAlready);
    EXPECT_TRUE(everythingIsRead());
}

TEST_F(SaslSession, AbandonedBindAndTheEndOfItsSession) {
    LDAP *other = openSession(peer.uri);
    EXPECT_EQ(finishWithoutRealm(other, {.mode = QLDAPX_DIGEST_ABANDON}), LDAP_USER_CANCELLED);
    EXPECT_EQ(ldap_unbind_ext_s(other, nullptr, nullptr), LDAP_SUCCESS);
}

TEST_F(SaslSession, SecondStartEndsTheBind) {
    DigestBind bind(ld);
    void *second = &bind;
    EXPECT_EQ(ldap_bind_digest_md5_start(ld, &second), startedAlready);
    EXPECT_EQ(second, &bind);
    expectAnonymous(ld);
    // To the server this is the first request of a new bind, which it sends a challenge for.
    EXPECT_EQ(bind.finish("ada", "peer-secret"), LDAP_SASL_BIND_IN_PROGRESS);
    EXPECT_FALSE(bind.isHeld());
    EXPECT_EQ(bindSimply(ld, person("ben")), LDAP_SUCCESS);
    EXPECT_EQ(digestBind(ld, "ada", "peer-secret"), LDAP_SUCCESS);
    expectIs(ld, person("ada"));
}

TEST_F(SaslSession, SimpleBindEndsTheBind) {
    DigestBind bind(ld);
    EXPECT_EQ(bindSimply(ld, person("ben")), LDAP_SUCCESS);
    expectIs(ld, person("ben"));
    EXPECT_EQ(bind.finish("ada", "peer-secret"), LDAP_SASL_BIND_IN_PROGRESS);
    EXPECT_FALSE(bind.isHeld());
    EXPECT_EQ(bindSimply(ld, person("ben")), LDAP_SUCCESS);
    expectIs(ld, person("ben"));
}

TEST_F(SaslSession, SearchDuringABind) {
    DigestBind bind(ld);
    LDAPMessage *found = nullptr;
    EXPECT_EQ(ldap_search_ext_s(ld, "", LDAP_SCOPE_BASE, nullptr, nullptr, 0, nullptr, nullptr,
                                nullptr, LDAP_NO_LIMIT, &found),
              peer.searchDuringBind);
    ldap_msgfree(found);
    EXPECT_EQ(bind.finish("ada", "peer-secret"), LDAP_SUCCESS);
    expectIs(ld, person("ada"));
}

TEST_F(SaslSession, ManyBindsOfBothKinds) {
    for (int round = 0; round < 10; ++round) {
        const Person &someone = people[static_cast<std::size_t>(round) % people.size()];
        SCOPED_TRACE(someone.uid);
        EXPECT_EQ(digestBind(ld, someone.uid, someone.password), LDAP_SUCCESS);
        expectIs(ld, someone);
        EXPECT_EQ(bindSimply(ld, person("ben")), LDAP_SUCCESS);
        expectIs(ld, person("ben"));
    }
    EXPECT_TRUE(everythingIsRead());
}

TEST_F(SaslSession, BindsOfTwoSessionsAtOnce) {
    LDAP *other = openSession(peer.uri);
    DigestBind first(ld), second(other);
    EXPECT_EQ(second.finish("ben", "another secret, with words"), LDAP_SUCCESS);
    EXPECT_EQ(first.finish("ada", "peer-secret"), LDAP_SUCCESS);
    expectIs(ld, person("ada"));
    expectIs(other, person("ben"));
    ldap_unbind_ext_s(other, nullptr, nullptr);
}

TEST_F(SaslSession, BindsOfManyThreads) {
    auto bindOften = [uri = peer.uri](const Person &someone) {
        LDAP *session = openSession(uri);
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(digestBind(session, someone.uid, someone.password), LDAP_SUCCESS);
            expectIs(session, someone);
        }
        ldap_unbind_ext_s(session, nullptr, nullptr);
    };
    std::vector<std::thread> threads;
    for (const char *uid : {"ada", "ben", "short", "long"})
        threads.emplace_back(bindOften, std::cref(person(uid)));
    for (std::thread &thread : threads)
        thread.join();
}

// The request leaves, and nobody will answer it: the bind is lost, as it always was.
TEST_F(SaslSession, NoAnswerLosesTheBind) {
    qldapx_test::ExpectedLeak everything;
    DigestBind bind(ld);
    closeConnection(SHUT_RD);
    EXPECT_EQ(bind.finish("ada", "peer-secret"), LDAP_SERVER_DOWN);
    EXPECT_TRUE(bind.isHeld());
}

TEST_F(SaslSession, RequestThatCannotBeSentReleasesTheBind) {
    DigestBind bind(ld);
    closeConnection(SHUT_RDWR);
    EXPECT_EQ(bind.finish("ada", "peer-secret"), LDAP_SERVER_DOWN);
    EXPECT_FALSE(bind.isHeld());
}

TEST_F(SaslSession, AbandoningWithoutAConnectionReleasesTheBind) {
    qldapx_test::ExpectedLeak realm;
    DigestBind bind(ld);
    closeConnection(SHUT_RDWR);
    EXPECT_EQ(bind.finish({.mode = QLDAPX_DIGEST_ABANDON}), LDAP_SERVER_DOWN);
    EXPECT_FALSE(bind.isHeld());
}

} // namespace
