#pragma once

#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <vector>

// Owners of what OpenSSL gives out.
namespace qldapx {

template <auto Release>
struct OpensslRelease {
    template <typename Object>
    void operator()(Object *object) const {
        Release(object);
    }
};

using BioPtr = std::unique_ptr<BIO, OpensslRelease<BIO_free_all>>;
using CertificatePtr = std::unique_ptr<X509, OpensslRelease<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, OpensslRelease<EVP_PKEY_free>>;
using StorePtr = std::unique_ptr<X509_STORE, OpensslRelease<X509_STORE_free>>;
using StoreContextPtr = std::unique_ptr<X509_STORE_CTX, OpensslRelease<X509_STORE_CTX_free>>;
using SslContextPtr = std::unique_ptr<SSL_CTX, OpensslRelease<SSL_CTX_free>>;
using SslPtr = std::unique_ptr<SSL, OpensslRelease<SSL_free>>;

/** Certificates, the leaf first where they are a chain. */
using Certificates = std::vector<CertificatePtr>;

/** One that shares the object. */
inline CertificatePtr shared(X509 *certificate) {
    X509_up_ref(certificate);
    return CertificatePtr(certificate);
}

} // namespace qldapx
