#include "tls/authority.h"

#include <openssl/pem.h>
#include <openssl/rand.h>

#include <array>
#include <utility>

namespace stratasim::tls {
namespace {

constexpr long kDay = 24 * 60 * 60;

struct Validity {
    long from; // seconds from now
    long to;
};

/** A year, and some of the past: clocks differ. */
constexpr Validity kValid{-kDay, 365 * kDay};

Validity validityOf(Flaw flaw) {
    if (flaw == Flaw::Expired)
        return {-2 * kDay, -kDay};
    if (flaw == Flaw::NotYetValid)
        return {kDay, 365 * kDay};
    return kValid;
}

using SubjectPart = std::pair<const char *, const char *>; // attribute and value, root first

Key makeKey() {
    Key key(EVP_EC_gen("P-256"));
    require(key != nullptr, "making a key");
    return key;
}

void setSerial(X509 *certificate) {
    std::array<unsigned char, 16> bytes{};
    require(RAND_bytes(bytes.data(), bytes.size()) == 1, "random numbers");
    bytes[0] = (bytes[0] & 0x3fU) | 0x40U; // positive, and always of this length
    BIGNUM *number = BN_bin2bn(bytes.data(), bytes.size(), nullptr);
    const bool done = number != nullptr &&
                      BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate)) != nullptr;
    BN_free(number);
    require(done, "the serial number");
}

void setSubject(X509 *certificate, const std::vector<SubjectPart> &subject) {
    X509_NAME *name = X509_get_subject_name(certificate);
    for (const auto &[attribute, value] : subject)
        require(X509_NAME_add_entry_by_txt(name, attribute, MBSTRING_UTF8,
                                           reinterpret_cast<const unsigned char *>(value), -1, -1,
                                           0) == 1,
                "the subject");
}

/** A certificate with everything but extensions and signature. */
Credential draft(const std::vector<SubjectPart> &subject, const Validity &validity) {
    Credential made{makeKey(), Certificate(X509_new())};
    X509 *certificate = made.certificate.get();
    require(certificate != nullptr, "memory");
    require(X509_set_version(certificate, X509_VERSION_3) == 1, "the version");
    setSerial(certificate);
    setSubject(certificate, subject);
    require(X509_gmtime_adj(X509_getm_notBefore(certificate), validity.from) != nullptr &&
                X509_gmtime_adj(X509_getm_notAfter(certificate), validity.to) != nullptr,
            "the validity");
    require(X509_set_pubkey(certificate, made.key.get()) == 1, "the key");
    return made;
}

void extend(X509 *certificate, X509 *issuer, int kind, const char *value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value));
    require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1,
            "an extension");
}

void sign(X509 *certificate, const Credential &issuer) {
    require(X509_set_issuer_name(certificate, X509_get_subject_name(issuer.certificate.get())) ==
                    1 &&
                X509_sign(certificate, issuer.key.get(), EVP_sha256()) > 0,
            "the signature");
}

void addName(GENERAL_NAMES *names, const std::string &text) {
    GENERAL_NAME *name = GENERAL_NAME_new();
    require(name != nullptr && sk_GENERAL_NAME_push(names, name) > 0, "memory");
    if (ASN1_OCTET_STRING *address = a2i_IPADDRESS(text.c_str())) {
        GENERAL_NAME_set0_value(name, GEN_IPADD, address);
        return;
    }
    ASN1_IA5STRING *host = ASN1_IA5STRING_new();
    require(host != nullptr && ASN1_STRING_set(host, text.c_str(), -1) == 1, "memory");
    GENERAL_NAME_set0_value(name, GEN_DNS, host);
}

void setNames(X509 *certificate, const std::vector<std::string> &names) {
    const Names all(GENERAL_NAMES_new());
    require(all != nullptr, "memory");
    for (const std::string &name : names)
        addName(all.get(), name);
    require(X509_add1_ext_i2d(certificate, NID_subject_alt_name, all.get(), 0, 0) == 1,
            "the names");
}

/** Makes a certificate for one purpose final. */
void finish(const Credential &made, const Credential &issuer, const char *purpose) {
    X509 *certificate = made.certificate.get();
    extend(certificate, issuer.certificate.get(), NID_basic_constraints, "critical,CA:FALSE");
    extend(certificate, issuer.certificate.get(), NID_key_usage, "critical,digitalSignature");
    extend(certificate, issuer.certificate.get(), NID_ext_key_usage, purpose);
    extend(certificate, issuer.certificate.get(), NID_subject_key_identifier, "hash");
    extend(certificate, issuer.certificate.get(), NID_authority_key_identifier, "keyid");
    sign(certificate, issuer);
}

} // namespace

Authority::Authority() : own_(draft({{"CN", "strata-sim CA"}}, kValid)) {
    X509 *own = own_.certificate.get();
    extend(own, own, NID_basic_constraints, "critical,CA:TRUE");
    extend(own, own, NID_key_usage, "critical,keyCertSign,cRLSign");
    extend(own, own, NID_subject_key_identifier, "hash");
    sign(own, own_);
}

Credential Authority::issueServer(const std::vector<std::string> &names, Flaw flaw) const {
    const bool elsewhere = flaw == Flaw::WrongName;
    Credential made = draft({{"CN", "strata-sim"}}, validityOf(flaw));
    setNames(made.certificate.get(),
             elsewhere ? std::vector<std::string>{"elsewhere.example.com"} : names);
    finish(made, flaw == Flaw::SelfSigned ? made : own_, "serverAuth");
    return made;
}

Credential Authority::issueClient() const {
    Credential made =
        draft({{"DC", "com"}, {"DC", "example"}, {"OU", "people"}, {"CN", "Ada Brandt"}}, kValid);
    finish(made, own_, "clientAuth");
    return made;
}

std::string pemOf(X509 *certificate) {
    const Bio bio(BIO_new(BIO_s_mem()));
    require(bio != nullptr && PEM_write_bio_X509(bio.get(), certificate) == 1,
            "writing a certificate");
    return textOf(bio.get());
}

std::string pemOf(EVP_PKEY *key) {
    const Bio bio(BIO_new(BIO_s_mem()));
    require(bio != nullptr && PEM_write_bio_PKCS8PrivateKey(bio.get(), key, nullptr, nullptr, 0,
                                                            nullptr, nullptr) == 1,
            "writing a key");
    return textOf(bio.get());
}

} // namespace stratasim::tls
