#include "sasl/model_challenge.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace qldapx_test::digest_model {

namespace {

constexpr int protocolError = 2;
constexpr int badMaxbuf = 1001, twice = 1002, badAlgorithm = 1003, badCharset = 1004,
              badStale = 1005, noAuth = 1006, noCipher = 1007, noNonce = 1008,
              staleChallenge = 1009, noAlgorithm = 1010;
constexpr int auth = 1, authConf = 4, otherQop = 8, knownCiphers = 31, otherCipher = 32;
constexpr std::uint32_t usualMaxbuf = 65536;

std::string_view bytesOf(const Directive &directive) {
    return std::string_view(directive.value).substr(0, directive.value.size() - 1);
}

std::string textOf(const Directive &directive) {
    return directive.value.c_str();
}

// The keyword or a beginning of it; what follows its zero is not looked at.
bool fits(std::string_view token, const char *keyword) {
    const std::string whole = std::string(keyword) + '\0';
    return whole.compare(0, token.size(), token.substr(0, whole.size())) == 0;
}

using Keywords = std::vector<const char *>;

// The bit of the first that fits, which is that of its place.
int bitOf(std::string_view token, const Keywords &keywords) {
    const auto found = std::find_if(keywords.begin(), keywords.end(),
                                    [&](const char *keyword) { return fits(token, keyword); });
    return 1 << (found - keywords.begin());
}

int handleTokens(const Directive &directive, const Keywords &keywords, bool ignoresLast, int other,
                 int &options) {
    if (options != 0)
        return twice;
    const std::string_view text = bytesOf(directive);
    TokenList list(text);
    for (;;) {
        const TokenCall call = list.next();
        const bool isLast = call.code == lastToken;
        const bool isToken = call.start != nowhere;
        if (isToken && !(isLast && ignoresLast))
            options |=
                bitOf(text.substr(static_cast<std::size_t>(call.start), call.length), keywords);
        else if (ignoresLast || call.code != 0)
            options |= other;
        if (!isToken || isLast)
            return isLast ? 0 : call.code;
    }
}

int handleRealm(Challenge &challenge, const Directive &directive) {
    challenge.realms.insert(challenge.realms.begin(), textOf(directive));
    return 0;
}

int handleNonce(Challenge &challenge, const Directive &directive) {
    if (challenge.nonce)
        return twice;
    challenge.nonce = bytesOf(directive);
    return 0;
}

int handleQop(Challenge &challenge, const Directive &directive) {
    return handleTokens(directive, {"auth", "auth-int", "auth-conf"}, false, otherQop,
                        challenge.qop);
}

int handleCipher(Challenge &challenge, const Directive &directive) {
    return handleTokens(directive, {"3des", "des", "rc4-40", "rc4", "rc4-56"}, true, otherCipher,
                        challenge.ciphers);
}

// Decimal, as far as it goes, and no more than a long holds.
std::int64_t numberOf(const std::string &text) {
    const std::size_t first = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const bool hasPlus = text.compare(first, 1, "+") == 0 && text.compare(first, 2, "+-") != 0;
    const char *start = text.data() + first + (hasPlus ? 1 : 0);
    std::int64_t number = 0;
    if (std::from_chars(start, text.data() + text.size(), number).ec !=
        std::errc::result_out_of_range)
        return number;
    using Limits = std::numeric_limits<std::int64_t>;
    return *start == '-' ? Limits::min() : Limits::max();
}

int handleMaxbuf(Challenge &challenge, const Directive &directive) {
    if (challenge.maxbuf != maxbufNotGiven)
        return twice;
    challenge.maxbuf = static_cast<std::uint32_t>(numberOf(textOf(directive)));
    return challenge.maxbuf == 0 ? badMaxbuf : 0;
}

int handleExact(std::optional<std::string> &kept, const Directive &directive, const char *only,
                int otherwise) {
    if (kept)
        return twice;
    kept = textOf(directive);
    return *kept == only ? 0 : otherwise;
}

int handleCharset(Challenge &challenge, const Directive &directive) {
    return handleExact(challenge.charset, directive, "utf-8", badCharset);
}

int handleAlgorithm(Challenge &challenge, const Directive &directive) {
    return handleExact(challenge.algorithm, directive, "md5-sess", badAlgorithm);
}

int handleStale(Challenge &challenge, const Directive &directive) {
    if (challenge.stale != 0)
        return twice;
    if (!fits(bytesOf(directive), "true"))
        return badStale;
    challenge.stale = 1;
    return 0;
}

int handleAll(Challenge &challenge, const std::vector<Directive> &directives) {
    for (const Directive &directive : directives)
        for (const Handler &handler : handlers)
            if (directive.name == handler.directive)
                if (int code = handler.handle(challenge, directive))
                    return code;
    return 0;
}

int check(const Challenge &challenge, bool staleAllowed) {
    if ((challenge.qop & auth) == 0)
        return noAuth;
    if ((challenge.qop & authConf) != 0 && (challenge.ciphers & knownCiphers) == 0)
        return noCipher;
    if (!challenge.nonce)
        return noNonce;
    if (challenge.stale != 0 && !staleAllowed)
        return staleChallenge;
    return challenge.algorithm ? 0 : noAlgorithm;
}

} // namespace

const Handler handlers[handlerCount] = {
    {"realm", handleRealm},   {"nonce", handleNonce},     {"qop", handleQop},
    {"maxbuf", handleMaxbuf}, {"charset", handleCharset}, {"algorithm", handleAlgorithm},
    {"cipher", handleCipher}, {"stale", handleStale},
};

Reading challengeOf(std::string_view text, bool staleAllowed) {
    const DirectiveList list = directivesOf(text);
    if (list.code != 0)
        return {.code = protocolError};
    Challenge challenge;
    int code = handleAll(challenge, list.directives);
    if (challenge.maxbuf == maxbufNotGiven)
        challenge.maxbuf = usualMaxbuf;
    if (code == 0)
        code = check(challenge, staleAllowed);
    if (code != 0)
        return {.code = code, .isCleared = true};
    return {0, false, challenge};
}

Proof proofOf(std::string_view text) {
    const DirectiveList list = directivesOf(text);
    if (list.code != 0)
        return {.code = protocolError};
    if (list.directives.empty())
        return {};
    const Directive &first = list.directives.front();
    if (first.name != "rspauth")
        return {.code = protocolError};
    return {0, std::string(bytesOf(first))};
}

} // namespace qldapx_test::digest_model
