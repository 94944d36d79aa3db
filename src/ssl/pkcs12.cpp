#include "ssl/pkcs12.h"
#include "qldapx/tls_certificate.h"
#include "ssl/key_derivation.h"

#include <openssl/pem.h>

namespace qldapx {
namespace {

constexpr int done = 1;
constexpr int failed = 0;
constexpr int lengthOfText = -1; // of a password that ends in a zero byte

// What a dump is for, and where it goes.
struct Dump {
    BIO *output;
    const char *password;
    Pkcs12Part part = Pkcs12Part::all;
    Effort effort = {};

    // A part is PEM and nothing else: the text of an attribute could pass for PEM.
    [[nodiscard]] bool writesText() const { return part == Pkcs12Part::all; }
    [[nodiscard]] bool writes(Pkcs12Part kind) const {
        return part == Pkcs12Part::all || part == kind;
    }
};

int dumpBags(Dump &dump, const STACK_OF(PKCS12_SAFEBAG) * bags);

void dumpAttributes(const Dump &dump, const STACK_OF(X509_ATTRIBUTE) * attributes,
                    const char *heading) {
    if (dump.writesText())
        print_attribs(dump.output, attributes, heading);
}

int dumpKey(const Dump &dump, const PKCS8_PRIV_KEY_INFO *pkcs8) {
    const KeyPtr key(EVP_PKCS82PKEY_ex(pkcs8, algorithms(), nullptr));
    if (!key)
        return failed;
    if (!dump.writes(Pkcs12Part::keys))
        return done;
    dumpAttributes(dump, PKCS8_pkey_get0_attrs(pkcs8), "Key Attributes");
    return PEM_write_bio_PrivateKey(dump.output, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
}

int dumpShroudedKey(Dump &dump, const PKCS12_SAFEBAG *bag) {
    const X509_ALGOR *encryption = nullptr;
    X509_SIG_get0(PKCS12_SAFEBAG_get0_pkcs8(bag), &encryption, nullptr);
    if (!dump.effort.pay(encryption))
        return failed;
    const Pkcs8Ptr pkcs8(
        PKCS12_decrypt_skey_ex(bag, dump.password, lengthOfText, algorithms(), nullptr));
    return pkcs8 ? dumpKey(dump, pkcs8.get()) : failed;
}

int dumpCertificate(const Dump &dump, const PKCS12_SAFEBAG *bag) {
    if (PKCS12_SAFEBAG_get_bag_nid(bag) != NID_x509Certificate)
        return done;
    const X509Ptr certificate(PKCS12_SAFEBAG_get1_cert(bag));
    if (!certificate)
        return failed;
    if (dump.writesText())
        dump_cert_text(dump.output, certificate.get());
    return dump.writes(Pkcs12Part::certificates)
               ? PEM_write_bio_X509(dump.output, certificate.get())
               : done;
}

int dumpContent(Dump &dump, const PKCS12_SAFEBAG *bag) {
    switch (PKCS12_SAFEBAG_get_nid(bag)) {
    case NID_keyBag:
        return dumpKey(dump, PKCS12_SAFEBAG_get0_p8inf(bag));
    case NID_pkcs8ShroudedKeyBag:
        return dumpShroudedKey(dump, bag);
    case NID_certBag:
        return dumpCertificate(dump, bag);
    default:
        return dumpBags(dump, PKCS12_SAFEBAG_get0_safes(bag));
    }
}

bool isHandled(const PKCS12_SAFEBAG *bag) {
    const int kind = PKCS12_SAFEBAG_get_nid(bag);
    return kind == NID_keyBag || kind == NID_pkcs8ShroudedKeyBag || kind == NID_certBag ||
           kind == NID_safeContentsBag;
}

int dumpBag(Dump &dump, const PKCS12_SAFEBAG *bag) {
    if (!isHandled(bag))
        return done;
    dumpAttributes(dump, PKCS12_SAFEBAG_get0_attrs(bag), "Bag Attributes");
    return dumpContent(dump, bag);
}

int dumpBags(Dump &dump, const STACK_OF(PKCS12_SAFEBAG) * bags) {
    for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i)
        if (dumpBag(dump, sk_PKCS12_SAFEBAG_value(bags, i)) == failed)
            return failed;
    return done;
}

BagsPtr decrypt(Dump &dump, const PKCS7 *safe) {
    const PKCS7_ENC_CONTENT *content =
        safe->d.encrypted != nullptr ? safe->d.encrypted->enc_data : nullptr;
    if (content == nullptr || content->enc_data == nullptr || !dump.effort.pay(content->algorithm))
        return nullptr;
    return BagsPtr(static_cast<STACK_OF(PKCS12_SAFEBAG) *>(PKCS12_item_decrypt_d2i_ex(
        content->algorithm, ASN1_ITEM_rptr(PKCS12_SAFEBAGS), dump.password, lengthOfText,
        content->enc_data, 1, algorithms(), nullptr)));
}

int dumpSafe(Dump &dump, PKCS7 *safe) {
    BagsPtr bags;
    switch (OBJ_obj2nid(safe->type)) {
    case NID_pkcs7_data:
        bags.reset(PKCS12_unpack_p7data(safe));
        break;
    case NID_pkcs7_encrypted:
        bags = decrypt(dump, safe);
        break;
    default:
        return done;
    }
    return bags ? dumpBags(dump, bags.get()) : failed;
}

int dumpSafes(Dump &dump, const PKCS12 *p12) {
    const SafesPtr safes(PKCS12_unpack_authsafes(p12));
    if (!safes)
        return failed;
    for (int i = 0; i < sk_PKCS7_num(safes.get()); ++i)
        if (dumpSafe(dump, sk_PKCS7_value(safes.get(), i)) == failed)
            return failed;
    return done;
}

int dumpFile(Dump &dump, BIO *input) {
    OPENSSL_add_all_algorithms_noconf();
    const Pkcs12Ptr p12(d2i_PKCS12_bio(input, nullptr));
    return p12 ? dumpSafes(dump, p12.get()) : failed;
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

// The beginning of a name; of one that OpenSSL does not write, being larger than a megabyte,
// nothing.
class NameText {
  public:
    explicit NameText(const X509_NAME *name) {
        if (X509_NAME_oneline(name, text_, sizeof text_) == nullptr)
            text_[0] = '\0';
    }
    [[nodiscard]] const char *text() const { return text_; }

  private:
    char text_[256];
};

} // namespace

BioPtr toPem(BIO *pkcs12, const char *password, Pkcs12Part part) {
    BioPtr output(BIO_new(BIO_s_mem()));
    Dump dump = {output.get(), password, part};
    if (!output || dumpFile(dump, pkcs12) == failed)
        return nullptr;
    return output;
}

} // namespace qldapx

using namespace qldapx;

extern "C" {

BIO *pkcs12_BIO_to_clear_BIO(BIO *input, const char *password) {
    return toPem(input, password, Pkcs12Part::all).release();
}

int dump_certs_keys_buf(BIO *output, BIO *input, const char *password) {
    Dump dump = {output, password};
    return dumpFile(dump, input);
}

int dump_certs_keys_p12(BIO *output, const PKCS12 *p12, const char *password) {
    Dump dump = {output, password};
    return dumpSafes(dump, p12);
}

int dump_certs_pkeys_bags(BIO *output, const STACK_OF(PKCS12_SAFEBAG) * bags,
                          const char *password) {
    Dump dump = {output, password};
    return dumpBags(dump, bags);
}

int dump_certs_pkeys_bag(BIO *output, const PKCS12_SAFEBAG *bag, const char *password) {
    Dump dump = {output, password};
    return dumpBag(dump, bag);
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
    const NameText subject(X509_get_subject_name(x509));
    const NameText issuer(X509_get_issuer_name(x509));
    BIO_printf(output, "subject=%s\nissuer= %s\n", subject.text(), issuer.text());
    return done;
}
}
