#include "qldapx/tls.h"
#include "ssl/anchor.h"
#include "ssl/source.h"

#include <openssl/err.h>
#include <openssl/pem.h>

namespace qldapx {
namespace {

constexpr int done = 0;
constexpr int failed = -1;

// Older OpenSSLs refused a certificate that was there already.
constexpr int certificateIsThere = 101;

// For passwords of certificates: there is none, and nobody is asked.
int noPassword(char * /*buffer*/, int /*size*/, int /*isWriting*/, void * /*unused*/) {
    return -1;
}

int addPem(BIO *input) {
    bool isAdded = false;
    for (;;) {
        ERR_clear_error();
        const X509Ptr certificate(PEM_read_bio_X509_AUX(input, nullptr, noPassword, nullptr));
        if (!certificate)
            break;
        if (add_cert(certificate.get()) != done)
            return failed;
        isAdded = true;
    }
    // The end of the certificates, and of nothing else, looks like this.
    const bool isAtEnd = ERR_GET_REASON(ERR_peek_error()) == PEM_R_NO_START_LINE;
    if (!isAdded || !isAtEnd)
        return failed;
    ERR_clear_error();
    return done;
}

int addDer(BIO *input) {
    ERR_clear_error();
    const X509Ptr certificate(d2i_X509_bio(input, nullptr));
    return certificate ? add_cert(certificate.get()) : failed;
}

struct Source {
    BioPtr (*open)(const void *source);
    int (*add)(BIO *input);
};

// By type, from 1.
constexpr Source sources[] = {
    {openFile, addPem}, {openFile, addDer}, {openBuffer, addPem}, {openBuffer, addDer}};

const Source *findSource(int type) {
    const bool isKnown = type >= QLDAPX_TLS_FILE_PEM && type <= QLDAPX_TLS_BUFFER_DER;
    return isKnown ? &sources[type - 1] : nullptr;
}

} // namespace
} // namespace qldapx

using namespace qldapx;

extern "C" {

BIO *file_to_BIO(const char *path) {
    return BIO_new_file(path, "r");
}

int add_cert(X509 *x509) {
    if (g_CryptCtx == nullptr || x509 == nullptr)
        return failed;
    ERR_clear_error();
    if (!noteContent(x509))
        return failed;
    if (X509_STORE_add_cert(SSL_CTX_get_cert_store(g_CryptCtx), x509) == 1)
        return done;
    return ERR_GET_REASON(ERR_peek_error()) == certificateIsThere ? done : failed;
}

int ldapssl_add_trusted_cert(const void *source, int type) {
    if (source == nullptr)
        return failed;
    const Lock lock(g_Sync);
    const Source *kind = findSource(type);
    if (g_SSLReg != 1 || kind == nullptr)
        return failed;
    const BioPtr input = kind->open(source);
    return input ? kind->add(input.get()) : failed;
}
}
