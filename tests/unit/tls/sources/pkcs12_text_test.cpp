// PKCS #12 as text, whole: attributes, names and PEM.
#include "support/case_name.h"
#include "support/pkcs12_der.h"
#include "support/tls_material.h"
#include "tls/sources/refusing_bio.h"
#include "tls/sources/source.h"

#include <gtest/gtest.h>
#include <iterator>
#include <openssl/pem.h>
#include <qldapx/tls_certificate.h>

namespace qldapx_test::tls {
namespace {

constexpr char right[] = "secret";

BioPtr reading(const Bytes &bytes) {
    return BioPtr(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
}

struct Dump {
    int result;
    Bytes text;
};

Dump dump(const Bytes &bytes, const char *password) {
    const BioPtr out(BIO_new(BIO_s_mem()));
    const int result = dump_certs_keys_buf(out.get(), reading(bytes).get(), password);
    return {result, contentsOf(out.get())};
}

const Bytes clientText =
    "subject=/DC=com/CN=client\nissuer= /DC=com/CN=client\n" + clientCertificate;
const Bytes otherText = "subject=/DC=com/CN=other\nissuer= /DC=com/CN=other\n" + otherCertificate;
const Bytes noAttributes = "Bag Attributes: <No Attributes>\n";
const Bytes keyText = "Key Attributes: <No Attributes>\n" + clientKey;

const Bytes client = certificateBag(derOf(clientCertificate));
const Bytes other = certificateBag(derOf(otherCertificate));
const Bytes key = keyBag(derOf(clientKey));
const Bytes bad = certificateBag("no DER");
const Bytes encryptedInfo = derOf(encryptedKey);

struct TextCase {
    const char *name;
    Bytes bytes;
    int result;
    Bytes text;
};

class Pkcs12Text : public testing::TestWithParam<TextCase> {};

TEST_P(Pkcs12Text, Exact) {
    const Dump dumped = dump(GetParam().bytes, right);
    EXPECT_EQ(dumped.result, GetParam().result);
    EXPECT_EQ(dumped.text, GetParam().text);
    const BioPtr text(pkcs12_BIO_to_clear_BIO(reading(GetParam().bytes).get(), right));
    EXPECT_EQ(text != nullptr, GetParam().result == 1);
    if (text != nullptr) {
        EXPECT_EQ(contentsOf(text.get()), GetParam().text);
    }
}

// A key whose PKCS #8 has attributes of its own.
Bytes keyWithAttributes() {
    Bytes whole = derOf(clientKey);
    return sequence({whole.substr(3), tlv(0xa0, named("of the key"))});
}

// A bag with a set of attributes that is empty.
Bytes emptyAttributes() {
    const Bytes value = sequence(
        {objectId("1.2.840.113549.1.9.22.1"), tlv(0xa0, octetString(derOf(clientCertificate)))});
    return sequence({objectId("1.2.840.113549.1.12.10.1.3"), tlv(0xa0, value), set({})});
}

const Bytes modernName =
    "Bag Attributes\n    friendlyName: the client\n    localKeyID: BE 26 14 27 "
    "D2 E9 D4 2D 45 90 96 A4 FF 2E F2 57 8D AD F4 2A \n";
const Bytes legacyName = "Bag Attributes\n    localKeyID: BE 26 14 27 "
                         "D2 E9 D4 2D 45 90 96 A4 FF 2E F2 57 8D AD F4 2A \n";

const TextCase textCases[] = {
    {"Modern", modernPkcs12(), 1,
     modernName + clientText + noAttributes + otherText + modernName + keyText},
    {"Legacy", legacyPkcs12(), 1, legacyName + clientText + legacyName + keyText},
    {"NoSafe", pkcs12({}), 1, ""},
    {"EmptySafe", pkcs12({safe({})}), 1, ""},
    {"Certificate", pkcs12({safe({client})}), 1, noAttributes + clientText},
    {"Key", pkcs12({safe({key})}), 1, noAttributes + keyText},
    {"KeyNamed", pkcs12({safe({keyBag(derOf(clientKey), named("k"))})}), 1,
     "Bag Attributes\n    friendlyName: k\n" + keyText},
    {"KeyWithAttributes", pkcs12({safe({keyBag(keyWithAttributes())})}), 1,
     noAttributes + "Key Attributes\n    friendlyName: of the key\n" + clientKey},
    {"ShroudedKey", pkcs12({safe({bag(2, encryptedInfo, keyId("A"))})}), 1,
     "Bag Attributes\n    localKeyID: 41 \n" + keyText},
    {"EmptyAttributes", pkcs12({safe({emptyAttributes()})}), 1,
     "Bag Attributes: <Empty Attributes>\n" + clientText},
    {"Order", pkcs12({safe({key, other}), safe({client})}), 1,
     noAttributes + keyText + noAttributes + otherText + noAttributes + clientText},
    {"Nested", pkcs12({safe({nestedBag({client, nestedBag({key})}, named("outer")), other})}), 1,
     "Bag Attributes\n    friendlyName: outer\n" + noAttributes + clientText + noAttributes +
         noAttributes + keyText + noAttributes + otherText},
    {"NotX509", pkcs12({safe({foreignCertificateBag("x", named("foreign")), client})}), 1,
     "Bag Attributes\n    friendlyName: foreign\n" + noAttributes + clientText},
    {"OtherBags",
     pkcs12(
         {safe({bag(4, sequence({objectId("1.2.840.113549.1.9.23.1"), tlv(0xa0, octetString("x"))}),
                    named("crl")),
                bag(5, sequence({objectId("1.2.3"), tlv(0xa0, octetString("x"))}), named("secret")),
                sequence({objectId("1.2.3.4"), tlv(0xa0, octetString("x"))}), client})}),
     1, noAttributes + clientText},
    {"OtherSafe", pkcs12({otherSafe("1.2.3.4", sequence({integer(0)})), safe({client})}), 1,
     noAttributes + clientText},
    {"BadCertificate", pkcs12({safe({client, bad, other})}), 0,
     noAttributes + clientText + noAttributes},
    {"BadNested", pkcs12({safe({nestedBag({client, bad}), other})}), 0,
     noAttributes + noAttributes + clientText + noAttributes},
    {"BadKey",
     pkcs12({safe({client,
                   keyBag(sequence({integer(0), sequence({objectId("1.2.3")}), octetString("x")})),
                   other})}),
     0, noAttributes + clientText + noAttributes},
    {"BadShroudedKey", pkcs12({safe({client, shroudedKeyBag(pbkdf2(1), Bytes(32, 'x')), other})}),
     0, noAttributes + clientText + noAttributes},
    {"BadSafe", pkcs12({safe({client}), encryptedSafe(pbkdf2(1), Bytes(32, 'x')), safe({other})}),
     0, noAttributes + clientText},
    {"Empty", "", 0, ""},
    {"Garbage", "garbage", 0, ""},
    {"Pem", clientCertificate, 0, ""},
};

INSTANTIATE_TEST_SUITE_P(Rows, Pkcs12Text, testing::ValuesIn(textCases), caseName<TextCase>);

TEST(Pkcs12Password, Wrong) {
    for (const char *password : {"wrong", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(dump(modernPkcs12(), password).result, 0);
        EXPECT_EQ(dump(legacyPkcs12(), password).result, 0);
        EXPECT_EQ(pkcs12_BIO_to_clear_BIO(reading(modernPkcs12()).get(), password), nullptr);
        EXPECT_EQ(dump(pkcs12({safe({key, client})}), password).result, 1);
    }
}

// As the openssl command writes them.
TEST(Pkcs12Peer, SamePem) {
    for (const Bytes &bytes :
         {modernPkcs12(), legacyPkcs12(), pkcs12({safe({key, nestedBag({other, client})})})}) {
        const Folder folder;
        const std::string in = folder.write("in", bytes), out = folder.path("out");
        openssl("pkcs12 -legacy -nodes -nomacver -passin pass:secret -in " + in + " -out " + out);
        std::ifstream stream(out, std::ios::binary);
        const Bytes theirs = {std::istreambuf_iterator<char>(stream), {}};
        EXPECT_EQ(blocksOf(dump(bytes, right).text), blocksOf(theirs));
        EXPECT_NE(blocksOf(theirs), "");
    }
}

// Each writer by itself gives its part of the whole.
TEST(Pkcs12Writers, Parts) {
    const Bytes bytes = pkcs12({safe({client, other})});
    const Pkcs12Ptr p12(d2i_PKCS12_bio(reading(bytes).get(), nullptr));
    const Bytes whole = noAttributes + clientText + noAttributes + otherText;
    EXPECT_EQ(written([&](BIO *bio) { EXPECT_EQ(dump_certs_keys_p12(bio, p12.get(), right), 1); }),
              whole);
    STACK_OF(PKCS7) *safes = PKCS12_unpack_authsafes(p12.get());
    STACK_OF(PKCS12_SAFEBAG) *bags = PKCS12_unpack_p7data(sk_PKCS7_value(safes, 0));
    EXPECT_EQ(written([&](BIO *bio) { EXPECT_EQ(dump_certs_pkeys_bags(bio, bags, nullptr), 1); }),
              whole);
    EXPECT_EQ(written([&](BIO *bio) {
                  const PKCS12_SAFEBAG *second = sk_PKCS12_SAFEBAG_value(bags, 1);
                  EXPECT_EQ(dump_certs_pkeys_bag(bio, second, nullptr), 1);
              }),
              noAttributes + otherText);
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
    sk_PKCS7_pop_free(safes, PKCS7_free);
}

// Nothing of what came before is touched.
TEST(Pkcs12Writers, Append) {
    const BioPtr out(BIO_new(BIO_s_mem()));
    BIO_puts(out.get(), "before\n");
    EXPECT_EQ(dump_certs_keys_buf(out.get(), reading(pkcs12({safe({client})})).get(), right), 1);
    EXPECT_EQ(contentsOf(out.get()), "before\n" + noAttributes + clientText);
}

TEST(Pkcs12Writers, InputIsReadOnce) {
    const Bytes bytes = pkcs12({safe({client})}) + "behind";
    const BioPtr in = reading(bytes);
    EXPECT_EQ(BioPtr(pkcs12_BIO_to_clear_BIO(in.get(), right)) != nullptr, true);
    EXPECT_EQ(BioPtr(pkcs12_BIO_to_clear_BIO(in.get(), right)), nullptr);
}

TEST(Pkcs12Writers, RefusedAtEveryByte) {
    const Bytes bytes = pkcs12({safe({key, client, nestedBag({other}, named("n"))})});
    for (int accepted = 0; accepted < 2500; accepted += accepted < 300 ? 1 : 37)
        for (int answer : {0, -1}) {
            const RefusingBio out(accepted, answer);
            const int result = dump_certs_keys_buf(out.get(), reading(bytes).get(), right);
            EXPECT_TRUE(result == 0 || result == 1) << result;
        }
}

TEST(Pkcs12File, ToBio) {
    const Folder folder;
    const std::string path = folder.write("file", "contents");
    const BioPtr bio(file_to_BIO(path.c_str()));
    ASSERT_NE(bio, nullptr);
    char text[20];
    EXPECT_EQ(BIO_read(bio.get(), text, sizeof text), 8);
    EXPECT_EQ(Bytes(text, 8), "contents");
    EXPECT_LE(BIO_write(bio.get(), "x", 1), 0);
    for (const char *missing : {"", "/no such file"})
        EXPECT_EQ(BioPtr(file_to_BIO(missing)), nullptr);
}

} // namespace
} // namespace qldapx_test::tls
