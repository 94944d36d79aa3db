// handles.h - owners of OpenSSL's types, and of the lock of the library's TLS state.
#pragma once

#include "core/handle.h"
#include "qldapx/state.h"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pkcs12.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

namespace qldapx {

inline void releaseSafes(STACK_OF(PKCS7) * safes) {
    sk_PKCS7_pop_free(safes, PKCS7_free);
}

inline void releaseBags(STACK_OF(PKCS12_SAFEBAG) * bags) {
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}

// For what OpenSSL allocated and hands over with a macro's name.
inline void releaseText(char *text) {
    OPENSSL_free(text);
}

using BioPtr = std::unique_ptr<BIO, Releaser<BIO_free>>;
using X509Ptr = std::unique_ptr<X509, Releaser<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;
using Pkcs8Ptr = std::unique_ptr<PKCS8_PRIV_KEY_INFO, Releaser<PKCS8_PRIV_KEY_INFO_free>>;
using Pkcs12Ptr = std::unique_ptr<PKCS12, Releaser<PKCS12_free>>;
using SafesPtr = std::unique_ptr<STACK_OF(PKCS7), Releaser<releaseSafes>>;
using BagsPtr = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), Releaser<releaseBags>>;
using ContextPtr = std::unique_ptr<SSL_CTX, Releaser<SSL_CTX_free>>;
using SslPtr = std::unique_ptr<SSL, Releaser<SSL_free>>;
using SslSessionPtr = std::unique_ptr<SSL_SESSION, Releaser<SSL_SESSION_free>>;
using OpenSslTextPtr = std::unique_ptr<char, Releaser<releaseText>>;

// Holds a mutex, g_Sync for one, as long as it lives.
class Lock {
  public:
    explicit Lock(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
    ~Lock() { pthread_mutex_unlock(&mutex_); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

  private:
    pthread_mutex_t &mutex_;
};

} // namespace qldapx
