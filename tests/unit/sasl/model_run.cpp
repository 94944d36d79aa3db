#include "sasl/model_run.h"

#include "support/expected_leak.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ldap.h>
#include <qldapx/memory.h>

namespace qldapx_test::digest_model {

namespace {

// What outputs hold before a call.
char before[1];
template <class T>
T *untouched() {
    return reinterpret_cast<T *>(before);
}

using LibrarysHandler = int(ParsedDirective *, DigestChallenge *);
LibrarysHandler *const librarysHandlers[handlerCount] = {
    handleRealm,   handleNonce,     handleQop,    handleMaxbuf,
    handleCharset, handleAlgorithm, handleCipher, handleStale,
};

std::optional<std::string> text(const char *value) {
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

// As many bytes as are expected, and the zero behind them.
std::optional<std::string> counted(const char *value, const std::optional<std::string> &expected) {
    if (value == nullptr)
        return std::nullopt;
    const std::size_t size = expected ? expected->size() : std::strlen(value);
    return value[size] == '\0' ? std::string(value, size) : "a text without an end";
}

std::vector<std::string> realmsOf(const DigestChallenge &challenge) {
    std::vector<std::string> realms;
    for (const DigestRealm *node = challenge.realms; node != nullptr; node = node->next)
        realms.emplace_back(node->realm);
    if (realms.size() != static_cast<std::size_t>(challenge.realmCount))
        realms.emplace_back("another count");
    return realms;
}

} // namespace

ExactText::ExactText(std::string_view text) : bytes_(new char[text.size()]), size_(text.size()) {
    std::copy(text.begin(), text.end(), bytes_.get());
}

std::vector<Directive> describe(const ParsedDirective *list) {
    std::vector<Directive> directives;
    for (; list != nullptr; list = list->next) {
        const auto size = static_cast<std::size_t>(list->valueLength) + 1;
        directives.push_back(
            {list->kind, list->name, list->value == nullptr ? "" : std::string(list->value, size)});
    }
    return directives;
}

DirectiveList librarysDirectives(std::string_view text) {
    const ExactText exact(text);
    auto *list = untouched<ParsedDirective>();
    std::int32_t position = 4711;
    DirectiveList result;
    result.code =
        parseDirectiveList(exact.get(), static_cast<std::uint32_t>(exact.size()), &list, &position);
    result.errorPosition = position;
    if (list == untouched<ParsedDirective>())
        result.directives = {{0, "the output was left", ""}};
    else
        result.directives = describe(list);
    if (list != untouched<ParsedDirective>())
        freeParsedDirectives(list);
    return result;
}

LibrarysTokenList::~LibrarysTokenList() {
    ldapx_memfree(state_);
}

TokenCall LibrarysTokenList::next() {
    const char *token = before;
    std::uint32_t length = 4711;
    std::int32_t position = 4711;
    TokenCall call;
    call.code = parseTokenList(text_.get(), static_cast<std::uint32_t>(text_.size()), &token,
                               &length, &state_, &position);
    call.errorPosition = position;
    call.start = token == nullptr ? nowhere : token - text_.get();
    call.length = length;
    return call;
}

LibrarysChallenge::LibrarysChallenge()
    : challenge_(static_cast<DigestChallenge *>(std::calloc(1, sizeof(DigestChallenge)))) {
    challenge_->maxbuf = maxbufNotGiven;
}

LibrarysChallenge::~LibrarysChallenge() {
    for (DigestRealm *node = challenge_->realms; node != nullptr; node = node->next)
        ldapx_memfree(node->realm);
    freeDigestChallenge(challenge_);
}

int LibrarysChallenge::handle(std::size_t handler, const Directive &directive) {
    ExactText name(std::string_view(directive.name.c_str(), directive.name.size() + 1));
    ExactText value(directive.value);
    ParsedDirective parsed{directive.kind, name.get(), value.get(),
                           static_cast<std::int32_t>(value.size() - 1), nullptr};
    return librarysHandlers[handler](&parsed, challenge_);
}

Challenge LibrarysChallenge::describe(const std::optional<std::string> &nonce) const {
    return {realmsOf(*challenge_),       counted(challenge_->nonce, nonce),
            challenge_->qopOptions,      challenge_->stale,
            challenge_->maxbuf,          text(challenge_->charset),
            text(challenge_->algorithm), challenge_->cipherOptions};
}

Reading librarysChallenge(std::string_view text, bool staleAllowed, const Reading &expected) {
    const ExactText exact(text);
    berval credentials{exact.size(), exact.get()};
    auto *challenge = untouched<DigestChallenge>();
    Reading reading;
    {
        std::optional<ExpectedLeak> realmsOfARefusedChallenge;
        if (expected.isCleared && text.find("realm") != text.npos)
            realmsOfARefusedChallenge.emplace();
        reading.code = getDigestChallenge(&credentials, &challenge, staleAllowed ? 1 : 0);
    }
    reading.isCleared = challenge == nullptr;
    if (challenge == nullptr || challenge == untouched<DigestChallenge>())
        return reading;
    const LibrarysChallenge owner(challenge);
    reading.challenge =
        owner.describe(expected.challenge ? expected.challenge->nonce : std::nullopt);
    return reading;
}

Proof librarysProof(std::string_view text, const Proof &expected) {
    const ExactText exact(text);
    berval credentials{exact.size(), exact.get()};
    char *rspauth = before;
    Proof proof;
    proof.code = getResponseAuth(&credentials, &rspauth);
    if (rspauth == before)
        return {proof.code, "the output was left"};
    proof.rspauth = counted(rspauth, expected.rspauth);
    ldapx_memfree(rspauth);
    return proof;
}

} // namespace qldapx_test::digest_model
