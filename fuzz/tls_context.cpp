#include "tls_context.h"

#include "tls/sources/crypto.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <qldapx.h>

namespace qldapx_fuzz {

namespace {

// The context before is gone then, with all that a run has set in it.
void takeNewContext() {
    const Unwatched unwatched;
    require(ldapssl_client_init(nullptr) == 0, "there is no context");
}

template <class Object>
Bytes derOf(const Object *object, int (*write)(const Object *object, unsigned char **out)) {
    unsigned char *der = nullptr;
    const int size = object != nullptr ? write(object, &der) : 0;
    Bytes bytes(reinterpret_cast<const char *>(der), static_cast<std::size_t>(std::max(size, 0)));
    OPENSSL_free(der);
    return bytes;
}

} // namespace

void runInContext(std::size_t received, const std::function<void()> &run) {
    takeNewContext();
    run();
    takeNewContext();
    const HeapWatch watch(received);
    run();
    require(SSL_CTX_get_default_passwd_cb_userdata(g_CryptCtx) == nullptr, "a password is kept");
    takeNewContext();
    OPENSSL_thread_stop();
}

berval asBuffer(const Bytes &bytes) {
    return {bytes.size(), const_cast<char *>(bytes.data())};
}

const char *passwordFor(char bits) {
    static constexpr const char *passwords[] = {nullptr, "", "secret", "secret"};
    return passwords[bits & 3];
}

Bytes clientCertificate() {
    return derOf(SSL_CTX_get0_certificate(g_CryptCtx), i2d_X509);
}

Bytes clientKey() {
    return derOf(SSL_CTX_get0_privatekey(g_CryptCtx), i2d_PrivateKey);
}

int anchors() {
    return sk_X509_OBJECT_num(X509_STORE_get0_objects(SSL_CTX_get_cert_store(g_CryptCtx)));
}

} // namespace qldapx_fuzz
