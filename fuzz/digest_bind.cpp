#include "digest_bind.h"

#include "answered_session.h"
#include "heap_watch.h"
#include "sasl/proof.h"
#include "support/ldap_message.h"

#include <qldapx.h>

namespace qldapx_fuzz {

namespace {

using namespace qldapx_test::digest_model;
using qldapx_test::bindRequest;
using qldapx_test::bindResponse;

// With it a response that is nearly as long as the longest.
const std::string longUser(3600, 'u'), shortUser = "joe";
constexpr char password[] = "secret";
constexpr char digestUri[] = "ldap/fuzzed.example";
constexpr std::size_t longestResponse = 4095, cnonceSize = 64;

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

const std::string &DigestBind::user() const {
    return is(longName) ? longUser : shortUser;
}

Loss DigestBind::run() const {
    AnsweredSession session({firstOperation(), secondOperation()}, AnsweredSession::Answers::each);
    if (session.get() == nullptr)
        return Loss::none;
    char untouched = 0;
    void *context = &untouched;
    int result = ldap_bind_digest_md5_start(session.get(), &context);
    require((result == LDAP_SUCCESS) == (context != &untouched), "a result without a bind");
    const Reading expected = challengeOf(first_, false);
    require(is(rawFirst) || result == expected.code, "another result of start");
    // libldap loses a message that it refuses.
    if (result != LDAP_SUCCESS)
        return is(rawFirst) || first_.find("realm") != Bytes::npos ? Loss::some : Loss::none;
    const Challenge challenge = expected.challenge.value_or(Challenge());
    result = finish(&context, challenge);
    if (!is(rawFirst) && !is(abandons) && resultOf(challenge) != LDAP_PARAM_ERROR)
        requireAnswered(challenge, session.takeRequests());
    return lossOf(challenge, result);
}

int DigestBind::finish(void **context, const Challenge &challenge) const {
    if (!is(rawFirst))
        requireRealms(*context, challenge);
    const int result = ldap_bind_digest_md5_finish(
        context, user().c_str(), password, -1, static_cast<int>(realmIndex()),
        is(abandons) ? QLDAPX_DIGEST_ABANDON : QLDAPX_DIGEST_COMPLETE);
    require(is(rawFirst) || is(rawSecond) || result == resultOf(challenge),
            "another result of finish");
    require(is(rawSecond) || *context == nullptr, "a finished bind is left");
    return result;
}

// The proof is right for one client nonce in very many.
int DigestBind::resultOf(const Challenge &challenge) const {
    if (is(abandons))
        return LDAP_USER_CANCELLED;
    if (challenge.realms.size() <= realmIndex() ||
        responseTo(challenge, std::string(cnonceSize, 'c')).size() > longestResponse)
        return LDAP_PARAM_ERROR;
    if (code_ != LDAP_SUCCESS)
        return code_;
    const int code = proofOf(second_).code;
    return code != 0 ? code : LDAP_INVALID_CREDENTIALS;
}

Bytes DigestBind::headTo(const Challenge &challenge) const {
    const std::string &realm = challenge.realms[realmIndex()];
    return "username=\"" + user() + "\"" + (realm.empty() ? "" : ",realm=\"" + realm + "\"") +
           ",cnonce=\"";
}

Bytes DigestBind::responseTo(const Challenge &challenge, const std::string &cnonce) const {
    const Unwatched libcryptoKeepsWhatItAllocates;
    const std::string realm = challenge.realms[realmIndex()];
    const std::string nonce = challenge.nonce.value_or("").c_str(); // up to its first zero
    const qldapx_test::Proof proof{user(), realm, password, nonce, cnonce, digestUri};
    return headTo(challenge) + cnonce + "\",nc=00000001,qop=auth,digest-uri=\"" + digestUri +
           "\",response=" + proof.client() + ",charset=utf-8,nonce=\"" + nonce + "\"";
}

// The response is the last thing in the requests.
void DigestBind::requireAnswered(const Challenge &challenge, const Bytes &requests) const {
    const std::string anyNonce(cnonceSize, 'c');
    const std::size_t behind = responseTo(challenge, anyNonce).size() - headTo(challenge).size();
    require(requests.size() >= behind, "there is no response");
    const std::string cnonce = requests.substr(requests.size() - behind, cnonceSize);
    require(requests == qldapx_test::ldapMessage(1, bindRequest(std::nullopt)) +
                            qldapx_test::ldapMessage(2, bindRequest(responseTo(challenge, cnonce))),
            "another response");
}

Loss DigestBind::lossOf(const Challenge &challenge, int result) const {
    const bool isWhole = !is(rawFirst) && !is(rawSecond) && !is(abandons) &&
                         challenge.realms.size() == 1 && result != LDAP_PARAM_ERROR;
    return isWhole ? Loss::none : Loss::some;
}

} // namespace qldapx_fuzz
