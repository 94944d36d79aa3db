// Challenges, their directives and proofs: what the library makes of them, and what the model does.
#include "sasl/model_run.h"
#include "sasl/model_text.h"

#include <gtest/gtest.h>
#include <ldap.h>
#include <sstream>

namespace qldapx_test::digest_model {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t longestText = 4, randomTexts = 4000;
#else
constexpr std::size_t longestText = 6, randomTexts = 60000;
#endif

std::string shown(const std::optional<std::string> &text) {
    return text ? printable(*text) : "-";
}

std::string shown(const Challenge &challenge) {
    std::ostringstream out;
    out << "nonce " << shown(challenge.nonce) << " qop " << challenge.qop << " stale "
        << challenge.stale << " maxbuf " << challenge.maxbuf << " charset "
        << shown(challenge.charset) << " algorithm " << shown(challenge.algorithm) << " ciphers "
        << challenge.ciphers << " realms";
    for (const std::string &realm : challenge.realms)
        out << " " << printable(realm);
    return out.str();
}

std::string shown(const Reading &reading) {
    return "code " + std::to_string(reading.code) + (reading.isCleared ? ", cleared" : "") +
           (reading.challenge ? ", " + shown(*reading.challenge) : "");
}

std::string shown(const Proof &proof) {
    return "code " + std::to_string(proof.code) + ", " + shown(proof.rspauth);
}

template <class Result>
bool agree(const std::string &text, const Result &found, const Result &expected) {
    if (found == expected)
        return true;
    ADD_FAILURE() << printable(text) << "\nfound    " << shown(found) << "\nexpected "
                  << shown(expected);
    return false;
}

bool readsChallenge(const std::string &text) {
    for (const bool staleAllowed : {false, true}) {
        const Reading expected = challengeOf(text, staleAllowed);
        if (!agree(text, librarysChallenge(text, staleAllowed, expected), expected))
            return false;
    }
    return true;
}

bool readsProof(const std::string &text) {
    const Proof expected = proofOf(text);
    return agree(text, librarysProof(text, expected), expected);
}

// A directive for one record after another, until a handler refuses it; what that one leaves in the
// record counts, too, but for a number that it has refused.
void handleSome(Random &random) {
    Challenge expected;
    LibrarysChallenge found;
    std::string story;
    for (int code = 0; code == 0 && !random.oneIn(9);) {
        const std::size_t number = random.below(handlerCount);
        const Handler &handler = handlers[number];
        const std::string text = damaged(random, "a=" + randomValue(random, handler.directive));
        const DirectiveList list = directivesOf(text);
        if (list.directives.empty())
            continue;
        story += std::string(" ") + handler.directive + printable(text);
        const Directive &directive = list.directives.front();
        code = handler.handle(expected, directive);
        ASSERT_EQ(found.handle(number, directive), code) << story;
        if (code == 1001)
            return;
        ASSERT_TRUE(agree(story, found.describe(expected.nonce), expected));
    }
}

TEST(ChallengeModel, Handlers) {
    Random random(4);
    for (std::size_t i = 0; i < randomTexts && !HasFatalFailure(); ++i)
        handleSome(random);
}

// Bytes as no parser would give them, too.
TEST(ChallengeModel, EveryShortValueOfAHandler) {
    for (std::size_t number = 0; number < handlerCount; ++number)
        everyText(std::string_view("t0, \0\x80", 6), longestText, [&](const std::string &text) {
            Challenge expected;
            LibrarysChallenge found;
            const Directive directive{2, handlers[number].directive, text + '\0'};
            const int code = handlers[number].handle(expected, directive);
            const int result = found.handle(number, directive);
            EXPECT_EQ(result, code) << handlers[number].directive << printable(text);
            return result == code &&
                   (code == 1001 || agree(text, found.describe(expected.nonce), expected));
        });
}

// Prefixes and what is longer, alone, first and last in a list.
TEST(ChallengeModel, EveryBeginningOfAKeyword) {
    for (const std::string word : {"auth", "auth-int", "auth-conf", "3des", "des", "rc4-40", "rc4",
                                   "rc4-56", "true", "utf-8", "md5-sess"})
        for (std::size_t length = 0; length <= word.size() + 1; ++length) {
            const std::string token = (word + "x").substr(0, length);
            for (const std::string &list : {token, token + ",z", "z," + token, " " + token + " "})
                for (const char *name : {"qop", "cipher", "stale", "charset", "algorithm"})
                    for (const char *rest : {"", ",qop=auth", ",cipher=rc4", ",stale=t"}) {
                        const std::string text = "nonce=n,algorithm=md5-sess," + std::string(name) +
                                                 "=\"" + list + "\"" + rest;
                        ASSERT_TRUE(readsChallenge(text));
                    }
        }
}

const char *const samples[] = {
    R"(realm="a",realm=b,nonce="x\"y",qop="auth,auth-int",algorithm=md5-sess,charset=utf-8)",
    R"(qop="auth,auth-conf",cipher="3des,rc4",nonce=n,algorithm=md5-sess,maxbuf=65536,stale=true)",
};

TEST(ChallengeModel, EveryByteAtEveryPlace) {
    for (const char *sample : samples)
        everyByteOf(sample, readsChallenge);
}

TEST(ChallengeModel, RandomChallenges) {
    Random random(5);
    for (std::size_t i = 0; i < randomTexts; ++i) {
        ASSERT_TRUE(readsChallenge(randomChallenge(random)));
        ASSERT_TRUE(readsChallenge(damaged(random, randomChallenge(random))));
    }
}

TEST(ChallengeModel, RandomLists) {
    Random random(6);
    for (std::size_t i = 0; i < randomTexts; ++i)
        ASSERT_TRUE(readsChallenge(damaged(random, randomDirectives(random))));
}

// 4294967298 is 2 where it is cut to 32 bits.
TEST(ChallengeModel, MoreThanPositionsCanSay) {
    const ExactText text("a=");
    for (const std::size_t length : {0x80000000UL, 0xFFFFFFFFUL, 0x100000002UL}) {
        berval credentials{length, text.get()};
        DigestChallenge record{}, *challenge = &record;
        EXPECT_EQ(getDigestChallenge(&credentials, &challenge, 1), LDAP_NO_MEMORY) << length;
        EXPECT_EQ(challenge, &record);
        char *rspauth = text.get();
        EXPECT_EQ(getResponseAuth(&credentials, &rspauth), LDAP_NO_MEMORY) << length;
        EXPECT_EQ(rspauth, nullptr);
    }
}

TEST(ProofModel, EveryShortText) {
    everyText("=,\"\\ a", longestText,
              [](const std::string &text) { return readsProof("rspauth" + text); });
    everyText("r=, ", longestText, readsProof);
}

TEST(ProofModel, EveryByteAtEveryPlace) {
    for (const char *sample :
         {"rspauth=0123456789abcdef0123456789abcdef", R"( rspauth = "a\"\b" , other=x)"})
        everyByteOf(sample, readsProof);
}

TEST(ProofModel, RandomLists) {
    Random random(7);
    for (std::size_t i = 0; i < randomTexts; ++i) {
        ASSERT_TRUE(readsProof(damaged(random, randomDirectives(random))));
        ASSERT_TRUE(readsProof(damaged(random, "rspauth=" + randomValue(random, "rspauth"))));
    }
}

} // namespace
} // namespace qldapx_test::digest_model
