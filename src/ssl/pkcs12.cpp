#include "qldapx/tls_certificate.h"
#include "ssl/handles.h"
#include "ssl/key_derivation.h"

#include <openssl/pem.h>

namespace qldapx {
namespace {

constexpr int done = 1;
constexpr int failed = 0;
constexpr int lengthOfText = -1; // of a password that ends in a zero byte

int dumpBags(BIO *output, const STACK_OF(PKCS12_SAFEBAG) * bags, const char *password,
             Effort &effort);

int dumpKey(BIO *output, const PKCS8_PRIV_KEY_INFO *pkcs8) {
    const KeyPtr key(EVP_PKCS82PKEY_ex(pkcs8, algorithms(), nullptr));
    if (!key)
        return failed;
    print_attribs(output, PKCS8_pkey_get0_attrs(pkcs8), "Key Attributes");
    return PEM_write_bio_PrivateKey(output, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
}

int dumpShroudedKey(BIO *output, const PKCS12_SAFEBAG *bag, const char *password, Effort &effort) {
    const X509_ALGOR *encryption = nullptr;
    X509_SIG_get0(PKCS12_SAFEBAG_get0_pkcs8(bag), &encryption, nullptr);
    if (!effort.pay(encryption))
        return failed;
    const Pkcs8Ptr pkcs8(
        PKCS12_decrypt_skey_ex(bag, password, lengthOfText, algorithms(), nullptr));
    return pkcs8 ? dumpKey(output, pkcs8.get()) : failed;
}

int dumpCertificate(BIO *output, const PKCS12_SAFEBAG *bag) {
    if (PKCS12_SAFEBAG_get_bag_nid(bag) != NID_x509Certificate)
        return done;
    const X509Ptr certificate(PKCS12_SAFEBAG_get1_cert(bag));
    if (!certificate)
        return failed;
    dump_cert_text(output, certificate.get());
    return PEM_write_bio_X509(output, certificate.get());
}

int dumpContent(BIO *output, const PKCS12_SAFEBAG *bag, const char *password, Effort &effort) {
    switch (PKCS12_SAFEBAG_get_nid(bag)) {
    case NID_keyBag:
        return dumpKey(output, PKCS12_SAFEBAG_get0_p8inf(bag));
    case NID_pkcs8ShroudedKeyBag:
        return dumpShroudedKey(output, bag, password, effort);
    case NID_certBag:
        return dumpCertificate(output, bag);
    default:
        return dumpBags(output, PKCS12_SAFEBAG_get0_safes(bag), password, effort);
    }
}

bool isHandled(const PKCS12_SAFEBAG *bag) {
    const int kind = PKCS12_SAFEBAG_get_nid(bag);
    return kind == NID_keyBag || kind == NID_pkcs8ShroudedKeyBag || kind == NID_certBag ||
           kind == NID_safeContentsBag;
}

int dumpBag(BIO *output, const PKCS12_SAFEBAG *bag, const char *password, Effort &effort) {
    if (!isHandled(bag))
        return done;
    print_attribs(output, PKCS12_SAFEBAG_get0_attrs(bag), "Bag Attributes");
    return dumpContent(output, bag, password, effort);
}

int dumpBags(BIO *output, const STACK_OF(PKCS12_SAFEBAG) * bags, const char *password,
             Effort &effort) {
    for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i)
        if (dumpBag(output, sk_PKCS12_SAFEBAG_value(bags, i), password, effort) == failed)
            return failed;
    return done;
}

BagsPtr decrypt(const PKCS7 *safe, const char *password, Effort &effort) {
    const PKCS7_ENC_CONTENT *content =
        safe->d.encrypted != nullptr ? safe->d.encrypted->enc_data : nullptr;
    if (content == nullptr || content->enc_data == nullptr || !effort.pay(content->algorithm))
        return nullptr;
    return BagsPtr(static_cast<STACK_OF(PKCS12_SAFEBAG) *>(
        PKCS12_item_decrypt_d2i_ex(content->algorithm, ASN1_ITEM_rptr(PKCS12_SAFEBAGS), password,
                                   lengthOfText, content->enc_data, 1, algorithms(), nullptr)));
}

int dumpSafe(BIO *output, PKCS7 *safe, const char *password, Effort &effort) {
    BagsPtr bags;
    switch (OBJ_obj2nid(safe->type)) {
    case NID_pkcs7_data:
        bags.reset(PKCS12_unpack_p7data(safe));
        break;
    case NID_pkcs7_encrypted:
        bags = decrypt(safe, password, effort);
        break;
    default:
        return done;
    }
    return bags ? dumpBags(output, bags.get(), password, effort) : failed;
}

void printName(BIO *output, const ASN1_OBJECT *object) {
    const int nid = OBJ_obj2nid(object);
    if (nid != NID_undef) {
        BIO_printf(output, "%s: ", OBJ_nid2ln(nid));
        return;
    }
    i2a_ASN1_OBJECT(output, object);
    BIO_printf(output, ": ");
}

void printText(BIO *output, const ASN1_BMPSTRING *text) {
    const OpenSslTextPtr plain(OPENSSL_uni2asc(text->data, text->length));
    BIO_printf(output, "%s\n", plain ? plain.get() : "");
}

void printBytes(BIO *output, const ASN1_STRING *bytes) {
    hex_prin(output, bytes->data, bytes->length);
    BIO_printf(output, "\n");
}

void printValue(BIO *output, const ASN1_TYPE *value) {
    switch (value->type) {
    case V_ASN1_BMPSTRING:
        return printText(output, value->value.bmpstring);
    case V_ASN1_OCTET_STRING:
    case V_ASN1_BIT_STRING:
        return printBytes(output, value->value.asn1_string);
    default:
        BIO_printf(output, "<Unsupported tag %d>\n", value->type);
    }
}

void printAttribute(BIO *output, X509_ATTRIBUTE *attribute) {
    BIO_printf(output, "    ");
    printName(output, X509_ATTRIBUTE_get0_object(attribute));
    const ASN1_TYPE *first = X509_ATTRIBUTE_get0_type(attribute, 0);
    if (first == nullptr)
        BIO_printf(output, "<No Values>\n");
    else
        printValue(output, first);
}

} // namespace
} // namespace qldapx

using namespace qldapx;

extern "C" {

BIO *pkcs12_BIO_to_clear_BIO(BIO *input, const char *password) {
    BioPtr output(BIO_new(BIO_s_mem()));
    if (!output || dump_certs_keys_buf(output.get(), input, password) == failed)
        return nullptr;
    return output.release();
}

int dump_certs_keys_buf(BIO *output, BIO *input, const char *password) {
    OPENSSL_add_all_algorithms_noconf();
    const Pkcs12Ptr p12(d2i_PKCS12_bio(input, nullptr));
    return p12 ? dump_certs_keys_p12(output, p12.get(), password) : failed;
}

int dump_certs_keys_p12(BIO *output, const PKCS12 *p12, const char *password) {
    const SafesPtr safes(PKCS12_unpack_authsafes(p12));
    if (!safes)
        return failed;
    Effort effort;
    for (int i = 0; i < sk_PKCS7_num(safes.get()); ++i)
        if (dumpSafe(output, sk_PKCS7_value(safes.get(), i), password, effort) == failed)
            return failed;
    return done;
}

int dump_certs_pkeys_bags(BIO *output, const STACK_OF(PKCS12_SAFEBAG) * bags,
                          const char *password) {
    Effort effort;
    return dumpBags(output, bags, password, effort);
}

int dump_certs_pkeys_bag(BIO *output, const PKCS12_SAFEBAG *bag, const char *password) {
    Effort effort;
    return dumpBag(output, bag, password, effort);
}

int print_attribs(BIO *output, const STACK_OF(X509_ATTRIBUTE) * attributes, const char *heading) {
    if (attributes == nullptr) {
        BIO_printf(output, "%s: <No Attributes>\n", heading);
        return done;
    }
    const int count = sk_X509_ATTRIBUTE_num(attributes);
    BIO_printf(output, count == 0 ? "%s: <Empty Attributes>\n" : "%s\n", heading);
    for (int i = 0; i < count; ++i)
        printAttribute(output, sk_X509_ATTRIBUTE_value(attributes, i));
    return done;
}

int hex_prin(BIO *output, const unsigned char *bytes, int count) {
    for (int i = 0; i < count; ++i)
        BIO_printf(output, "%02X ", bytes[i]);
    return done;
}

int dump_cert_text(BIO *output, X509 *x509) {
    char subject[256];
    char issuer[256];
    X509_NAME_oneline(X509_get_subject_name(x509), subject, sizeof subject);
    X509_NAME_oneline(X509_get_issuer_name(x509), issuer, sizeof issuer);
    BIO_printf(output, "subject=%s\nissuer= %s\n", subject, issuer);
    return done;
}
}
