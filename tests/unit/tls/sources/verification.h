// verification.h - OpenSSL's verification of a certificate that is not trusted, which asks a
// callback.
#pragma once

#include "tls/sources/crypto.h"

#include <functional>
#include <gtest/gtest.h>
#include <openssl/x509_vfy.h>
#include <qldapx.h>
#include <qldapx/tls_certificate.h>

namespace qldapx_test::tls {

using StorePtr = std::unique_ptr<X509_STORE, Release<X509_STORE_free>>;
using StoreContextPtr = std::unique_ptr<X509_STORE_CTX, Release<X509_STORE_CTX_free>>;

// A store context without a verification: the certificate is the current one, NULL: none is.
class Current {
  public:
    explicit Current(X509 *certificate) : store_(X509_STORE_new()), context_(X509_STORE_CTX_new()) {
        X509_STORE_CTX_init(context_.get(), store_.get(), certificate, nullptr);
        X509_STORE_CTX_set_current_cert(context_.get(), certificate);
    }
    operator X509_STORE_CTX *() const { return context_.get(); }

  private:
    StorePtr store_;
    StoreContextPtr context_;
};

// Verifies it with verify_callback, which asks inspect: the result of the last verification.
inline int verifyAnd(X509 *certificate, const std::function<int(X509_STORE_CTX *)> &inspect) {
    static const std::function<int(X509_STORE_CTX *)> *asked;
    asked = &inspect;
    EXPECT_EQ(ldapssl_client_init(nullptr), 0);
    EXPECT_EQ(
        ldapssl_set_verify_callback([](X509_STORE_CTX *context) { return (*asked)(context); }), 0);
    const StorePtr store(X509_STORE_new());
    const StoreContextPtr context(X509_STORE_CTX_new());
    X509_STORE_CTX_init(context.get(), store.get(), certificate, nullptr);
    X509_STORE_CTX_set_verify_cb(context.get(), verify_callback);
    const int result = X509_verify_cert(context.get());
    EXPECT_EQ(ldapssl_client_deinit(), 0);
    return result;
}

} // namespace qldapx_test::tls
