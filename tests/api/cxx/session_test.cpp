// Sessions and what is asked of them, messages, and searches by URL.
#include "answers.h"

namespace api_test {
namespace {

using qldapx::session_ref;
using namespace std::chrono_literals;
namespace url = qldapx::url;

Bytes bindAnswer(int code) {
    return spoken(0x61, code);
}

TEST(CxxSession, IsMadeForAUri) {
    const auto session = qldapx::initialize("ldap://127.0.0.1:1");
    ASSERT_TRUE(session);
    EXPECT_EQ(describe(session->uri()), "ldap://127.0.0.1:1");
    int version = 0;
    ldap_get_option(session->get(), LDAP_OPT_PROTOCOL_VERSION, &version);
    EXPECT_EQ(version, LDAP_VERSION3);
    EXPECT_TRUE(qldapx::initialize());
    EXPECT_EQ(qldapx::initialize("nonsense:").error().code(), LDAP_PARAM_ERROR);
}

TEST(CxxSession, Binds) {
    ScriptedPeer peer({ScriptedPeer::answer(bindAnswer(0)), ScriptedPeer::answer(bindAnswer(32))});
    EXPECT_EQ(describe(borrowed(peer).bind_simple("cn=a", "p")), "done");
    EXPECT_EQ(describe(borrowed(peer).bind_simple("cn=a", "p")), refused);
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_EQ(toHex(peer.received()[0]),
              toHex(ldapMessage(1, tlv(0x60, integer(3) + octetString("cn=a") + tlv(0x80, "p")))));
}

TEST(CxxSession, DoesNotBindWithoutAPassword) {
    ScriptedPeer peer({ScriptedPeer::answer(bindAnswer(0))});
    EXPECT_EQ(describe(borrowed(peer).bind_simple("cn=a", "")), "-9||");
    EXPECT_EQ(describe(borrowed(peer).bind_simple("", "")), "done");
    EXPECT_EQ(peer.received().size(), 1U);
}

long timeOption(LDAP *ld, int option) {
    timeval *time = nullptr;
    ldap_get_option(ld, option, &time);
    const long all = time->tv_sec * 1000000 + time->tv_usec;
    ldap_memfree(time);
    return all;
}

TEST(CxxSession, HasTimeOuts) {
    const qldapx::session session = *qldapx::initialize("ldap://127.0.0.1:1");
    EXPECT_EQ(describe(session.set_timeout(1500ms)), "done");
    EXPECT_EQ(describe(session.set_network_timeout(2s)), "done");
    EXPECT_EQ(timeOption(session.get(), LDAP_OPT_TIMEOUT), 1500000);
    EXPECT_EQ(timeOption(session.get(), LDAP_OPT_NETWORK_TIMEOUT), 2000000);
}

TEST(CxxSession, RemembersItsResultCode) {
    ScriptedPeer peer({ScriptedPeer::answer(refusal())});
    const session_ref at = borrowed(peer);
    EXPECT_EQ(at.result_code(), LDAP_SUCCESS);
    static_cast<void>(qldapx::partition::split(at, "o=a"));
    EXPECT_EQ(at.result_code(), LDAP_NO_SUCH_OBJECT);
}

TEST(CxxSession, SendsControlsWithEveryOperation) {
    ScriptedPeer peer({ScriptedPeer::answer(refusal()), ScriptedPeer::answer(refusal())});
    const session_ref at = borrowed(peer);
    const auto control = qldapx::controls::proxied_authorization(at, "cn=b");
    LDAPControl *list[] = {control->get(), nullptr};
    EXPECT_EQ(describe(at.set_controls(list)), "done");
    static_cast<void>(qldapx::partition::split(at, "o=a"));
    EXPECT_EQ(describe(at.set_controls(nullptr)), "done");
    static_cast<void>(qldapx::partition::split(at, "o=a"));
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_NE(peer.received()[0].find("2.16.840.1.113730.3.4.18"), Bytes::npos);
    EXPECT_EQ(peer.received()[1].find("2.16.840.1.113730.3.4.18"), Bytes::npos);
}

TEST(CxxSession, WaitsForAnAnswer) {
    ScriptedPeer peer({ScriptedPeer::answers({searchEntry("o=a"), searchDone(0)})});
    const session_ref at = borrowed(peer);
    const auto id = url::start(at, "ldap:///o=a");
    ASSERT_TRUE(id);
    const auto answer = at.wait(*id, 10s, LDAP_MSG_ALL);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->type(), LDAP_RES_SEARCH_ENTRY);
    EXPECT_EQ(answer->id(), *id);
    EXPECT_EQ(at.wait(*id, 0ms).error().code(), LDAP_TIMEOUT);
}

TEST(CxxSession, WaitsNoLongerThanItsConnectionLasts) {
    ScriptedPeer peer({ScriptedPeer::closeConnection()});
    const session_ref at = borrowed(peer);
    EXPECT_EQ(at.wait(*url::start(at, "ldap:///o=a")).error().code(), LDAP_SERVER_DOWN);
}

TEST(CxxSession, WaitsAsLongAsItsTimeOut) {
    ScriptedPeer peer({ScriptedPeer::silence()});
    const session_ref at = borrowed(peer);
    static_cast<void>(at.set_timeout(50ms));
    EXPECT_EQ(at.wait(*url::start(at, "ldap:///o=a")).error().code(), LDAP_TIMEOUT);
}

TEST(CxxSession, Abandons) {
    ScriptedPeer peer({ScriptedPeer::silence()});
    const session_ref at = borrowed(peer);
    EXPECT_EQ(describe(at.abandon(*url::start(at, "ldap:///o=a"))), "done");
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_NE(peer.received()[1].find("\x50\x01\x01"), Bytes::npos);
}

TEST(CxxSession, AbandonsNothingWithoutAConnection) {
    EXPECT_EQ(describe(qldapx::initialize("ldap://127.0.0.1:1")->abandon(7)), "-1||");
}

TEST(CxxSession, IsUnboundByHand) {
    EXPECT_EQ(describe(qldapx::unbind(*qldapx::initialize("ldap://127.0.0.1:1"))), "done");
}

TEST(CxxSession, IsUnboundAtItsEndUnlessItWasReleased) {
    ScriptedPeer peer({ScriptedPeer::answer(bindAnswer(0))});
    {
        qldapx::session session(qldapx::adopt, peer.session());
        EXPECT_EQ(describe(session.bind_simple("cn=a", "p")), "done");
        qldapx::session moved = std::move(session);
        EXPECT_EQ(moved.release(), peer.session());
    }
    static_cast<void>(session_ref(borrowed(peer)));
    EXPECT_EQ(peer.received().size(), 1U); // and the unbind of the peer's own
}

TEST(CxxMessage, ListsItsEntries) {
    ScriptedPeer peer(
        {ScriptedPeer::answers({searchEntry("o=a"), searchEntry("o=b"), searchDone(0)})});
    const session_ref at = borrowed(peer);
    const url::answer answer = url::search(at, "ldap:///o=a??sub");
    EXPECT_EQ(describe(answer.outcome), "done");
    std::string all;
    for (qldapx::message_ref entry : answer.messages.entries(at.get()))
        all += describe(entry.dn(at.get())) + " ";
    EXPECT_EQ(all, "o=a o=b ");
    auto entry = answer.messages.entries(at.get()).begin();
    entry++;
    EXPECT_EQ(describe((*entry).dn(at.get())), "o=b");
    const qldapx::message none;
    EXPECT_EQ(none.entries(at.get()).begin(), none.entries(at.get()).end());
}

TEST(CxxMessage, WithoutADnIsAnError) {
    ScriptedPeer peer({ScriptedPeer::answer(refusal())});
    const session_ref at = borrowed(peer);
    const auto answer = at.wait(*qldapx::bulk::request_start(at));
    ASSERT_TRUE(answer);
    EXPECT_EQ(describe(answer->dn(at.get())), "-9||");
}

TEST(CxxUrlSearch, KeepsWhatCameBeforeARefusal) {
    ScriptedPeer peer({ScriptedPeer::answers({searchEntry("o=a"), spoken(0x65, 32)})});
    const url::answer answer =
        url::search(borrowed(peer), "ldap:///o=a", url::want::types_only, 10s);
    EXPECT_EQ(describe(answer.outcome), refused);
    const auto entries = answer.messages.entries(peer.session());
    EXPECT_EQ(std::distance(entries.begin(), entries.end()), 1);
}

TEST(CxxUrlSearch, TakesTime) {
    ScriptedPeer peer({ScriptedPeer::silence()});
    const url::answer answer = url::search(borrowed(peer), "ldap:///o=a", url::want::values, 50ms);
    EXPECT_EQ(describe(answer.outcome), "-5||");
    EXPECT_FALSE(answer.messages);
}

TEST(CxxUrlSearch, RefusesWhatIsNoUrl) {
    ScriptedPeer peer({});
    EXPECT_EQ(describe(url::start(borrowed(peer), "http://a/")), "-9||");
    EXPECT_EQ(describe(url::search(borrowed(peer), "http://a/").outcome), "-9||");
}

} // namespace
} // namespace api_test
