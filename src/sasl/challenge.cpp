#include "sasl/challenge.h"

#include "sasl/qop.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

namespace qldapx {
namespace {

constexpr std::uint32_t maxbufNotGiven = 0xFFFFFFFF;
constexpr std::uint32_t defaultMaxbuf = 65536;

// A keyword or any beginning of it, the empty one too: its terminating zero ends the comparison.
bool matches(const char *text, std::size_t length, const char *keyword) {
    return std::memcmp(text, keyword, std::min(length, std::strlen(keyword) + 1)) == 0;
}

// How a list of tokens becomes bits: the keyword at place n is bit n.
struct TokenRule {
    std::span<const char *const> keywords;
    std::int32_t other;
    // The last cipher of a list counts as unknown whatever it is, so a list of one has none that is
    // known. Servers and callers have long agreed on challenges read so.
    bool lastCounts;
};

constexpr std::array ciphers = {"3des", "des", "rc4-40", "rc4", "rc4-56"};
constexpr TokenRule qopRule = {qopNames, QLDAPX_DIGEST_QOP_OTHER, true};
constexpr TokenRule cipherRule = {ciphers, QLDAPX_DIGEST_CIPHER_OTHER, false};

std::int32_t bitOf(const TokenRule &rule, const char *token, std::size_t length) {
    for (std::size_t i = 0; i < rule.keywords.size(); ++i)
        if (matches(token, length, rule.keywords[i]))
            return 1 << i;
    return rule.other;
}

// A call that gives no token ends the list: white space behind the last one leads there.
int readTokens(const TokenRule &rule, const ParsedDirective &directive, std::int32_t &bits) {
    void *state = nullptr;
    int result = 0;
    const char *token = nullptr;
    do {
        std::uint32_t length = 0;
        std::int32_t position = 0;
        result = parseTokenList(directive.value, static_cast<std::uint32_t>(directive.valueLength),
                                &token, &length, &state, &position);
        const bool isLast = result == QLDAPX_DIGEST_LAST_TOKEN;
        if (token != nullptr && (!isLast || rule.lastCounts))
            bits |= bitOf(rule, token, length);
        else if (result != 0 || !rule.lastCounts)
            bits |= rule.other;
    } while (result == 0 && token != nullptr);
    std::free(state);
    return result == QLDAPX_DIGEST_LAST_TOKEN ? 0 : result;
}

int handleTokens(const TokenRule &rule, const ParsedDirective &directive, std::int32_t &bits) {
    return bits != 0 ? int{QLDAPX_DIGEST_TWICE} : readTokens(rule, directive, bits);
}

// What a directive with one possible value says is kept even when it says something else.
int handleText(const ParsedDirective &directive, char *&field, const char *expected,
               int otherwise) {
    if (field != nullptr)
        return QLDAPX_DIGEST_TWICE;
    field = strdup(directive.value);
    if (field == nullptr)
        return LDAP_NO_MEMORY;
    return std::strcmp(field, expected) == 0 ? 0 : otherwise;
}

using Handler = int(ParsedDirective *, DigestChallenge *);

struct Named {
    std::string_view name;
    Handler *handler;
};

constexpr std::array handlers = {
    Named{"realm", handleRealm},     Named{"nonce", handleNonce},
    Named{"qop", handleQop},         Named{"maxbuf", handleMaxbuf},
    Named{"charset", handleCharset}, Named{"algorithm", handleAlgorithm},
    Named{"cipher", handleCipher},   Named{"stale", handleStale},
};

int handle(ParsedDirective &directive, DigestChallenge &challenge) {
    const auto named = std::find_if(handlers.begin(), handlers.end(),
                                    [&](const Named &each) { return each.name == directive.name; });
    if (named == handlers.end())
        return 0;
    const int result = named->handler(&directive, &challenge);
    return result == QLDAPX_DIGEST_NO_MEMORY ? LDAP_NO_MEMORY : result;
}

int check(const DigestChallenge &challenge, bool staleAllowed) {
    constexpr int knownCiphers = QLDAPX_DIGEST_CIPHER_OTHER - 1;
    if ((challenge.qopOptions & QLDAPX_DIGEST_QOP_AUTH) == 0)
        return QLDAPX_DIGEST_NO_AUTH;
    if ((challenge.qopOptions & QLDAPX_DIGEST_QOP_AUTH_CONF) != 0 &&
        (challenge.cipherOptions & knownCiphers) == 0)
        return QLDAPX_DIGEST_NO_CIPHER;
    if (challenge.nonce == nullptr)
        return QLDAPX_DIGEST_NO_NONCE;
    if (challenge.stale != 0 && !staleAllowed)
        return QLDAPX_DIGEST_STALE;
    return challenge.algorithm == nullptr ? int{QLDAPX_DIGEST_NO_ALGORITHM} : 0;
}

int interpret(ParsedDirective *list, DigestChallenge &challenge, bool staleAllowed) {
    for (ParsedDirective *directive = list; directive != nullptr; directive = directive->next)
        if (const int result = handle(*directive, challenge); result != 0)
            return result;
    if (challenge.maxbuf == maxbufNotGiven)
        challenge.maxbuf = defaultMaxbuf;
    return check(challenge, staleAllowed);
}

UnseenChallengePtr newChallenge() {
    auto *const challenge = static_cast<DigestChallenge *>(std::malloc(sizeof(DigestChallenge)));
    if (challenge != nullptr) {
        *challenge = {};
        challenge->maxbuf = maxbufNotGiven;
    }
    return UnseenChallengePtr(challenge);
}

} // namespace
} // namespace qldapx

extern "C" {

int handleRealm(ParsedDirective *directive, DigestChallenge *challenge) {
    qldapx::HeapPtr copy(strdup(directive->value));
    auto *const realm = static_cast<DigestRealm *>(std::malloc(sizeof(DigestRealm)));
    if (!copy || realm == nullptr) {
        std::free(realm);
        return LDAP_NO_MEMORY;
    }
    *realm = {challenge->realms, copy.release()};
    challenge->realms = realm;
    ++challenge->realmCount;
    return 0;
}

int handleNonce(ParsedDirective *directive, DigestChallenge *challenge) {
    if (challenge->nonce != nullptr)
        return QLDAPX_DIGEST_TWICE;
    challenge->nonce =
        qldapx::copyBytes(directive->value, static_cast<size_t>(directive->valueLength)).release();
    return challenge->nonce != nullptr ? 0 : LDAP_NO_MEMORY;
}

int handleQop(ParsedDirective *directive, DigestChallenge *challenge) {
    return qldapx::handleTokens(qldapx::qopRule, *directive, challenge->qopOptions);
}

int handleMaxbuf(ParsedDirective *directive, DigestChallenge *challenge) {
    if (challenge->maxbuf != qldapx::maxbufNotGiven)
        return QLDAPX_DIGEST_TWICE;
    challenge->maxbuf = static_cast<uint32_t>(std::strtol(directive->value, nullptr, 10));
    return challenge->maxbuf != 0 ? 0 : QLDAPX_DIGEST_BAD_MAXBUF;
}

int handleCharset(ParsedDirective *directive, DigestChallenge *challenge) {
    return qldapx::handleText(*directive, challenge->charset, "utf-8", QLDAPX_DIGEST_BAD_CHARSET);
}

int handleAlgorithm(ParsedDirective *directive, DigestChallenge *challenge) {
    return qldapx::handleText(*directive, challenge->algorithm, "md5-sess",
                              QLDAPX_DIGEST_BAD_ALGORITHM);
}

int handleCipher(ParsedDirective *directive, DigestChallenge *challenge) {
    return qldapx::handleTokens(qldapx::cipherRule, *directive, challenge->cipherOptions);
}

int handleStale(ParsedDirective *directive, DigestChallenge *challenge) {
    if (challenge->stale != 0)
        return QLDAPX_DIGEST_TWICE;
    if (!qldapx::matches(directive->value, static_cast<size_t>(directive->valueLength), "true"))
        return QLDAPX_DIGEST_BAD_STALE;
    challenge->stale = 1;
    return 0;
}

int getDigestChallenge(berval *credentials, DigestChallenge **challenge, int staleAllowed) {
    qldapx::DirectivesPtr list;
    if (const int result = qldapx::parseCredentials(credentials, list); result != LDAP_SUCCESS)
        return result;
    *challenge = nullptr;
    qldapx::UnseenChallengePtr built = qldapx::newChallenge();
    if (!built)
        return LDAP_NO_MEMORY;
    const int result = qldapx::interpret(list.get(), *built, staleAllowed != 0);
    if (result == 0)
        *challenge = built.release();
    return result;
}

void freeDigestChallenge(DigestChallenge *challenge) {
    for (DigestRealm *realm = challenge->realms; realm != nullptr;) {
        DigestRealm *const next = realm->next;
        std::free(realm);
        realm = next;
    }
    std::free(challenge->nonce);
    std::free(challenge->charset);
    std::free(challenge->algorithm);
    std::free(challenge);
}

int getResponseAuth(berval *credentials, char **rspauth) {
    *rspauth = nullptr;
    qldapx::DirectivesPtr list;
    if (const int result = qldapx::parseCredentials(credentials, list); result != LDAP_SUCCESS)
        return result;
    if (!list)
        return LDAP_SUCCESS;
    if (std::strcmp(list->name, "rspauth") != 0)
        return LDAP_PROTOCOL_ERROR;
    *rspauth = qldapx::copyBytes(list->value, static_cast<size_t>(list->valueLength)).release();
    return *rspauth != nullptr ? LDAP_SUCCESS : LDAP_NO_MEMORY;
}
}
