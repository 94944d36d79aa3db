// The seeds of TLS set-up.
#include "corpus.h"

#include "support/pkcs12_der.h"
#include "support/tls_material.h"

namespace qldapx_fuzz {

namespace {

using namespace qldapx_test;
using namespace qldapx_test::tls;

struct Sample {
    const char *name;
    Bytes bytes;
};

constexpr char begin[] = "-----BEGIN CERTIFICATE-----\n", end[] = "-----END CERTIFICATE-----\n";

const Sample pemSamples[] = {
    {"Certificate", clientCertificate},
    {"Two", clientCertificate + otherCertificate},
    {"Twice", clientCertificate + clientCertificate},
    {"WithText", "text\n" + clientCertificate + "text"},
    {"Key", clientKey},
    {"Pair", clientCertificate + clientKey},
    {"PairOfOthers", clientCertificate + otherKey},
    {"EncryptedKey", encryptedKey + clientCertificate},
    {"TraditionalKey", traditionalKey + clientCertificate},
    {"SecondBad", clientCertificate + begin + "AAAA\n" + end},
    {"Cut", clientCertificate.substr(0, 200)},
    {"Encrypted",
     Bytes(begin) + "Proc-Type: 4,ENCRYPTED\nDEK-Info: AES-128-CBC,00\n\nAAAA\n" + end},
};

const Sample derSamples[] = {
    {"Certificate", derOf(clientCertificate)},
    {"AndMore", derOf(otherCertificate) + "more"},
    {"Key", derOf(clientKey)},
    {"HugeLength", fromHex("30 84 7f ff ff ff 30 00")},
};

const Bytes client = certificateBag(derOf(clientCertificate), named("n") + keyId("k"));
const Bytes key = keyBag(derOf(clientKey), attribute("1.2.3", {}));

const Sample pkcs12Samples[] = {
    {"Modern", modernPkcs12()},
    {"Legacy", legacyPkcs12()},
    {"InClear", pkcs12({safe({client, key})})},
    {"Nested", pkcs12({safe({nestedBag({nestedBag({key}), client}, named("nested"))})})},
    {"Shrouded", pkcs12({safe({client, bag(2, derOf(encryptedKey))})})},
    {"OtherBags", pkcs12({safe({foreignCertificateBag("x"), bag(5, octetString("x")), client})})},
    {"OtherSafe", pkcs12({otherSafe("1.2.3.4", integer(1)), safe({client})})},
    {"Attributes", pkcs12({safe({certificateBag(
                       derOf(clientCertificate),
                       attribute("1.2.3.4", {integer(1)}) + attribute("1.3.6.1.4.1.311.17.1", {}) +
                           attribute("1.2.840.113549.1.9.21", {tlv(0x03, fromHex("00 a5"))}))})})},
    {"Rounds", pkcs12({safe({shroudedKeyBag(tripleDes(0x7fffffff), Bytes(32, 'x'))})}, mac(1))},
    {"Pbkdf2Rounds", pkcs12({encryptedSafe(pbkdf2(0x7fffffff), Bytes(32, 'x'))})},
    {"Scrypt", pkcs12({encryptedSafe(scrypt(2, 1, 1), Bytes(32, 'x'))})},
    {"ScryptWork", pkcs12({encryptedSafe(scrypt(1 << 30, 1 << 10, 1 << 10), Bytes(32, 'x'))})},
};

constexpr char secretPassword = 2;

} // namespace

void addTls(std::vector<Seed> &all) {
    for (const Sample &sample : pemSamples) {
        all.push_back({"trust_pem", sample.name, sample.bytes});
        all.push_back({"client_pem", sample.name, secretPassword + sample.bytes});
    }
    all.push_back({"client_pem", "NoPassword", Bytes(1, '\0') + encryptedKey});
    for (const Sample &sample : derSamples) {
        all.push_back({"trust_der", sample.name, sample.bytes});
        all.push_back({"client_pem", std::string("Der") + sample.name, '\0' + sample.bytes});
        all.push_back({"cert_attribute", sample.name, '\x12' + sample.bytes});
    }
    all.push_back({"cert_attribute", "LongBuffer", '\xff' + derOf(clientCertificate)});
    all.push_back({"cert_attribute", "NoBuffer", '\0' + derOf(clientCertificate)});
    for (const Sample &sample : pkcs12Samples)
        all.push_back({"pkcs12", sample.name, secretPassword + sample.bytes});
    all.push_back({"pkcs12", "WrongPassword", '\1' + modernPkcs12()});
    all.push_back({"pkcs12", "NoPassword", '\0' + legacyPkcs12()});
}

} // namespace qldapx_fuzz
