#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>

namespace stratasim::tls {

template <auto Release>
struct Releaser {
    template <typename T>
    void operator()(T *owned) const {
        Release(owned);
    }
};

using Key = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Releaser<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Releaser<X509_EXTENSION_free>>;
using Names = std::unique_ptr<GENERAL_NAMES, Releaser<GENERAL_NAMES_free>>;
using Bio = std::unique_ptr<BIO, Releaser<BIO_free_all>>;
using SslContext = std::unique_ptr<SSL_CTX, Releaser<SSL_CTX_free>>;
using Ssl = std::unique_ptr<SSL, Releaser<SSL_free>>;

/** OpenSSL's words for what went wrong last, which it then forgets. */
std::string takeProblem();

/** Throws std::runtime_error, with OpenSSL's words, when something was not done. */
void require(bool done, const char *what);

/** What has been written to a memory BIO. */
std::string textOf(BIO *bio);

} // namespace stratasim::tls
