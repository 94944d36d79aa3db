// crypto.h - what the tests need of OpenSSL itself.
#pragma once

#include "support/ber.h"

#include <memory>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

namespace qldapx_test::tls {

template <auto release>
struct Release {
    template <class Type>
    void operator()(Type *object) const {
        release(object);
    }
};
using X509Ptr = std::unique_ptr<X509, Release<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using BioPtr = std::unique_ptr<BIO, Release<BIO_free>>;
using Pkcs12Ptr = std::unique_ptr<PKCS12, Release<PKCS12_free>>;

// Of PEM without a password.
X509Ptr certificateIn(const Bytes &pem);
KeyPtr keyIn(const Bytes &pem);

// The subject; "" for none.
std::string nameOf(const X509 *certificate);
// The subject of the certificate of tls_material.h to which the key belongs; "" for none, "?" for
// another key.
std::string ownerOf(const EVP_PKEY *key);

// What a memory BIO holds.
Bytes contentsOf(BIO *bio);
// What write(bio) writes.
template <class Write>
Bytes written(Write write) {
    const BioPtr bio(BIO_new(BIO_s_mem()));
    write(bio.get());
    return contentsOf(bio.get());
}
Bytes pemOf(X509 *certificate);
// PKCS #8 in clear.
Bytes pemOf(EVP_PKEY *key);

// The PEM blocks of a text, without what stands between them.
Bytes blocksOf(const Bytes &text);

// Self-signed, with the subject CN=name.
X509Ptr certificateFor(EVP_PKEY *key, const std::string &name, long serial = 1);
// PEM of that many certificates of the client's key.
Bytes bundle(int count);

// Runs the openssl command; throws where it fails.
void openssl(const std::string &arguments);

} // namespace qldapx_test::tls
