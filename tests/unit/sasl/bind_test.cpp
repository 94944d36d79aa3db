// The bind with its two steps, message by message.
#include "sasl/proof.h"
#include "support/case_name.h"
#include "support/expected_leak.h"
#include "support/scripted_peer.h"

#include <cstring>
#include <gtest/gtest.h>
#include <qldapx.h>

namespace qldapx_test {
namespace {

using Step = ScriptedPeer::Step;

constexpr char challengeText[] =
    "realm=\"a.example\",nonce=\"N\",qop=\"auth\",charset=utf-8,algorithm=md5-sess";
const Bytes rest = ",nonce=N,qop=auth,algorithm=md5-sess";

void *const untouched = reinterpret_cast<void *>(8);

Step challengeOf(const std::optional<Bytes> &text, int code = LDAP_SASL_BIND_IN_PROGRESS) {
    return ScriptedPeer::answer(bindResponse(code, text));
}

// Answers a right response with its proof, and a wrong one with a refusal.
Step proving(const std::string &user, const Bytes &password) {
    return ScriptedPeer::computed([=](const Bytes &message) {
        const Proof proof = proofFor(message, user, password);
        return directiveIn(message, "response") == proof.client()
                   ? provenAnswer(proof)
                   : bindResponse(LDAP_INVALID_CREDENTIALS, std::nullopt);
    });
}

// The operation of a message, behind its message id.
Bytes operationOf(const Bytes &message) {
    const auto length = static_cast<unsigned char>(message[1]);
    const std::size_t header = length & 0x80U ? 2U + (length & 0x7fU) : 2U;
    return message.substr(header + 3);
}

struct Finish {
    const char *user = "joe";
    const char *password = "secret";
    int passwordLength = -1;
    int realmIndex = 0;
    int mode = QLDAPX_DIGEST_COMPLETE;
};

int finish(void **context, const Finish &call) {
    return ldap_bind_digest_md5_finish(context, call.user, call.password, call.passwordLength,
                                       call.realmIndex, call.mode);
}

// Both steps; realms that nobody chooses are lost by contract.
int bindWhole(LDAP *ld, const Finish &call) {
    const ExpectedLeak realms;
    void *context = nullptr;
    if (const int result = ldap_bind_digest_md5_start(ld, &context); result != 0)
        return result;
    const int result = finish(&context, call);
    EXPECT_EQ(context, nullptr);
    return result;
}

TEST(DigestBind, Whole) {
    ScriptedPeer peer({challengeOf(challengeText), proving("joe", "secret")});
    EXPECT_EQ(bindWhole(peer.session(), {}), LDAP_SUCCESS);
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_EQ(operationOf(peer.received()[0]), bindRequest(std::nullopt));
    const Bytes &second = peer.received()[1];
    const Proof proof = proofFor(second, "joe", "secret");
    EXPECT_EQ(operationOf(second),
              bindRequest("username=\"joe\",realm=\"a.example\",cnonce=\"" + proof.cnonce +
                          "\",nc=00000001,qop=auth,digest-uri=\"" + proof.digestUri +
                          "\",response=" + proof.client() + ",charset=utf-8,nonce=\"N\""));
    EXPECT_EQ(proof.cnonce.size(), 64U);
    EXPECT_EQ(proof.cnonce.find_first_not_of("0123456789ABCDEF"), std::string::npos);
    EXPECT_EQ(proof.digestUri, "ldap/scripted.example");
}

TEST(DigestBind, NoncesDiffer) {
    std::string nonces[2];
    for (std::string &nonce : nonces) {
        ScriptedPeer peer({challengeOf(challengeText), proving("joe", "secret")});
        EXPECT_EQ(bindWhole(peer.session(), {}), LDAP_SUCCESS);
        nonce = directiveIn(peer.received().at(1), "cnonce");
    }
    EXPECT_NE(nonces[0], nonces[1]);
}

TEST(DigestBind, SeveralOnOneSession) {
    ScriptedPeer peer({challengeOf(challengeText), proving("joe", "secret"),
                       challengeOf(challengeText), proving("joe", "other"),
                       challengeOf(challengeText), proving("ann", "a")});
    EXPECT_EQ(bindWhole(peer.session(), {}), LDAP_SUCCESS);
    EXPECT_EQ(bindWhole(peer.session(), {}), LDAP_INVALID_CREDENTIALS);
    EXPECT_EQ(bindWhole(peer.session(), {"ann", "a"}), LDAP_SUCCESS);
}

struct PasswordCase {
    const char *name;
    const char *password;
    int length;
    Bytes hashed;
};

class DigestPassword : public testing::TestWithParam<PasswordCase> {};

TEST_P(DigestPassword, Hashed) {
    ScriptedPeer peer({challengeOf(challengeText), proving("joe", GetParam().hashed)});
    EXPECT_EQ(bindWhole(peer.session(), {"joe", GetParam().password, GetParam().length}),
              LDAP_SUCCESS);
}

const PasswordCase passwordCases[] = {
    {"ToItsZero", "abc", -1, "abc"},    {"Shorter", "abc", 2, "ab"},
    {"Longer", "a\0c", 3, {"a\0c", 3}}, {"OfLengthZero", "abc", 0, ""},
    {"Null", nullptr, -1, ""},          {"NullWithALength", nullptr, 5, ""},
};

INSTANTIATE_TEST_SUITE_P(Lengths, DigestPassword, testing::ValuesIn(passwordCases),
                         caseName<PasswordCase>);

struct HostCase {
    const char *name;
    const char *host;
    const char *uri;
};

class DigestHost : public testing::TestWithParam<HostCase> {};

TEST_P(DigestHost, CutAtItsLastColon) {
    ScriptedPeer peer({challengeOf(challengeText), proving("joe", "secret")});
    LDAP *ld = peer.session();
    const ExpectedLeak realms;
    void *context = nullptr;
    ASSERT_EQ(ldap_bind_digest_md5_start(ld, &context), LDAP_SUCCESS);
    ldap_set_option(ld, LDAP_OPT_HOST_NAME, GetParam().host);
    EXPECT_EQ(finish(&context, {}), LDAP_SUCCESS);
    EXPECT_EQ(directiveIn(peer.received().at(1), "digest-uri"), GetParam().uri);
}

const HostCase hostCases[] = {
    {"WithPort", "h:389", "ldap/h"},
    {"WithoutPort", "h", "ldap/h"},
    {"Two", "a:1 b:2", "ldap/a:1 b"},
    {"None", "", "ldap/"},
};

INSTANTIATE_TEST_SUITE_P(Names, DigestHost, testing::ValuesIn(hostCases), caseName<HostCase>);

struct StartCase {
    const char *name;
    Step answer;
    int code;
};

class DigestStart : public testing::TestWithParam<StartCase> {};

TEST_P(DigestStart, Refused) {
    ScriptedPeer peer({GetParam().answer});
    void *context = untouched;
    EXPECT_EQ(ldap_bind_digest_md5_start(peer.session(), &context), GetParam().code);
    EXPECT_EQ(context, untouched);
}

const StartCase startCases[] = {
    {"Success", challengeOf(challengeText, 0), LDAP_PROTOCOL_ERROR},
    {"SuccessWithoutText", challengeOf(std::nullopt, 0), LDAP_PROTOCOL_ERROR},
    {"Unknown", challengeOf(std::nullopt, 7), LDAP_AUTH_METHOD_NOT_SUPPORTED},
    {"RefusedWithAChallenge", challengeOf(challengeText, 49), LDAP_INVALID_CREDENTIALS},
    {"NoCredentials", challengeOf(std::nullopt), 1006},
    {"EmptyCredentials", challengeOf(""), 1006},
    {"NoList", challengeOf("a"), LDAP_PROTOCOL_ERROR},
    {"Stale", challengeOf("stale=true" + rest), 1009},
    {"Twice", challengeOf("nonce=a" + rest), 1002},
    {"BadToken", challengeOf("nonce=N,algorithm=md5-sess,qop=\"auth,,\""), 1030},
    {"ConnectionEnds", ScriptedPeer::closeConnection(), LDAP_SERVER_DOWN},
    {"OtherMessage", ScriptedPeer::answer(tlv(0x78, fromHex("0a 01 00 04 00 04 00"))),
     LDAP_PARAM_ERROR},
    {"Undecodable", ScriptedPeer::answer(fromHex("61 05 0a 01 0e 04 00")), LDAP_DECODING_ERROR},
};

INSTANTIATE_TEST_SUITE_P(Answers, DigestStart, testing::ValuesIn(startCases), caseName<StartCase>);

TEST(DigestBind, NobodyToReceiveTheContext) {
    ScriptedPeer peer({});
    EXPECT_EQ(ldap_bind_digest_md5_start(peer.session(), nullptr), LDAP_PARAM_ERROR);
    EXPECT_TRUE(peer.received().empty());
}

void setTimeout(LDAP *ld) {
    const timeval patience = {0, 50000};
    ldap_set_option(ld, LDAP_OPT_TIMEOUT, &patience);
}

TEST(DigestBind, StartObeysTheSessionsTimeout) {
    ScriptedPeer peer({ScriptedPeer::silence()});
    setTimeout(peer.session());
    void *context = untouched;
    EXPECT_EQ(ldap_bind_digest_md5_start(peer.session(), &context), LDAP_TIMEOUT);
    EXPECT_EQ(context, untouched);
}

struct FinishCase {
    const char *name;
    Step answer;
    int code;
};

class DigestFinish : public testing::TestWithParam<FinishCase> {};

TEST_P(DigestFinish, Refused) {
    ScriptedPeer peer({challengeOf(challengeText), GetParam().answer});
    EXPECT_EQ(bindWhole(peer.session(), {}), GetParam().code);
}

const FinishCase finishCases[] = {
    {"WrongPassword", proving("joe", "other"), LDAP_INVALID_CREDENTIALS},
    {"UnknownUser", challengeOf(std::nullopt, 80), LDAP_OTHER},
    {"NoProof", challengeOf(std::nullopt, 0), LDAP_INVALID_CREDENTIALS},
    {"EmptyProof", challengeOf("rspauth=\"\"", 0), LDAP_INVALID_CREDENTIALS},
    {"WrongProof", challengeOf("rspauth=" + Bytes(32, '0'), 0), LDAP_INVALID_CREDENTIALS},
    {"OtherDirective", challengeOf("x=y", 0), LDAP_PROTOCOL_ERROR},
    {"AnotherStep", challengeOf("rspauth=a"), LDAP_SASL_BIND_IN_PROGRESS},
    {"Undecodable", ScriptedPeer::answer(fromHex("61 05 0a 01 00 04 00")), LDAP_DECODING_ERROR},
};

INSTANTIATE_TEST_SUITE_P(Answers, DigestFinish, testing::ValuesIn(finishCases),
                         caseName<FinishCase>);

TEST(DigestBind, SecondStepsDiagnosticMessageStays) {
    ScriptedPeer peer({challengeOf(challengeText),
                       ScriptedPeer::answer(fromHex("61 08 0a 01 31 04 00 04 01 6d"))});
    EXPECT_EQ(bindWhole(peer.session(), {}), LDAP_INVALID_CREDENTIALS);
}

struct ArgumentCase {
    const char *name;
    Finish call;
};

class DigestArguments : public testing::TestWithParam<ArgumentCase> {};

TEST_P(DigestArguments, Refused) {
    ScriptedPeer peer({challengeOf(challengeText)});
    EXPECT_EQ(bindWhole(peer.session(), GetParam().call), LDAP_PARAM_ERROR);
    EXPECT_EQ(peer.received().size(), 1U);
}

const ArgumentCase argumentCases[] = {
    {"NoUser", {nullptr}},
    {"RealmBelow", {"joe", "secret", -1, -1}},
    {"RealmAbove", {"joe", "secret", -1, 1}},
    {"ModeZero", {"joe", "secret", -1, 0, 0}},
    {"ModeThree", {"joe", "secret", -1, 0, 3}},
    {"LengthBelow", {"joe", "secret", -2}},
};

INSTANTIATE_TEST_SUITE_P(Arguments, DigestArguments, testing::ValuesIn(argumentCases),
                         caseName<ArgumentCase>);

TEST(DigestBind, FinishWithoutAStart) {
    void *context = nullptr;
    EXPECT_EQ(finish(nullptr, {}), LDAP_PARAM_ERROR);
    EXPECT_EQ(finish(&context, {}), LDAP_PARAM_ERROR);
}

// What a program has overwritten is not taken for an open bind.
TEST(DigestBind, NotOpen) {
    for (const int mode : {QLDAPX_DIGEST_COMPLETE, QLDAPX_DIGEST_ABANDON}) {
        ScriptedPeer peer({challengeOf(challengeText)});
        const ExpectedLeak realmStrings;
        void *context = nullptr;
        ASSERT_EQ(ldap_bind_digest_md5_start(peer.session(), &context), LDAP_SUCCESS);
        constexpr std::size_t stateOffset = 2 * sizeof(void *);
        const std::int32_t closed = 0;
        std::memcpy(static_cast<char *>(context) + stateOffset, &closed, sizeof closed);
        char **realms = nullptr;
        EXPECT_EQ(ldap_get_digest_md5_realms(context, &realms), LDAP_PARAM_ERROR);
        EXPECT_EQ(finish(&context, {"joe", "secret", -1, 0, mode}), LDAP_PARAM_ERROR);
        EXPECT_EQ(context, nullptr);
        EXPECT_EQ(peer.received().size(), 1U);
    }
}

// A response longer than a server would take is not sent.
TEST(DigestBind, NonceTooLong) {
    const Bytes challenge = "realm=a,qop=auth,algorithm=md5-sess,nonce=" + Bytes(4000, 'n');
    ScriptedPeer peer({challengeOf(challenge)});
    EXPECT_EQ(bindWhole(peer.session(), {}), LDAP_PARAM_ERROR);
    EXPECT_EQ(peer.received().size(), 1U);
}

TEST(DigestBind, PoolWithoutEntropy) {
    ScriptedPeer peer({challengeOf(challengeText)});
    XRAND_cleanup();
    XRAND_add("", 0, -1000.0);
    EXPECT_EQ(bindWhole(peer.session(), {}), 100);
    EXPECT_EQ(peer.received().size(), 1U);
    XRAND_cleanup();
}

TEST(DigestBind, Abandoned) {
    ScriptedPeer peer({challengeOf(challengeText), ScriptedPeer::silence()});
    EXPECT_EQ(bindWhole(peer.session(), {nullptr, nullptr, -5, -1, QLDAPX_DIGEST_ABANDON}),
              LDAP_USER_CANCELLED);
    ASSERT_EQ(peer.received().size(), 2U);
    EXPECT_EQ(operationOf(peer.received()[1]), bindRequest(std::nullopt));
}

TEST(DigestBind, AbandonThatCannotBeSent) {
    ScriptedPeer peer({challengeOf(challengeText)});
    LDAP *ld = peer.session();
    const ExpectedLeak realms;
    void *context = nullptr;
    ASSERT_EQ(ldap_bind_digest_md5_start(ld, &context), LDAP_SUCCESS);
    const int version = LDAP_VERSION2;
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    EXPECT_EQ(finish(&context, {nullptr, nullptr, 0, 0, QLDAPX_DIGEST_ABANDON}),
              LDAP_NOT_SUPPORTED);
    EXPECT_EQ(context, nullptr);
}

// Nobody answers: the bind stays with its caller, who may try once more or give it up.
TEST(DigestBind, WaitInVain) {
    ScriptedPeer peer(
        {challengeOf(challengeText), ScriptedPeer::silence(), proving("joe", "secret")});
    LDAP *ld = peer.session();
    const ExpectedLeak everything;
    void *context = nullptr;
    ASSERT_EQ(ldap_bind_digest_md5_start(ld, &context), LDAP_SUCCESS);
    void *const kept = context;
    setTimeout(ld);
    EXPECT_EQ(finish(&context, {}), LDAP_TIMEOUT);
    ASSERT_EQ(context, kept);
    char **realms = nullptr;
    EXPECT_EQ(ldap_get_digest_md5_realms(context, &realms), LDAP_SUCCESS);
    EXPECT_STREQ(realms[0], "a.example");
    EXPECT_EQ(finish(&context, {nullptr, nullptr, 0, 0, QLDAPX_DIGEST_ABANDON}),
              LDAP_USER_CANCELLED);
    EXPECT_EQ(context, nullptr);
}

TEST(DigestBind, ConnectionEndsBeforeTheProof) {
    ScriptedPeer peer({challengeOf(challengeText), ScriptedPeer::closeConnection()});
    LDAP *ld = peer.session();
    const ExpectedLeak everything;
    void *context = nullptr;
    ASSERT_EQ(ldap_bind_digest_md5_start(ld, &context), LDAP_SUCCESS);
    EXPECT_EQ(finish(&context, {}), LDAP_SERVER_DOWN);
    EXPECT_NE(context, nullptr);
}

TEST(DigestRealms, LastOneFirst) {
    ScriptedPeer peer({challengeOf("realm=a,realm=\"\",realm=ccc" + rest)});
    const ExpectedLeak strings;
    void *context = nullptr;
    ASSERT_EQ(ldap_bind_digest_md5_start(peer.session(), &context), LDAP_SUCCESS);
    char **realms = nullptr, **again = nullptr;
    ASSERT_EQ(ldap_get_digest_md5_realms(context, &realms), LDAP_SUCCESS);
    EXPECT_STREQ(realms[0], "ccc");
    EXPECT_STREQ(realms[1], "");
    EXPECT_STREQ(realms[2], "a");
    EXPECT_EQ(realms[3], nullptr);
    EXPECT_EQ(realms[0], reinterpret_cast<char *>(realms + 4));
    EXPECT_EQ(ldap_get_digest_md5_realms(context, &again), LDAP_SUCCESS);
    EXPECT_EQ(again, realms);
    EXPECT_EQ(ldap_get_digest_md5_realms(context, nullptr), LDAP_PARAM_ERROR);
    EXPECT_EQ(ldap_get_digest_md5_realms(nullptr, &realms), LDAP_PARAM_ERROR);
    finish(&context, {nullptr});
}

TEST(DigestRealms, EachMayBeChosen) {
    const char *const inOrder[] = {"ccc", "bb", "a"};
    for (int i = 0; i < 3; ++i) {
        ScriptedPeer peer(
            {challengeOf("realm=a,realm=bb,realm=ccc" + rest), proving("joe", "secret")});
        EXPECT_EQ(bindWhole(peer.session(), {"joe", "secret", -1, i}), LDAP_SUCCESS);
        EXPECT_EQ(directiveIn(peer.received().at(1), "realm"), inOrder[i]);
    }
}

// An empty realm is not sent.
TEST(DigestRealms, EmptyOne) {
    ScriptedPeer peer({challengeOf("realm=\"\"" + rest), proving("joe", "secret")});
    EXPECT_EQ(bindWhole(peer.session(), {}), LDAP_SUCCESS);
    EXPECT_EQ(peer.received().at(1).find("realm="), Bytes::npos);
}

TEST(DigestRealms, None) {
    ScriptedPeer peer({challengeOf(rest.substr(1))});
    void *context = nullptr;
    ASSERT_EQ(ldap_bind_digest_md5_start(peer.session(), &context), LDAP_SUCCESS);
    char **realms = nullptr;
    ASSERT_EQ(ldap_get_digest_md5_realms(context, &realms), LDAP_SUCCESS);
    EXPECT_EQ(realms[0], nullptr);
    EXPECT_EQ(finish(&context, {}), LDAP_PARAM_ERROR);
    EXPECT_EQ(context, nullptr);
}

} // namespace
} // namespace qldapx_test
