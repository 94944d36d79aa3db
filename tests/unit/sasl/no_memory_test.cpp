// DIGEST-MD5 with memory that runs out at each of its allocations.
#include "no_memory.h"

#include "sasl/proof.h"

#include <qldapx.h>
#include <qldapx/digest_challenge.h>

namespace qldapx_test {
namespace {

const Bytes challengeText =
    "realm=a,nonce=\"n\\x\",qop=\"auth,auth-int\",charset=utf-8,maxbuf=5,cipher=\"rc4,des\","
    "algorithm=md5-sess,unknown=x";

// Lets each allocation of a call fail in turn; nothing may stay allocated. call() returns its
// result and releases its outputs.
template <class Call>
void exhaustCall(int failure, Call call) {
    bool failed = true;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        const long before = failing_memory::liveBlocks();
        failing_memory::failAllocation(number);
        const int result = call();
        failed = failing_memory::disarm();
        EXPECT_EQ(result, failed ? failure : 0);
        EXPECT_EQ(failing_memory::liveBlocks(), before);
        EXPECT_TRUE(failed || number > 1);
        ASSERT_LT(number, 1000);
    }
}

berval asCredentials(const Bytes &text) {
    return {text.size(), const_cast<char *>(text.data())};
}

TEST(DigestDirectives, NoMemory) {
    exhaustCall(1021, [] {
        ParsedDirective untouched = {};
        ParsedDirective *list = &untouched;
        std::int32_t position = 0;
        const int result =
            parseDirectiveList(challengeText.data(),
                               static_cast<std::uint32_t>(challengeText.size()), &list, &position);
        EXPECT_EQ(position, -1);
        EXPECT_EQ(list == nullptr, result != 0);
        freeParsedDirectives(list);
        return result;
    });
}

// A challenge that nobody has seen leaves no realm behind.
TEST(DigestChallenge, NoMemory) {
    exhaustCall(LDAP_NO_MEMORY, [] {
        berval credentials = asCredentials(challengeText);
        DigestChallenge *challenge = nullptr;
        const int result = getDigestChallenge(&credentials, &challenge, 0);
        EXPECT_EQ(challenge == nullptr, result != 0);
        if (challenge != nullptr) {
            ldapx_memfree(challenge->realms->realm);
            freeDigestChallenge(challenge);
        }
        return result;
    });
}

TEST(DigestChallenge, FaultsLeaveNothing) {
    for (const char *text : {"realm=a,realm=b,nonce=n,qop=auth", "realm=a,maxbuf=0", "realm=a,,",
                             "realm=a,charset=x", "realm=a,qop=\"a b\"", "realm=\"a"}) {
        const long before = failing_memory::liveBlocks();
        berval credentials = asCredentials(text);
        DigestChallenge *challenge = nullptr;
        EXPECT_NE(getDigestChallenge(&credentials, &challenge, 0), 0);
        EXPECT_EQ(failing_memory::liveBlocks(), before) << text;
    }
}

TEST(DigestProof, NoMemory) {
    exhaustCall(LDAP_NO_MEMORY, [] {
        const Bytes text = "rspauth=ab,x=y";
        berval credentials = asCredentials(text);
        char *rspauth = nullptr;
        const int result = getResponseAuth(&credentials, &rspauth);
        EXPECT_EQ(rspauth == nullptr, result != 0);
        ldapx_memfree(rspauth);
        return result;
    });
}

const std::vector<ScriptedPeer::Step> script = {
    ScriptedPeer::answer(bindResponse(LDAP_SASL_BIND_IN_PROGRESS, challengeText)),
    ScriptedPeer::computed(
        [](const Bytes &message) { return provenAnswer(proofFor(message, "joe", "secret")); })};

// Releases a bind that has been started, its one realm too.
void giveUp(void **context) {
    if (*context != nullptr) {
        const failing_memory::Pause memory;
        ldap_bind_digest_md5_finish(context, "joe", nullptr, 0, 0, QLDAPX_DIGEST_COMPLETE);
    }
}

TEST(DigestBindStart, NoMemory) {
    void *context = nullptr;
    exhaust(
        script, [&](LDAP *ld) { return ldap_bind_digest_md5_start(ld, &context); },
        [&](int result) {
            EXPECT_EQ(context == nullptr, result != 0);
            giveUp(&context);
        });
}

TEST(DigestBindRealms, NoMemory) {
    void *context = nullptr;
    exhaust(
        script,
        [&](LDAP *ld) {
            {
                const failing_memory::Pause memory;
                EXPECT_EQ(ldap_bind_digest_md5_start(ld, &context), LDAP_SUCCESS);
            }
            char unwritten[] = "unwritten", *list[] = {unwritten}, **realms = list;
            const int result = ldap_get_digest_md5_realms(context, &realms);
            EXPECT_EQ(realms == nullptr, result != 0);
            EXPECT_NE(realms, list);
            return result;
        },
        [&](int) { giveUp(&context); });
}

// But for a wait that failed, after which what the answer was made of is lost, with its realm. A
// host name for which libldap has no memory is none, as the one of a session without a host.
TEST(DigestBindFinish, NoMemory) {
    ScriptedPeer({}).session();
    constexpr long hostName = 1;
    bool failed = true;
    for (long number = 1; failed; ++number) {
        SCOPED_TRACE(testing::Message() << "allocation " << number);
        ScriptedPeer peer(script);
        const long before = failing_memory::liveBlocks();
        LDAP *ld = peer.session();
        void *context = nullptr;
        ASSERT_EQ(ldap_bind_digest_md5_start(ld, &context), LDAP_SUCCESS);
        failing_memory::failAllocation(number);
        const int result =
            ldap_bind_digest_md5_finish(&context, "joe", "secret", -1, 0, QLDAPX_DIGEST_COMPLETE);
        failed = failing_memory::disarm();
        const bool mustFail = failed && number != hostName;
        EXPECT_TRUE(mustFail ? result < LDAP_SUCCESS : result == LDAP_SUCCESS) << result;
        const bool isKept = context != nullptr;
        if (isKept)
            ldap_bind_digest_md5_finish(&context, nullptr, nullptr, 0, 0, QLDAPX_DIGEST_ABANDON);
        peer.closeSession();
        EXPECT_EQ(failing_memory::liveBlocks(), before + (isKept ? 3 : 0));
        ASSERT_LT(number, 1000);
    }
}

} // namespace
} // namespace qldapx_test
