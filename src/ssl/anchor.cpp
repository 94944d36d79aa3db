#include "ssl/anchor.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

namespace qldapx {
namespace {

// 0: OpenSSL does not know it.
int strengthOf(const EVP_PKEY *key) {
    return key != nullptr ? EVP_PKEY_get_security_bits(key) : 0;
}

// What OpenSSL notes.
struct Content {
    explicit Content(X509 *certificate)
        : flags(X509_get_extension_flags(certificate)),
          strength(strengthOf(X509_get0_pubkey(certificate))) {}

    [[nodiscard]] bool has(unsigned flag) const { return (flags & flag) != 0; }
    // One that names itself as its issuer has signed itself, but for rare ones.
    [[nodiscard]] bool isComplete() const {
        return strength > 0 && !has(EXFLAG_INVALID) && !has(EXFLAG_NO_FINGERPRINT) &&
               (has(EXFLAG_SS) || !has(EXFLAG_SI));
    }
    bool operator==(const Content &other) const = default;

    std::uint32_t flags;
    int strength;
};

// What is malformed, or of a kind that OpenSSL does not know, is so twice.
bool isSoTwice(const Content &content, X509 *anchor) {
    const X509Ptr copy(X509_dup(anchor));
    return copy && Content(copy.get()) == content;
}

} // namespace

bool noteContent(X509 *anchor) {
    ERR_set_mark();
    const Content content(anchor);
    const bool isNoted =
        content.isComplete() || (!content.has(EXFLAG_NO_FINGERPRINT) && isSoTwice(content, anchor));
    ERR_pop_to_mark();
    return isNoted;
}

bool noteContents(const X509_STORE *store) {
    const STACK_OF(X509_OBJECT) *objects = X509_STORE_get0_objects(store);
    for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
        X509 *anchor = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(objects, i));
        if (anchor != nullptr && !noteContent(anchor))
            return false;
    }
    return true;
}

} // namespace qldapx
