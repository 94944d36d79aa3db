#include "authority.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <stdexcept>

namespace test {
namespace {

using Output = std::unique_ptr<BIO, Release<BIO_free>>;

std::string textOf(const Output &output) {
    const char *bytes = nullptr;
    const long size = BIO_get_mem_data(output.get(), &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

void require(bool isTrue) {
    if (!isTrue)
        throw std::runtime_error("OpenSSL made no certificate");
}

void extend(X509 *certificate, X509 *issuer, int extension, const std::string &value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, Release<X509_EXTENSION_free>> made(
        X509V3_EXT_conf_nid(nullptr, &context, extension, value.c_str()));
    require(made && X509_add_ext(certificate, made.get(), -1) == 1);
}

Issued begin(const Statement &statement) {
    constexpr int version3 = 2;
    constexpr int day = 24 * 60 * 60;
    static long serial = 1;
    Issued made{Certificate(X509_new()), Key(EVP_EC_gen("P-256"))};
    X509 *certificate = made.certificate.get();
    require(certificate != nullptr && made.key && X509_set_version(certificate, version3) == 1);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), serial++);
    X509_gmtime_adj(X509_getm_notBefore(certificate), long{statement.from} * day);
    X509_gmtime_adj(X509_getm_notAfter(certificate), long{statement.to} * day);
    X509_set_pubkey(certificate, made.key.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char *>(statement.name.c_str()), -1,
                               -1, 0);
    return made;
}

void sign(const Issued &made, const Issued &issuer) {
    X509_set_issuer_name(made.certificate.get(), X509_get_subject_name(issuer.certificate.get()));
    require(X509_sign(made.certificate.get(), issuer.key.get(), EVP_sha256()) > 0);
}

} // namespace

std::string Issued::pem() const {
    const Output output(BIO_new(BIO_s_mem()));
    require(PEM_write_bio_X509(output.get(), certificate.get()) == 1);
    return textOf(output);
}

std::string Issued::der() const {
    const Output output(BIO_new(BIO_s_mem()));
    require(i2d_X509_bio(output.get(), certificate.get()) == 1);
    return textOf(output);
}

std::string Issued::keyPem() const {
    const Output output(BIO_new(BIO_s_mem()));
    require(PEM_write_bio_PrivateKey(output.get(), key.get(), nullptr, nullptr, 0, nullptr,
                                     nullptr) == 1);
    return textOf(output);
}

Authority::Authority(const std::string &name) : own_(begin({name, "", -1, 2})) {
    X509 *certificate = own_.certificate.get();
    extend(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
    sign(own_, own_);
}

Issued Authority::issue(const Statement &statement) const {
    Issued made = begin(statement);
    if (!statement.alternativeNames.empty())
        extend(made.certificate.get(), own_.certificate.get(), NID_subject_alt_name,
               statement.alternativeNames);
    sign(made, own_);
    return made;
}

} // namespace test
