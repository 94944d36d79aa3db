// The client's certificate and key from PKCS #12, made by the openssl command and by hand.
#include "support/case_name.h"
#include "support/pkcs12_der.h"
#include "support/tls_material.h"
#include "tls/sources/context.h"
#include "tls/sources/source.h"

#include <iterator>

namespace qldapx_test::tls {
namespace {

constexpr char right[] = "secret";
const char *nothing = nullptr;

// Sets both from the bytes, one after the other, and says what became of the context.
struct Outcome {
    int certificateResult, keyResult;
    std::string certificate, key;
};

Outcome setBoth(const Bytes &bytes, int type, const char *password) {
    const Context context;
    Outcome outcome;
    outcome.certificateResult = withSource(bytes, type, [&](const void *source) {
        return ldapssl_set_client_cert(source, type, password);
    });
    outcome.keyResult = withSource(bytes, type, [&](const void *source) {
        return ldapssl_set_client_private_key(source, type, password);
    });
    EXPECT_FALSE(Context::keepsPassword());
    outcome.certificate = Context::certificate();
    outcome.key = Context::key();
    return outcome;
}

// The subject of the certificate and that of the key's; "" where it fails.
void expectBoth(const Bytes &bytes, const char *password, const std::string &certificate,
                const std::string &key) {
    for (int type : {5, 6}) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        const Outcome outcome = setBoth(bytes, type, password);
        EXPECT_EQ(outcome.certificateResult, certificate.empty() ? 1 : 0);
        EXPECT_EQ(outcome.certificate, certificate);
        EXPECT_EQ(outcome.keyResult, key.empty() ? 1 : 0);
        EXPECT_EQ(outcome.key, key);
    }
}

struct ExportCase {
    const char *name;
    const char *options;
    const char *password;
    bool loads;
};

class Export : public testing::TestWithParam<ExportCase> {};

Bytes exported(const std::string &options) {
    const Folder folder;
    const std::string key = folder.write("key", clientKey), out = folder.path("out");
    const std::string certificates = folder.write("certificates", clientCertificate);
    openssl("pkcs12 -export -inkey " + key + " -in " + certificates + " -out " + out + " " +
            options);
    std::ifstream stream(out, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST_P(Export, Loads) {
    const char *name = GetParam().loads ? clientName : "";
    expectBoth(exported(GetParam().options), GetParam().password, name, name);
}

const std::string overlong(100000, 'x');

const ExportCase exports[] = {
    {"Modern", "-passout pass:secret", right, true},
    {"ModernWrong", "-passout pass:secret", "wrong", false},
    {"ModernNoPassword", "-passout pass:secret", nothing, false},
    {"ModernEmptyPassword", "-passout pass:secret", "", false},
    {"ModernOverlong", "-passout pass:secret", overlong.c_str(), false},
    {"ModernNamed", "-passout pass:secret -name x -caname y", right, true},
    {"ManyRounds", "-passout pass:secret -iter 100000", right, true},
    {"Sha512", "-passout pass:secret -macalg sha512", right, true},
    {"Legacy", "-passout pass:secret -legacy", right, true},
    {"LegacyWrong", "-passout pass:secret -legacy", "wrong", false},
    {"TripleDes", "-passout pass:secret -keypbe PBE-SHA1-3DES -certpbe PBE-SHA1-3DES", right, true},
    {"NoMac", "-passout pass:secret -nomac", right, true},
    {"NoMacWrong", "-passout pass:secret -nomac", "wrong", false},
    {"InClear", "-passout pass:secret -keypbe NONE -certpbe NONE", nothing, true},
    {"InClearAnyPassword", "-passout pass:secret -keypbe NONE -certpbe NONE", "wrong", true},
    {"InClearNoMac", "-passout pass: -keypbe NONE -certpbe NONE -nomac", nothing, true},
    {"CertificateInClear", "-passout pass:secret -certpbe NONE", right, true},
    {"CertificateInClearWrong", "-passout pass:secret -certpbe NONE", "wrong", false},
    {"KeyInClear", "-passout pass:secret -keypbe NONE", right, true},
    {"EmptyPassword", "-passout pass:", "", true},
    {"EmptyPasswordWrong", "-passout pass:", "wrong", false},
    // Its derivation takes no difference between both; that of PKCS #12 does.
    {"EmptyPasswordPbes2NoPassword", "-passout pass:", nothing, true},
    {"EmptyPasswordTripleDes", "-passout pass: -keypbe PBE-SHA1-3DES -certpbe PBE-SHA1-3DES", "",
     true},
    {"EmptyPasswordTripleDesNoPassword",
     "-passout pass: -keypbe PBE-SHA1-3DES -certpbe PBE-SHA1-3DES", nothing, false},
};

INSTANTIATE_TEST_SUITE_P(OpenSsl, Export, testing::ValuesIn(exports), caseName<ExportCase>);

struct BagCase {
    const char *name;
    Bytes bytes;
    std::string certificate, key;
};

class HandMade : public testing::TestWithParam<BagCase> {};

TEST_P(HandMade, Loads) {
    for (const char *password : {nothing, "", right})
        expectBoth(GetParam().bytes, password, GetParam().certificate, GetParam().key);
}

const Bytes client = certificateBag(derOf(clientCertificate));
const Bytes other = certificateBag(derOf(otherCertificate));
const Bytes key = keyBag(derOf(clientKey)), wrongKey = keyBag(derOf(otherKey));
const Bytes crl =
    bag(4, sequence({objectId("1.2.840.113549.1.9.23.1"), tlv(0xa0, octetString("no list"))}));
const Bytes secret = bag(5, sequence({objectId("1.2.3"), tlv(0xa0, octetString("x"))}));
const Bytes unknown = sequence({objectId("1.2.3.4"), tlv(0xa0, octetString("x"))});
const Bytes foreign = foreignCertificateBag("no certificate");
const Bytes otherContent = otherSafe("1.2.3.4", sequence({integer(0)}));

const BagCase bagCases[] = {
    {"OneSafe", pkcs12({safe({client, key})}), clientName, clientName},
    {"KeyFirst", pkcs12({safe({key, client})}), clientName, clientName},
    {"TwoSafes", pkcs12({safe({key}), safe({client})}), clientName, clientName},
    {"FirstCertificate", pkcs12({safe({other, client})}), otherName, ""},
    {"FirstKey", pkcs12({safe({key, wrongKey, client})}), clientName, clientName},
    {"FirstKeyIsAnothers", pkcs12({safe({wrongKey, key, client})}), clientName, ""},
    {"FirstAcrossSafes", pkcs12({safe({client}), safe({other, key})}), clientName, clientName},
    {"KeysOnly", pkcs12({safe({key})}), "", clientName},
    {"CertificatesOnly", pkcs12({safe({client, other})}), clientName, ""},
    {"NoSafe", pkcs12({}), "", ""},
    {"EmptySafe", pkcs12({safe({})}), "", ""},
    {"Named",
     pkcs12({safe({certificateBag(derOf(clientCertificate), named("x") + keyId("y")), key})}),
     clientName, clientName},
    {"Nested", pkcs12({safe({nestedBag({nestedBag({key}), client})})}), clientName, clientName},
    {"EmptyNested", pkcs12({safe({nestedBag({}), client, key})}), clientName, clientName},
    {"OtherBags", pkcs12({safe({crl, secret, unknown, foreign, client, key})}), clientName,
     clientName},
    {"OtherBagsOnly", pkcs12({safe({crl, secret, unknown, foreign})}), "", ""},
    {"OtherSafes", pkcs12({otherContent, safe({client, key}), otherContent}), clientName,
     clientName},
    {"NoMac", pkcs12({safe({client, key})}), clientName, clientName},
    {"MacOfAnother", pkcs12({safe({client, key})}, mac(1)), clientName, clientName},
    {"BadCertificate", pkcs12({safe({key, certificateBag("no DER")})}), "", ""},
    {"BadCertificateBehind", pkcs12({safe({client, key, certificateBag("no DER")})}), "", ""},
    {"BadKey", pkcs12({safe({client, keyBag(sequence({integer(0)}))})}), "", ""},
    {"BadKeyBehind",
     pkcs12(
         {safe({client, key,
                keyBag(sequence({integer(0), sequence({objectId("1.2.3")}), octetString("x")}))})}),
     "", ""},
    {"BadNested", pkcs12({safe({client, key, nestedBag({certificateBag("no DER")})})}), "", ""},
    {"BadSafe", pkcs12({safe({client, key}), otherSafe("1.2.840.113549.1.7.1", octetString("x"))}),
     "", ""},
    {"UndecryptableKey", pkcs12({safe({client, shroudedKeyBag(pbkdf2(1), Bytes(32, 'x'))})}), "",
     ""},
    {"UndecryptableSafe", pkcs12({safe({client, key}), encryptedSafe(pbkdf2(1), Bytes(32, 'x'))}),
     "", ""},
    {"UnknownEncryption",
     pkcs12({safe({client, key}), encryptedSafe(sequence({objectId("1.2.3")}), Bytes(32, 'x'))}),
     "", ""},
    {"NoContent", sequence({integer(3), sequence({objectId("1.2.840.113549.1.7.1")})}), "", ""},
    {"SignedContent",
     sequence({integer(3), otherSafe("1.2.840.113549.1.7.2", sequence({integer(1)}))}), "", ""},
    {"OtherContent", sequence({integer(3), otherContent}), "", ""},
    {"IsPem", clientCertificate, "", ""},
    {"IsCertificate", derOf(clientCertificate), "", ""},
};

INSTANTIATE_TEST_SUITE_P(Bags, HandMade, testing::ValuesIn(bagCases), caseName<BagCase>);

// The openssl command's order: certificates before keys, as they are in the file.
TEST(Pkcs12Many, FirstInTheFile) {
    const Folder folder;
    const std::string more = folder.write("more", otherCertificate + bundle(20));
    expectBoth(exported("-passout pass:secret -certfile " + more), right, clientName, clientName);
}

} // namespace
} // namespace qldapx_test::tls
