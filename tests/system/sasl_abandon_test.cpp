#include "system/challenge_peer.h"
#include "system/sasl.h"
#include "system/terminal.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace test {
namespace {

using namespace qldapx_test;
using testing::EndsWith;
using testing::HasSubstr;

constexpr const char *challenge =
    R"(realm="one",realm="two",nonce="abc",qop="auth",charset=utf-8,algorithm=md5-sess)";

// BindRequest ::= [APPLICATION 0] SEQUENCE { version INTEGER, name LDAPDN,
//     authentication CHOICE { sasl [3] SEQUENCE { mechanism LDAPString } } }
Bytes firstStep(int id) {
    return ldapMessage(
        id, tlv(0x60, integer(3) + octetString("") + tlv(0xa3, octetString("DIGEST-MD5"))));
}

// UnbindRequest ::= [APPLICATION 2] NULL
Bytes unbind(int id) {
    return ldapMessage(id, tlv(0x42, ""));
}

/** The server hears that the exchange is given up, nothing else, and then the end of the session.
 */
void expectAbandoned(ChallengePeer &peer) {
    EXPECT_EQ(toHex(peer.first()), toHex(firstStep(1)));
    EXPECT_EQ(toHex(peer.rest()), toHex(firstStep(2) + unbind(3)));
}

TEST(SaslAbandon, AfterARealmThatIsNotOffered) {
    ChallengePeer peer(challenge);
    EXPECT_EQ(
        runTool(digestBind("ada", "secret", {"whoami", "-R", "three"}), losingBind(peer.uri()))
            .status,
        1);
    expectAbandoned(peer);
}

TEST(SaslAbandon, AfterAChallengeWithoutARealm) {
    ChallengePeer peer(R"(nonce="abc",qop="auth",charset=utf-8,algorithm=md5-sess)");
    EXPECT_EQ(runTool(digestBind("ada", "secret", {"whoami"}), {{{"LDAPURI", peer.uri()}}, {}, {}})
                  .status,
              1);
    expectAbandoned(peer);
}

TEST(SaslAbandon, AtCtrlC) {
    ChallengePeer peer(challenge);
    Terminal terminal(digestBind("ada", "secret", {"whoami"}), losingBind(peer.uri()));
    ASSERT_TRUE(terminal.waitFor("Realm"));
    terminal.type("\x03");
    EXPECT_EQ(terminal.finish().status, 128 + SIGINT);
    expectAbandoned(peer);
}

TEST(SaslAbandon, AnswerHasTheChosenRealmAndUser) {
    ChallengePeer peer(challenge);
    const Result result =
        runTool(digestBind("ada", "secret", {"whoami", "-R", "two", "--timeout", "1", "--json"}),
                losingBind(peer.uri()));
    EXPECT_EQ(result.error()["code"], -5);
    for (const char *directive : {R"(username="ada")", R"(realm="two")", R"(nonce="abc")"})
        EXPECT_THAT(peer.rest(), HasSubstr(directive));
    EXPECT_THAT(peer.rest(), EndsWith(unbind(3)));
}

} // namespace
} // namespace test
