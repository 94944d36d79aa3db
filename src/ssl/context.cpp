#include "qldapx/tls.h"
#include "qldapx/tls_certificate.h"
#include "ssl/anchor.h"
#include "ssl/hand_over.h"
#include "ssl/handles.h"
#include "ssl/host_name.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/rand.h>
#include <unistd.h>

namespace qldapx {
namespace {

constexpr int done = 0;
constexpr int failed = -1;

using FilePtr = std::unique_ptr<std::FILE, Releaser<std::fclose>>;

// So many bytes are read, and so many of them given to OpenSSL: callers know these figures.
constexpr std::size_t bytesRead = 20;
constexpr int bytesSeeded = 8;

std::size_t readDevice() {
    FilePtr device(std::fopen("/dev/urandom", "re"));
    if (!device)
        device.reset(std::fopen("/dev/random", "re"));
    if (!device)
        return 0;
    std::setvbuf(device.get(), nullptr, _IONBF, 0);
    randbuf = static_cast<unsigned char *>(std::malloc(bytesRead));
    return randbuf != nullptr ? std::fread(randbuf, 1, bytesRead, device.get()) : 0;
}

// Without a device OpenSSL goes on with the seed that it takes by itself.
void seed() {
    if (readDevice() >= bytesSeeded)
        RAND_seed(randbuf, bytesSeeded);
    if (randbuf != nullptr)
        OPENSSL_cleanse(randbuf, bytesRead);
    std::free(randbuf);
    randbuf = nullptr;
}

bool initialise() {
    const Lock lock(g_Sync);
    if (g_SSLReg != 0)
        return true;
    if (SSL_library_init() != 1)
        return false;
    g_SSLReg = 1;
    seed();
    return true;
}

// Without a stream, for which there might be no memory: the file would count as missing.
bool canBeOpened(const char *path) {
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    return file >= 0 && close(file) == 0;
}

// What the attempt as DER says of a PEM file is no fault.
bool trustFileOf(SSL_CTX *context, const char *path) {
    X509_STORE *store = SSL_CTX_get_cert_store(context);
    X509_LOOKUP *lookup = X509_STORE_add_lookup(store, X509_LOOKUP_file());
    if (lookup == nullptr)
        return false;
    ERR_set_mark();
    const bool isLoaded = X509_load_cert_file(lookup, path, X509_FILETYPE_ASN1) > 0 ||
                          X509_load_cert_file(lookup, path, X509_FILETYPE_PEM) > 0;
    isLoaded ? ERR_pop_to_mark() : ERR_clear_last_mark();
    return isLoaded && noteContents(store);
}

ContextPtr newContext(const char *trustFile) {
    ContextPtr context(SSL_CTX_new(SSLv23_method()));
    if (!context)
        return nullptr;
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    checkHostNames(context.get());
    if (trustFile != nullptr && canBeOpened(trustFile) && !trustFileOf(context.get(), trustFile))
        return nullptr;
    return context;
}

// g_Sync is held.
bool hasContext() {
    return g_SSLReg == 1 && g_CryptCtx != nullptr;
}

} // namespace
} // namespace qldapx

using namespace qldapx;

extern "C" {

int ldapssl_client_init(const char *trustFile) {
    if (!initialise())
        return failed;
    ContextPtr context = newContext(trustFile);
    if (!context)
        return failed;
    const Lock lock(g_Sync);
    if (!handOver(context.get()))
        return failed;
    SSL_CTX_free(g_CryptCtx);
    g_CryptCtx = context.release();
    return done;
}

// libldap keeps the context that it was given: sessions may still connect.
int ldapssl_client_deinit(void) {
    const Lock lock(g_Sync);
    if (g_SSLReg != 1)
        return failed;
    SSL_CTX_free(g_CryptCtx);
    g_CryptCtx = nullptr;
    g_SSLReg = 0;
    g_pCertCallback = nullptr;
    return done;
}

// The callback stays known, but without the function that calls it is not asked.
int ldapssl_set_verify_mode(int mode) {
    if (mode != QLDAPX_TLS_VERIFY_NONE && mode != QLDAPX_TLS_VERIFY_PEER)
        return failed;
    const Lock lock(g_Sync);
    if (!hasContext())
        return failed;
    SSL_CTX_set_verify(g_CryptCtx, mode, nullptr);
    return done;
}

int ldapssl_get_verify_mode(int *mode) {
    const Lock lock(g_Sync);
    if (!hasContext() || mode == nullptr)
        return failed;
    *mode = SSL_CTX_get_verify_mode(g_CryptCtx);
    return done;
}

int ldapssl_set_verify_callback(LdapSslVerifyCallback callback) {
    const Lock lock(g_Sync);
    if (!hasContext())
        return failed;
    SSL_CTX_set_verify(g_CryptCtx, SSL_VERIFY_PEER,
                       callback != nullptr ? verify_callback : nullptr);
    g_pCertCallback = callback;
    return done;
}

// An application's 0 accepts, OpenSSL's refuses.
int verify_callback(int preverifyOk, X509_STORE_CTX *storeContext) {
    pthread_mutex_lock(&g_Sync);
    const LdapSslVerifyCallback callback = g_pCertCallback;
    pthread_mutex_unlock(&g_Sync);
    if (preverifyOk != 0 || storeContext == nullptr || callback == nullptr)
        return preverifyOk;
    return callback(storeContext) == 0 ? 1 : 0;
}
}
