#include "tls/sources/crypto.h"

#include "support/tls_material.h"

#include <cstdlib>
#include <openssl/pem.h>
#include <stdexcept>

namespace qldapx_test::tls {

namespace {

BioPtr reading(const Bytes &bytes) {
    return BioPtr(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

} // namespace

X509Ptr certificateIn(const Bytes &pem) {
    return X509Ptr(PEM_read_bio_X509(reading(pem).get(), nullptr, nullptr, nullptr));
}

KeyPtr keyIn(const Bytes &pem) {
    return KeyPtr(PEM_read_bio_PrivateKey(reading(pem).get(), nullptr, nullptr, nullptr));
}

std::string nameOf(const X509 *certificate) {
    if (certificate == nullptr)
        return "";
    char name[100];
    return X509_NAME_oneline(X509_get_subject_name(certificate), name, sizeof name);
}

std::string ownerOf(const EVP_PKEY *key) {
    if (key == nullptr)
        return "";
    if (EVP_PKEY_eq(key, keyIn(clientKey).get()) == 1)
        return clientName;
    return EVP_PKEY_eq(key, keyIn(otherKey).get()) == 1 ? otherName : "?";
}

Bytes contentsOf(BIO *bio) {
    char *data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return {data, static_cast<std::size_t>(size)};
}

Bytes pemOf(X509 *certificate) {
    return written([&](BIO *bio) { PEM_write_bio_X509(bio, certificate); });
}

Bytes pemOf(EVP_PKEY *key) {
    return written([&](BIO *bio) {
        PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
    });
}

Bytes blocksOf(const Bytes &text) {
    Bytes blocks;
    for (std::size_t at = 0; (at = text.find("-----BEGIN", at)) != text.npos;) {
        const std::size_t end = text.find("-----\n", text.find("-----END", at)) + 6;
        blocks += text.substr(at, end - at);
        at = end;
    }
    return blocks;
}

X509Ptr certificateFor(EVP_PKEY *key, const std::string &name, long serial) {
    X509Ptr certificate(X509_new());
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), serial);
    X509_NAME *subject = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char *>(name.c_str()), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), subject);
    ASN1_TIME_set_string(X509_getm_notBefore(certificate.get()), "200102030405Z");
    ASN1_TIME_set_string(X509_getm_notAfter(certificate.get()), "20990102030405Z");
    X509_set_pubkey(certificate.get(), key);
    X509_sign(certificate.get(), key, EVP_sha256());
    return certificate;
}

Bytes bundle(int count) {
    const KeyPtr key = keyIn(clientKey);
    Bytes all;
    for (int i = 0; i < count; ++i)
        all += pemOf(certificateFor(key.get(), "anchor " + std::to_string(i), i + 1).get());
    return all;
}

void openssl(const std::string &arguments) {
    const std::string command = "openssl " + arguments + " 2>/dev/null </dev/null";
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error("failed: " + command);
}

} // namespace qldapx_test::tls
