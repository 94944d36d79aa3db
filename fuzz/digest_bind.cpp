#include "digest_bind.h"

#include "answered_session.h"
#include "heap_watch.h"
#include "sasl/proof.h"

#include <algorithm>
#include <cstring>
#include <qldapx.h>

namespace qldapx_fuzz {

namespace {

using namespace qldapx_test::digest_model;
using qldapx_test::bindResponse;

// The answer is the whole operation; otherwise what it says to DIGEST-MD5.
constexpr unsigned rawFirst = 1, rawSecond = 2;
constexpr unsigned abandons = 4, secondRealm = 8, longName = 16;

// With it a response that is nearly as long as the longest.
const std::string longUser(3600, 'u'), shortUser = "joe";
constexpr std::size_t longestResponse = 4095;

unsigned byteAt(const Bytes &bytes, std::size_t index) {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0;
}

// The same ones in each call.
void requireRealms(void *context, const Challenge &challenge) {
    char **realms = nullptr, **again = nullptr;
    require(ldap_get_digest_md5_realms(context, &realms) == LDAP_SUCCESS, "no list of realms");
    require(ldap_get_digest_md5_realms(context, &again) == LDAP_SUCCESS && again == realms,
            "another list of realms");
    for (const std::string &realm : challenge.realms)
        require(*realms != nullptr && *realms++ == realm, "another realm is listed");
    require(*realms == nullptr, "more realms are listed");
}

std::size_t sizeOf(const char *format, const std::string &text) {
    return std::strlen(format) + text.size();
}

} // namespace

DigestBind::DigestBind(const Bytes &bytes)
    : bits_(byteAt(bytes, 0)), code_(static_cast<int>(byteAt(bytes, 1) & 0x7f)) {
    constexpr std::size_t header = 4;
    if (bytes.size() <= header)
        return;
    const std::size_t size = byteAt(bytes, 2) << 8 | byteAt(bytes, 3);
    first_ = bytes.substr(header, size);
    second_ = bytes.substr(header + first_.size());
}

Bytes DigestBind::firstOperation() const {
    return is(rawFirst) ? first_ : bindResponse(LDAP_SASL_BIND_IN_PROGRESS, first_);
}

Bytes DigestBind::secondOperation() const {
    return is(rawSecond) ? second_ : bindResponse(code_, second_);
}

Loss DigestBind::run() const {
    AnsweredSession session({firstOperation(), secondOperation()}, AnsweredSession::Answers::each);
    if (session.get() == nullptr)
        return Loss::none;
    char untouched = 0;
    void *context = &untouched;
    const int result = ldap_bind_digest_md5_start(session.get(), &context);
    require((result == LDAP_SUCCESS) == (context != &untouched), "a result without a bind");
    require(is(rawFirst) || result == challengeOf(first_, false).code, "another result of start");
    if (result == LDAP_SUCCESS)
        return finish(&context);
    // libldap loses a message that it refuses.
    return is(rawFirst) || first_.find("realm") != Bytes::npos ? Loss::some : Loss::none;
}

Loss DigestBind::finish(void **context) const {
    const Challenge challenge = challengeOf(first_, false).challenge.value_or(Challenge());
    if (!is(rawFirst))
        requireRealms(*context, challenge);
    const int result = ldap_bind_digest_md5_finish(
        context, (is(longName) ? longUser : shortUser).c_str(), "secret", -1,
        is(secondRealm) ? 1 : 0, is(abandons) ? QLDAPX_DIGEST_ABANDON : QLDAPX_DIGEST_COMPLETE);
    require(is(rawFirst) || is(rawSecond) || result == resultOf(challenge),
            "another result of finish");
    require(is(rawSecond) || *context == nullptr, "a finished bind is left");
    const bool isWhole = !is(rawFirst) && !is(rawSecond) && !is(abandons) &&
                         challenge.realms.size() == 1 && result != LDAP_PARAM_ERROR;
    return isWhole ? Loss::none : Loss::some;
}

// The proof is right for one client nonce in very many.
int DigestBind::resultOf(const Challenge &challenge) const {
    if (is(abandons))
        return LDAP_USER_CANCELLED;
    if (challenge.realms.size() <= (is(secondRealm) ? 1U : 0U) || !fits(challenge))
        return LDAP_PARAM_ERROR;
    if (code_ != LDAP_SUCCESS)
        return code_;
    const int code = proofOf(second_).code;
    return code != 0 ? code : LDAP_INVALID_CREDENTIALS;
}

bool DigestBind::fits(const Challenge &challenge) const {
    const std::string realm = challenge.realms[is(secondRealm) ? 1 : 0];
    const std::size_t size = sizeOf("username=\"\",", is(longName) ? longUser : shortUser) +
                             (realm.empty() ? 0 : sizeOf("realm=\"\",", realm)) +
                             sizeOf("cnonce=\"\",nc=00000001,qop=auth,", std::string(64, 'c')) +
                             sizeOf("digest-uri=\"ldap/\",", "fuzzed.example") +
                             sizeOf("response=,charset=utf-8,", std::string(32, 'r')) +
                             sizeOf("nonce=\"\"", challenge.nonce.value_or("").c_str());
    return size <= longestResponse;
}

} // namespace qldapx_fuzz
