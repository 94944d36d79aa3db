// key_derivation.h - what it costs to make a key out of a password.
#pragma once

#include <openssl/x509.h>

namespace qldapx {

// The rounds that are left for one call. A file of 200 bytes can ask for 2^31 of them, which take
// minutes.
class Effort {
  public:
    // Pays for the key of this encryption (RFC 7292, B; RFC 8018, 6; RFC 7914); false: it is too
    // much.
    [[nodiscard]] bool pay(const X509_ALGOR *encryption);

  private:
    static constexpr long allowed = 5'000'000;
    long left_ = allowed;
};

// Whether the first private key of this PEM, if it is encrypted (RFC 5958, 3), asks for no more.
[[nodiscard]] bool canAffordFirstKey(BIO *pem);

// Where the algorithms of old files are found, too, if they are installed; NULL: where OpenSSL
// looks by itself.
OSSL_LIB_CTX *algorithms();

} // namespace qldapx
