// context.h - the library's context for a test, and what is in it.
#pragma once

#include "tls/sources/crypto.h"

#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <qldapx.h>

namespace qldapx_test::tls {

class Context {
  public:
    Context() { EXPECT_EQ(ldapssl_client_init(nullptr), 0); }
    ~Context() { EXPECT_EQ(ldapssl_client_deinit(), 0); }
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;

    // How many trust anchors there are.
    [[nodiscard]] static int anchors() {
        return sk_X509_OBJECT_num(X509_STORE_get0_objects(SSL_CTX_get_cert_store(g_CryptCtx)));
    }
    // The names "" (none), of the client's certificate and of the key as tls_material.h has them.
    [[nodiscard]] static std::string certificate() {
        return nameOf(SSL_CTX_get0_certificate(g_CryptCtx));
    }
    [[nodiscard]] static std::string key() { return ownerOf(SSL_CTX_get0_privatekey(g_CryptCtx)); }
    [[nodiscard]] static bool keepsPassword() {
        return SSL_CTX_get_default_passwd_cb_userdata(g_CryptCtx) != nullptr;
    }
};

} // namespace qldapx_test::tls
