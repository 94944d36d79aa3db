// DIGEST-MD5: the challenge's parts, and whole binds.
#include "memory/rows.h"
#include "sasl/proof.h"
#include "support/scripted_peer.h"

#include <cstdlib>
#include <qldapx.h>
#include <qldapx/digest_challenge.h>

namespace qldapx_test::memory {
namespace {

const Bytes challengeText =
    "realm=a,nonce=\"n\\x\",qop=\"auth,auth-int\",charset=utf-8,maxbuf=5,cipher=\"rc4,des\","
    "algorithm=md5-sess,unknown=x";

berval asCredentials(const Bytes &text) {
    return {text.size(), const_cast<char *>(text.data())};
}

void classify(Trial &trial) {
    trial.call("isWhiteSpace", [] { return isWhiteSpace(' '); });
    trial.call("isValidTokenChar", [] { return isValidTokenChar('a'); });
}

void parseDirectives(Trial &trial) {
    const Watch watch(trial);
    ParsedDirective untouched = {};
    ParsedDirective *list = &untouched;
    std::int32_t position = 0;
    const int result = trial.code("parseDirectiveList", [&] {
        return parseDirectiveList(challengeText.data(),
                                  static_cast<std::uint32_t>(challengeText.size()), &list,
                                  &position);
    });
    trial.expect(position == -1 && (list == nullptr) == (result != 0), "another output");
    trial.call("freeParsedDirectives", [&] { freeParsedDirectives(list); });
}

void addToParser(Trial &trial) {
    const Watch watch(trial);
    DirectiveParser parser = {};
    parser.text = "name=value";
    parser.position = 4;
    const int added = trial.code("addDirective", [&] { return addDirective(&parser); });
    parser.start = 5;
    parser.position = 10;
    if (added == 0)
        trial.code("addValue", [&] { return addValue(&parser, 1); });
    freeParsedDirectives(parser.first);
}

void parseTokens(Trial &trial) {
    const Watch watch(trial);
    const char text[] = "auth,auth-int";
    const char *token = nullptr;
    std::uint32_t length = 0;
    void *state = nullptr;
    std::int32_t position = 0;
    const int result = trial.code("parseTokenList", [&] {
        return parseTokenList(text, sizeof text - 1, &token, &length, &state, &position);
    });
    trial.expect((token == nullptr) == (result != 0), "another output");
    ldapx_memfree(state);
}

struct Handler {
    const char *name;
    int (*handle)(ParsedDirective *directive, DigestChallenge *challenge);
    Bytes value;
};

const Handler handlers[] = {
    {"handleRealm", handleRealm, "a"},          {"handleNonce", handleNonce, "n"},
    {"handleQop", handleQop, "auth,auth-int"},  {"handleMaxbuf", handleMaxbuf, "5"},
    {"handleCharset", handleCharset, "utf-8"},  {"handleAlgorithm", handleAlgorithm, "md5-sess"},
    {"handleCipher", handleCipher, "3des,rc4"}, {"handleStale", handleStale, "true"},
};

void handle(Trial &trial, const Handler &handler) {
    const Watch watch(trial);
    ParsedDirective directive = {};
    char name[] = "name";
    Bytes value = handler.value;
    directive.kind = 1;
    directive.name = name;
    directive.value = value.data();
    directive.valueLength = static_cast<std::int32_t>(value.size());
    auto *challenge = static_cast<DigestChallenge *>(std::calloc(1, sizeof(DigestChallenge)));
    challenge->maxbuf = 0xFFFFFFFF;
    trial.code(handler.name, [&] { return handler.handle(&directive, challenge); });
    if (challenge->realms != nullptr)
        ldapx_memfree(challenge->realms->realm);
    freeDigestChallenge(challenge);
}

// A challenge that nobody has seen leaves no realm behind.
void readChallenge(Trial &trial) {
    const Watch watch(trial);
    berval credentials = asCredentials(challengeText);
    DigestChallenge *challenge = nullptr;
    const int result = trial.code("getDigestChallenge",
                                  [&] { return getDigestChallenge(&credentials, &challenge, 0); });
    trial.expect((challenge == nullptr) == (result != 0), "another output");
    if (challenge == nullptr)
        return;
    ldapx_memfree(challenge->realms->realm);
    trial.call("freeDigestChallenge", [&] { freeDigestChallenge(challenge); });
}

void readProof(Trial &trial) {
    const Watch watch(trial);
    const Bytes text = "rspauth=ab,x=y";
    berval credentials = asCredentials(text);
    char *rspauth = nullptr;
    const int result =
        trial.code("getResponseAuth", [&] { return getResponseAuth(&credentials, &rspauth); });
    trial.expect((rspauth == nullptr) == (result != 0), "another output");
    ldapx_memfree(rspauth);
}

Bytes answerTo(const Bytes &message) {
    return provenAnswer(proofFor(message, "joe", "secret"));
}

void giveUp(void **context) {
    ldap_bind_digest_md5_finish(context, "joe", nullptr, 0, 0, QLDAPX_DIGEST_ABANDON);
}

// Where the wait for the answer fails, what the answer was made of is lost, with its realm: that is
// the contract. A host name for which libldap has no memory is none.
void bind(Trial &trial) {
    constexpr long lostByAWait = 3;
    ScriptedPeer peer(
        {ScriptedPeer::answer(bindResponse(LDAP_SASL_BIND_IN_PROGRESS, challengeText)),
         ScriptedPeer::computed(answerTo)});
    Watch watch(trial);
    LDAP *ld = peer.session();
    void *context = nullptr;
    char **realms = nullptr;
    const int started = trial.code("ldap_bind_digest_md5_start",
                                   [&] { return ldap_bind_digest_md5_start(ld, &context); });
    trial.expect((context != nullptr) == (started == 0), "another output");
    if (started != 0)
        return peer.closeSession();
    trial.code("ldap_get_digest_md5_realms",
               [&] { return ldap_get_digest_md5_realms(context, &realms); });
    trial.code(
        "ldap_bind_digest_md5_finish",
        [&] {
            return ldap_bind_digest_md5_finish(&context, "joe", "secret", -1, 0,
                                               QLDAPX_DIGEST_COMPLETE);
        },
        Without::mayGoOn);
    if (context != nullptr) {
        giveUp(&context);
        watch.allow(lostByAWait);
    }
    peer.closeSession();
}

void abandon(Trial &trial) {
    ScriptedPeer peer(
        {ScriptedPeer::answer(bindResponse(LDAP_SASL_BIND_IN_PROGRESS, challengeText)),
         ScriptedPeer::silence()});
    Watch watch(trial);
    LDAP *ld = peer.session();
    void *context = nullptr;
    ldap_bind_digest_md5_start(ld, &context);
    const int result = trial.call("ldap_bind_digest_md5_finish", [&] {
        return ldap_bind_digest_md5_finish(&context, nullptr, nullptr, 0, 0, QLDAPX_DIGEST_ABANDON);
    });
    trial.expect(result == LDAP_USER_CANCELLED || (trial.hasFailed() && result < 0),
                 "another result");
    trial.expect(context == nullptr, "another output");
    watch.allow(1); // the realm that was not chosen
    peer.closeSession();
}

} // namespace

void addDigestMd5(Rows &rows) {
    rows.push_back({"characters", classify});
    rows.push_back({"directives", parseDirectives});
    rows.push_back({"directive", addToParser});
    rows.push_back({"tokens", parseTokens});
    for (const Handler &handler : handlers)
        rows.push_back({handler.name, [&handler](Trial &trial) { handle(trial, handler); }});
    rows.push_back({"challenge", readChallenge});
    rows.push_back({"proof", readProof});
    rows.push_back({"bind", bind});
    rows.push_back({"bind that is abandoned", abandon});
}

} // namespace qldapx_test::memory
