// Certificates and keys in memory: trust anchors, the client's, as PEM, DER and PKCS #12.
#include "heap_watch.h"
#include "targets.h"
#include "tls/sources/crypto.h"
#include "tls_context.h"

#include <chrono>
#include <openssl/pem.h>
#include <qldapx.h>
#include <qldapx/tls_certificate.h>

namespace qldapx_fuzz {

using namespace qldapx_test::tls;

namespace {

BioPtr reading(const Bytes &bytes) {
    return BioPtr(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

int trust(const Bytes &bytes, int type) {
    const berval value = asBuffer(bytes);
    const int result = ldapssl_add_trusted_cert(&value, type);
    require(result == 0 || result == -1, "another result");
    return result;
}

int setCertificate(const Bytes &bytes, int type, const char *password) {
    const berval value = asBuffer(bytes);
    const int result = ldapssl_set_client_cert(&value, type, password);
    require(result == 0 || result == 1, "another result");
    return result;
}

int setKey(const Bytes &bytes, int type, const char *password) {
    const berval value = asBuffer(bytes);
    const int result = ldapssl_set_client_private_key(&value, type, password);
    require(result == 0 || result == 1, "another result");
    return result;
}

Bytes encoded(X509 *certificate) {
    return written([&](BIO *bio) { i2d_X509_bio(bio, certificate); });
}

Bytes encoded(EVP_PKEY *key) {
    return written([&](BIO *bio) { i2d_PrivateKey_bio(bio, key); });
}

// A success is of what OpenSSL itself reads first; a failure leaves nothing. (Success is not for
// all that can be read: OpenSSL refuses keys that are too weak.)
template <class Object>
void requireFirst(int result, const Bytes &set, Object *first, const char *message) {
    require(result == 0 ? first != nullptr && set == encoded(first) : set.empty(), message);
}

void *passwordData(const char *password) {
    return const_cast<char *>(password != nullptr ? password : "");
}

// Whether an encrypted key asks for more work than a run may take: the library does whatever a key
// in PEM asks for. Counts of two bytes are little, but not for scrypt.
bool asksForMuch(const X509_SIG *encrypted) {
    const X509_ALGOR *algorithm = nullptr;
    X509_SIG_get0(encrypted, &algorithm, nullptr);
    const Bytes bytes = written([&](BIO *bio) {
        ASN1_item_i2d_bio(ASN1_ITEM_rptr(X509_ALGOR), bio, const_cast<X509_ALGOR *>(algorithm));
    });
    const bool isScrypt = bytes.find("\x2b\x06\x01\x04\x01\xda\x47\x04\x0b") != Bytes::npos;
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i)
        if (bytes[i] == 2 && static_cast<unsigned char>(bytes[i + 1]) > (isScrypt ? 1 : 2))
            return true;
    return false;
}

bool asksForMuch(const Bytes &pem) {
    const BioPtr input = reading(pem);
    for (;;) {
        X509_SIG *encrypted = PEM_read_bio_PKCS8(input.get(), nullptr, nullptr, nullptr);
        if (encrypted == nullptr)
            return false;
        const bool isMuch = asksForMuch(encrypted);
        X509_SIG_free(encrypted);
        if (isMuch)
            return true;
    }
}

constexpr std::size_t scryptMemory = 4U << 20; // OpenSSL takes 32 MiB at most, 16 times this less

} // namespace

void runTrustPem(const Target & /*target*/, const Bytes &bytes) {
    runInContext(bytes.size(), [&] {
        const int result = trust(bytes, QLDAPX_TLS_BUFFER_PEM);
        require(result != 0 || anchors() > 0, "nothing was added");
        const X509Ptr first(
            PEM_read_bio_X509_AUX(reading(bytes).get(), nullptr, nullptr, passwordData(nullptr)));
        require(first != nullptr || result != 0, "what is no certificate was added");
    });
}

void runTrustDer(const Target & /*target*/, const Bytes &bytes) {
    runInContext(bytes.size(), [&] {
        const int result = trust(bytes, QLDAPX_TLS_BUFFER_DER);
        const X509Ptr first(d2i_X509_bio(reading(bytes).get(), nullptr));
        require((result == 0) == (first != nullptr), "OpenSSL reads it otherwise");
        require(anchors() == (result == 0 ? 1 : 0), "another number of anchors");
    });
}

// The first byte is the password's.
void runClientPem(const Target & /*target*/, const Bytes &bytes) {
    const Bytes rest = bytes.substr(std::min<std::size_t>(bytes.size(), 1));
    if (bytes.empty() || asksForMuch(rest))
        return;
    const char *password = passwordFor(bytes[0]);
    runInContext(bytes.size() + scryptMemory, [&] {
        const int keyResult = setKey(rest, QLDAPX_TLS_BUFFER_PEM, password);
        const Bytes key = clientKey();
        const int result = setCertificate(rest, QLDAPX_TLS_BUFFER_PEM, password);
        // A certificate drops the key of another.
        require(keyResult == 0 ? !key.empty() : key.empty(), "a key is set otherwise");
        const X509Ptr first(
            PEM_read_bio_X509(reading(rest).get(), nullptr, nullptr, passwordData(password)));
        requireFirst(result, clientCertificate(), first.get(), "another certificate is set");
        require(setKey(rest, QLDAPX_TLS_BUFFER_DER, password) == 1, "a key is taken as DER");
        setCertificate(rest, QLDAPX_TLS_BUFFER_DER, password);
    });
}

// The first byte is the password's.
void runPkcs12(const Target & /*target*/, const Bytes &bytes) {
    if (bytes.empty())
        return;
    const Bytes rest = bytes.substr(1);
    const char *password = passwordFor(bytes[0]);
    const auto start = std::chrono::steady_clock::now();
    runInContext(bytes.size() + scryptMemory, [&] {
        const BioPtr text(pkcs12_BIO_to_clear_BIO(reading(rest).get(), password));
        // What may ask for many rounds is not asked several times.
        if (std::chrono::steady_clock::now() - start > std::chrono::milliseconds(300))
            return;
        const int keyResult = setKey(rest, QLDAPX_TLS_BUFFER_PKCS12, password);
        if (text == nullptr) {
            require(keyResult == 1, "a key is set of what cannot be opened");
            require(setCertificate(rest, QLDAPX_TLS_BUFFER_PKCS12, password) == 1,
                    "a certificate is set of what cannot be opened");
            return;
        }
        const Bytes pem = contentsOf(text.get());
        const KeyPtr key(
            PEM_read_bio_PrivateKey(reading(pem).get(), nullptr, nullptr, passwordData(password)));
        requireFirst(keyResult, clientKey(), key.get(), "another key is set");
        const int result = setCertificate(rest, QLDAPX_TLS_BUFFER_PKCS12, password);
        const X509Ptr certificate(
            PEM_read_bio_X509(reading(pem).get(), nullptr, nullptr, passwordData(password)));
        requireFirst(result, clientCertificate(), certificate.get(), "another certificate is set");
    });
}

} // namespace qldapx_fuzz
