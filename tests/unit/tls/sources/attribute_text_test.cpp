// The texts of attributes, bytes and names.
#include "support/case_name.h"
#include "support/pkcs12_der.h"
#include "support/tls_material.h"
#include "tls/sources/crypto.h"
#include "tls/sources/refusing_bio.h"

#include <gtest/gtest.h>
#include <openssl/asn1t.h>
#include <qldapx/tls_certificate.h>

namespace qldapx_test::tls {
namespace {

struct ReleaseAttributes {
    void operator()(STACK_OF(X509_ATTRIBUTE) * attributes) const {
        sk_X509_ATTRIBUTE_pop_free(attributes, X509_ATTRIBUTE_free);
    }
};
using Attributes = std::unique_ptr<STACK_OF(X509_ATTRIBUTE), ReleaseAttributes>;

// Of the elements, one behind the other.
Attributes attributesOf(const Bytes &elements) {
    Attributes attributes(sk_X509_ATTRIBUTE_new_null());
    const auto *at = reinterpret_cast<const unsigned char *>(elements.data());
    const auto *end = at + elements.size();
    while (at != end) {
        X509_ATTRIBUTE *attribute = d2i_X509_ATTRIBUTE(nullptr, &at, end - at);
        if (attribute == nullptr)
            throw std::invalid_argument("no attribute");
        sk_X509_ATTRIBUTE_push(attributes.get(), attribute);
    }
    return attributes;
}

std::string printed(const Attributes &attributes, const char *heading) {
    return written([&](BIO *bio) { EXPECT_EQ(print_attribs(bio, attributes.get(), heading), 1); });
}

struct AttributeCase {
    const char *name;
    Bytes attributes;
    const char *text; // below the heading
};

class AttributeText : public testing::TestWithParam<AttributeCase> {};

TEST_P(AttributeText, Exact) {
    EXPECT_EQ(printed(attributesOf(GetParam().attributes), "Bag Attributes"),
              std::string("Bag Attributes\n") + GetParam().text);
}

constexpr char friendlyName[] = "1.2.840.113549.1.9.20";
constexpr char localKeyId[] = "1.2.840.113549.1.9.21";

const AttributeCase attributeCases[] = {
    {"FriendlyName", named("the client"), "    friendlyName: the client\n"},
    {"EmptyName", named(""), "    friendlyName: \n"},
    {"NameOfOneCharacter", named("x"), "    friendlyName: x\n"},
    {"NameWithZeroCharacter", attribute(friendlyName, {tlv(0x1e, fromHex("00 61 00 00 00 62"))}),
     "    friendlyName: a\n"},
    {"NameEndedByZero", attribute(friendlyName, {tlv(0x1e, fromHex("00 61 00 00"))}),
     "    friendlyName: a\n"},
    {"NameBeyondLatin", attribute(friendlyName, {tlv(0x1e, fromHex("01 41 20 ac"))}),
     "    friendlyName: A\xac\n"},
    {"KeyId", keyId(fromHex("00 0a ff")), "    localKeyID: 00 0A FF \n"},
    {"EmptyKeyId", keyId(""), "    localKeyID: \n"},
    {"Both", named("n") + keyId("A"), "    friendlyName: n\n    localKeyID: 41 \n"},
    {"OtherOrder", keyId("A") + named("n"), "    localKeyID: 41 \n    friendlyName: n\n"},
    {"BitString", attribute(localKeyId, {tlv(0x03, fromHex("00 a5 5a"))}),
     "    localKeyID: A5 5A \n"},
    {"BitStringUnusedBits", attribute(localKeyId, {tlv(0x03, fromHex("04 f0"))}),
     "    localKeyID: F0 \n"},
    {"EmptyBitString", attribute(localKeyId, {tlv(0x03, fromHex("00"))}), "    localKeyID: \n"},
    {"Utf8", attribute(friendlyName, {tlv(0x0c, "x")}), "    friendlyName: <Unsupported tag 12>\n"},
    {"Integer", attribute(localKeyId, {integer(5)}), "    localKeyID: <Unsupported tag 2>\n"},
    {"Boolean", attribute(localKeyId, {fromHex("01 01 ff")}),
     "    localKeyID: <Unsupported tag 1>\n"},
    {"Null", attribute(localKeyId, {fromHex("05 00")}), "    localKeyID: <Unsupported tag 5>\n"},
    {"ObjectId", attribute(localKeyId, {objectId("1.2.3")}),
     "    localKeyID: <Unsupported tag 6>\n"},
    {"Sequence", attribute(localKeyId, {sequence({integer(5)})}),
     "    localKeyID: <Unsupported tag 16>\n"},
    {"Set", attribute(localKeyId, {set({integer(5)})}), "    localKeyID: <Unsupported tag 17>\n"},
    {"Printable", attribute(localKeyId, {tlv(0x13, "x")}),
     "    localKeyID: <Unsupported tag 19>\n"},
    // OpenSSL's number for what it keeps as it is.
    {"Context", attribute(localKeyId, {tlv(0x80, "x")}), "    localKeyID: <Unsupported tag -3>\n"},
    {"NoValues", attribute(friendlyName, {}), "    friendlyName: <No Values>\n"},
    {"FirstOfTwoValues", attribute(friendlyName, {bmpString("a"), bmpString("b")}),
     "    friendlyName: a\n"},
    {"FirstValueUnsupported", attribute(friendlyName, {integer(1), bmpString("b")}),
     "    friendlyName: <Unsupported tag 2>\n"},
    {"LongName", attribute("1.3.6.1.4.1.311.17.1", {bmpString("p")}),
     "    Microsoft CSP Name: p\n"},
    {"UnknownType", attribute("1.2.3.4.5", {bmpString("v")}), "    1.2.3.4.5: v\n"},
    {"UnknownTypeNoValues", attribute("1.2.3.4.5", {}), "    1.2.3.4.5: <No Values>\n"},
    {"UnknownTypeWide", attribute("2.999.18446744073709551615", {octetString("v")}),
     "    2.999.18446744073709551615: 76 \n"},
};

INSTANTIATE_TEST_SUITE_P(Rows, AttributeText, testing::ValuesIn(attributeCases),
                         caseName<AttributeCase>);

TEST(AttributeSet, NoneAndEmpty) {
    EXPECT_EQ(printed(nullptr, "Key Attributes"), "Key Attributes: <No Attributes>\n");
    EXPECT_EQ(printed(attributesOf(""), "Any"), "Any: <Empty Attributes>\n");
    EXPECT_EQ(printed(attributesOf(named("n")), "%s%n"), "%s%n\n    friendlyName: n\n");
}

TEST(AttributeSet, Long) {
    const Bytes name(100000, 'n'), id(100000, 'A');
    std::string digits;
    for (std::size_t i = 0; i < id.size(); ++i)
        digits += "41 ";
    EXPECT_EQ(printed(attributesOf(named(name) + keyId(id)), "Heading"),
              "Heading\n    friendlyName: " + name + "\n    localKeyID: " + digits + "\n");
    // A type whose text is longer than any buffer for one.
    std::string type = "1.2";
    for (int i = 0; i < 500; ++i)
        type += ".3";
    EXPECT_EQ(printed(attributesOf(attribute(type, {octetString("v")})), "Heading"),
              "Heading\n    " + type + ": 76 \n");
}

// Half a character, which no decoder lets pass: nothing is written behind what was allocated.
TEST(AttributeSet, BmpStringOfOddLength) {
    for (int length : {1, 3, 5}) {
        Attributes attributes(sk_X509_ATTRIBUTE_new_null());
        const unsigned char bytes[] = {0, 'a', 0, 'b', 0};
        X509_ATTRIBUTE *attribute =
            X509_ATTRIBUTE_create(NID_friendlyName, V_ASN1_OCTET_STRING, ASN1_OCTET_STRING_new());
        ASN1_TYPE *value = X509_ATTRIBUTE_get0_type(attribute, 0);
        ASN1_STRING_set(value->value.octet_string, bytes, length);
        value->type = value->value.octet_string->type = V_ASN1_BMPSTRING;
        sk_X509_ATTRIBUTE_push(attributes.get(), attribute);
        EXPECT_EQ(printed(attributes, "H").substr(0, 20), "H\n    friendlyName: ");
    }
}

TEST(HexText, Bytes) {
    const unsigned char bytes[] = {0x00, 0x09, 0x10, 0xab, 0xff};
    const auto hex = [&](int count) {
        return written([&](BIO *bio) { EXPECT_EQ(hex_prin(bio, bytes, count), 1); });
    };
    EXPECT_EQ(hex(5), "00 09 10 AB FF ");
    EXPECT_EQ(hex(1), "00 ");
    EXPECT_EQ(hex(0), "");
    EXPECT_EQ(hex(-1), "");
    EXPECT_EQ(written([](BIO *bio) { EXPECT_EQ(hex_prin(bio, nullptr, 0), 1); }), "");
}

std::string certificateText(X509 *certificate) {
    return written([&](BIO *bio) { EXPECT_EQ(dump_cert_text(bio, certificate), 1); });
}

TEST(CertificateText, Names) {
    EXPECT_EQ(certificateText(certificateIn(clientCertificate).get()),
              "subject=/DC=com/CN=client\nissuer= /DC=com/CN=client\n");
    const X509Ptr mixed = certificateIn(clientCertificate);
    X509_set_issuer_name(mixed.get(), X509_get_subject_name(certificateIn(otherCertificate).get()));
    EXPECT_EQ(certificateText(mixed.get()),
              "subject=/DC=com/CN=client\nissuer= /DC=com/CN=other\n");
}

X509_NAME *addTo(X509_NAME *name, const Bytes &value) {
    X509_NAME_add_entry_by_NID(name, NID_commonName, V_ASN1_UTF8STRING,
                               reinterpret_cast<const unsigned char *>(value.data()),
                               static_cast<int>(value.size()), -1, 0);
    return name;
}

// As OpenSSL's own text, which is cut between values.
TEST(CertificateText, LongAndOddNames) {
    for (const Bytes &value : {Bytes(64, 'x'), Bytes(247, 'x'), Bytes(252, 'x'), Bytes(300, 'x'),
                               Bytes(100000, 'x'), Bytes("a\nb\0c\xff", 6), Bytes("%s%n")}) {
        const X509Ptr certificate(X509_new());
        addTo(addTo(X509_get_subject_name(certificate.get()), value), "second");
        addTo(X509_get_issuer_name(certificate.get()), value);
        char subject[256], issuer[256];
        X509_NAME_oneline(X509_get_subject_name(certificate.get()), subject, sizeof subject);
        X509_NAME_oneline(X509_get_issuer_name(certificate.get()), issuer, sizeof issuer);
        EXPECT_EQ(certificateText(certificate.get()),
                  "subject=" + std::string(subject) + "\nissuer= " + issuer + "\n");
    }
}

TEST(CertificateText, NoNames) {
    const X509Ptr certificate(X509_new());
    EXPECT_EQ(certificateText(certificate.get()), "subject=\nissuer= \n");
}

// Whatever is not taken: the result stays, and nothing breaks.
TEST(RefusedText, EveryByte) {
    const Attributes attributes = attributesOf(named("n") + keyId("id") + attribute("1.2.3", {}));
    const X509Ptr certificate = certificateIn(clientCertificate);
    const unsigned char bytes[] = {1, 2, 3};
    for (int accepted = 0; accepted < 100; ++accepted)
        for (int answer : {0, -1}) {
            EXPECT_EQ(print_attribs(RefusingBio(accepted, answer).get(), attributes.get(), "H"), 1);
            EXPECT_EQ(print_attribs(RefusingBio(accepted, answer).get(), nullptr, "H"), 1);
            EXPECT_EQ(hex_prin(RefusingBio(accepted, answer).get(), bytes, 3), 1);
            EXPECT_EQ(dump_cert_text(RefusingBio(accepted, answer).get(), certificate.get()), 1);
        }
}

} // namespace
} // namespace qldapx_test::tls
