#include "qldapx/tls.h"
#include "ssl/key_derivation.h"
#include "ssl/pkcs12.h"
#include "ssl/source.h"

#include <openssl/pem.h>
#include <sys/stat.h>

namespace qldapx {
namespace {

constexpr int done = 0;
constexpr int failed = 1;

// The password for what OpenSSL reads while this lives. Without one, and without a callback of the
// application's, OpenSSL would ask on the terminal: the empty one is taken.
class Password {
  public:
    Password(SSL_CTX *context, const char *password) : context_(context) {
        const bool wouldAsk = SSL_CTX_get_default_passwd_cb(context) == nullptr;
        const char *text = password == nullptr && wouldAsk ? "" : password;
        SSL_CTX_set_default_passwd_cb_userdata(context, const_cast<char *>(text));
    }
    ~Password() { SSL_CTX_set_default_passwd_cb_userdata(context_, nullptr); }
    Password(const Password &) = delete;
    Password &operator=(const Password &) = delete;

  private:
    SSL_CTX *context_;
};

// What OpenSSL calls a success is 1.
int toResult(int openSslResult) {
    return openSslResult == 1 ? done : failed;
}

int useDerFile(SSL_CTX *context, const void *path) {
    return SSL_CTX_use_certificate_file(context, static_cast<const char *>(path),
                                        SSL_FILETYPE_ASN1);
}

int useDerBuffer(SSL_CTX *context, const void *source) {
    const auto &buffer = *static_cast<const berval *>(source);
    if (!isReadable(buffer))
        return 0;
    return SSL_CTX_use_certificate_ASN1(context, static_cast<int>(buffer.bv_len),
                                        reinterpret_cast<const unsigned char *>(buffer.bv_val));
}

// No key is taken as DER, though certificates are: callers know it so.
int refuseDer(SSL_CTX * /*context*/, const void * /*source*/) {
    return 0;
}

// OpenSSL's functions for one of the two things that a client shows.
template <class Owner>
struct Item {
    using Value = typename Owner::pointer;
    Pkcs12Part part;
    int (*usePemFile)(SSL_CTX *context, const char *path, int encoding);
    int (*useDerFile)(SSL_CTX *context, const void *path);
    int (*useDerBuffer)(SSL_CTX *context, const void *source);
    Value (*readPem)(BIO *input, Value *value, pem_password_cb *callback, void *password);
    int (*use)(SSL_CTX *context, Value value);
};

constexpr Item<X509Ptr> certificate = {
    Pkcs12Part::certificates, SSL_CTX_use_certificate_file, useDerFile, useDerBuffer,
    PEM_read_bio_X509,        SSL_CTX_use_certificate};
constexpr Item<KeyPtr> privateKey = {
    Pkcs12Part::keys, SSL_CTX_use_PrivateKey_file, refuseDer,
    refuseDer,        PEM_read_bio_PrivateKey,     SSL_CTX_use_PrivateKey};

template <class Owner>
int usePem(const Item<Owner> &item, SSL_CTX *context, const BioPtr &input) {
    if (!input)
        return failed;
    const Owner first(item.readPem(input.get(), nullptr, SSL_CTX_get_default_passwd_cb(context),
                                   SSL_CTX_get_default_passwd_cb_userdata(context)));
    return first ? toResult(item.use(context, first.get())) : failed;
}

template <class Owner>
int usePkcs12(const Item<Owner> &item, SSL_CTX *context, const BioPtr &pkcs12,
              const char *password) {
    return pkcs12 ? usePem(item, context, toPem(pkcs12.get(), password, item.part)) : failed;
}

// What is no file, such as a pipe, can be read only once.
BioPtr openAgain(const void *path) {
    struct stat status = {};
    const bool isFile =
        stat(static_cast<const char *>(path), &status) == 0 && S_ISREG(status.st_mode);
    return isFile ? openFile(path) : nullptr;
}

template <class Owner>
bool isAffordable(const Item<Owner> &item, const BioPtr &pem) {
    return item.part != Pkcs12Part::keys || !pem || canAffordFirstKey(pem.get());
}

template <class Owner>
int use(const Item<Owner> &item, SSL_CTX *context, const void *source, int type,
        const char *password) {
    switch (type) {
    case QLDAPX_TLS_FILE_PEM:
        if (!isAffordable(item, openAgain(source)))
            return failed;
        return toResult(
            item.usePemFile(context, static_cast<const char *>(source), SSL_FILETYPE_PEM));
    case QLDAPX_TLS_FILE_DER:
        return toResult(item.useDerFile(context, source));
    case QLDAPX_TLS_BUFFER_PEM:
        if (!isAffordable(item, openBuffer(source)))
            return failed;
        return usePem(item, context, openBuffer(source));
    case QLDAPX_TLS_BUFFER_DER:
        return toResult(item.useDerBuffer(context, source));
    case QLDAPX_TLS_FILE_PKCS12:
        return usePkcs12(item, context, openFile(source), password);
    case QLDAPX_TLS_BUFFER_PKCS12:
        return usePkcs12(item, context, openBuffer(source), password);
    default:
        return failed;
    }
}

template <class Owner>
int set(const Item<Owner> &item, const void *source, int type, const char *password) {
    const Lock lock(g_Sync);
    if (source == nullptr)
        return LDAP_PARAM_ERROR;
    if (g_SSLReg != 1 || g_CryptCtx == nullptr)
        return failed;
    const Password guard(g_CryptCtx, password);
    return use(item, g_CryptCtx, source, type, password);
}

} // namespace
} // namespace qldapx

using namespace qldapx;

extern "C" {

int ldapssl_set_client_cert(const void *source, int type, const char *password) {
    return set(certificate, source, type, password);
}

int ldapssl_set_client_private_key(const void *source, int type, const char *password) {
    return set(privateKey, source, type, password);
}
}
