// PKCS #12 that asks for more work than it can be worth fails before the work is done.
#include "support/case_name.h"
#include "support/pkcs12_der.h"
#include "support/tls_material.h"
#include "tls/sources/context.h"
#include "tls/sources/source.h"

#include <chrono>
#include <openssl/pem.h>
#include <qldapx/tls_certificate.h>

namespace qldapx_test::tls {
namespace {

constexpr std::int64_t most = 0x7fffffff;
const Bytes ciphertext(64, 'x');
const Bytes client = certificateBag(derOf(clientCertificate));

Bytes manyBags(int count, const Bytes &bag) {
    Bytes bags;
    for (int i = 0; i < count; ++i)
        bags += bag;
    return pkcs12({safe({bags})});
}

Bytes manySafes(int count, const Bytes &safe) {
    Bytes safes;
    for (int i = 0; i < count; ++i)
        safes += safe;
    return pkcs12({safes});
}

Bytes deepBags(int depth) {
    Bytes bag = client;
    for (int i = 0; i < depth; ++i)
        bag = nestedBag({bag});
    return pkcs12({safe({bag})});
}

struct BombCase {
    const char *name;
    Bytes bytes;
};

class Bomb : public testing::TestWithParam<BombCase> {};

template <class Call>
void expectAtOnce(Call call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST_P(Bomb, FailsAtOnce) {
    const Context context;
    const Bytes &bytes = GetParam().bytes;
    expectAtOnce([&] {
        withSource(bytes, 6, [](const void *source) {
            EXPECT_EQ(ldapssl_set_client_cert(source, 6, "secret"), 1);
            EXPECT_EQ(ldapssl_set_client_private_key(source, 6, "secret"), 1);
            return 0;
        });
    });
    expectAtOnce([&] {
        const BioPtr in(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
        const BioPtr out(BIO_new(BIO_s_mem()));
        EXPECT_EQ(dump_certs_keys_buf(out.get(), in.get(), "secret"), 0);
    });
}

const BombCase bombs[] = {
    {"KeyPkcs12", pkcs12({safe({client, shroudedKeyBag(tripleDes(most), ciphertext)})})},
    {"KeyPbkdf2", pkcs12({safe({client, shroudedKeyBag(pbkdf2(most), ciphertext)})})},
    {"KeyPbkdf2OfMoreBits", pkcs12({safe({client, shroudedKeyBag(pbkdf2(most * 4), ciphertext)})})},
    {"KeyPbkdf2Huge",
     pkcs12({safe({client, shroudedKeyBag(pbkdf2(0x7fffffffffffffff), ciphertext)})})},
    {"KeyPbkdf2Negative", pkcs12({safe({client, shroudedKeyBag(pbkdf2(-1), ciphertext)})})},
    {"KeyPkcs12Negative", pkcs12({safe({client, shroudedKeyBag(tripleDes(-1), ciphertext)})})},
    {"KeyPkcs12Zero", pkcs12({safe({client, shroudedKeyBag(tripleDes(0), ciphertext)})})},
    {"KeyPkcs12Minimum",
     pkcs12({safe({client, shroudedKeyBag(tripleDes(-most - 1), ciphertext)})})},
    {"KeyRounds32BitsAre1",
     pkcs12({safe({client, shroudedKeyBag(pbkdf2((most + 1) * 2 + 1), ciphertext)})})},
    {"KeyScryptN", pkcs12({safe({client, shroudedKeyBag(scrypt(1 << 30, 8, 1), ciphertext)})})},
    {"KeyScryptR", pkcs12({safe({client, shroudedKeyBag(scrypt(2, 1 << 29, 1), ciphertext)})})},
    {"KeyScryptP", pkcs12({safe({client, shroudedKeyBag(scrypt(2, 1, 1 << 29), ciphertext)})})},
    {"KeyScryptProduct",
     pkcs12({safe({client, shroudedKeyBag(scrypt(1 << 16, 1 << 16, 1 << 16), ciphertext)})})},
    {"KeyScryptOverflow",
     pkcs12({safe({client, shroudedKeyBag(scrypt(std::int64_t{1} << 32, std::int64_t{1} << 31, 2),
                                          ciphertext)})})},
    {"KeyScryptNegative", pkcs12({safe({client, shroudedKeyBag(scrypt(-2, -8, 1), ciphertext)})})},
    {"SafePkcs12", pkcs12({encryptedSafe(tripleDes(most), ciphertext)})},
    {"SafePbkdf2", pkcs12({encryptedSafe(pbkdf2(most), ciphertext)})},
    {"SafeScrypt", pkcs12({encryptedSafe(scrypt(1 << 30, 8, 1), ciphertext)})},
    {"NestedKey",
     pkcs12({safe({client, nestedBag({nestedBag({shroudedKeyBag(pbkdf2(most), ciphertext)})})})})},
};

INSTANTIATE_TEST_SUITE_P(Rounds, Bomb, testing::ValuesIn(bombs), caseName<BombCase>);

// A name in the text reads as an encrypted key, which asks for more than the 5,000,000 rounds that
// a file may take (about 5 seconds).
TEST(BombName, ReadsAsAKey) {
    const Context context;
    const Bytes info = sequence({pbkdf2(20000000), octetString(ciphertext)});
    const auto *at = reinterpret_cast<const unsigned char *>(info.data());
    X509_SIG *encrypted = d2i_X509_SIG(nullptr, &at, static_cast<long>(info.size()));
    const Bytes pem = written([&](BIO *bio) { PEM_write_bio_PKCS8(bio, encrypted); });
    X509_SIG_free(encrypted);
    const Bytes file =
        pkcs12({safe({certificateBag(derOf(clientCertificate), named("\n" + pem))})});
    expectAtOnce([&] {
        withSource(file, 6, [](const void *source) {
            EXPECT_EQ(ldapssl_set_client_private_key(source, 6, "secret"), 1);
            return 0;
        });
    });
}

// An encrypted key as PEM is bounded as one of PKCS #12 is, wherever it stands.
TEST(BombPem, IsRefusedAtOnce) {
    const Context context;
    const Bytes info = sequence({pbkdf2(most), octetString(ciphertext)});
    const auto *at = reinterpret_cast<const unsigned char *>(info.data());
    X509_SIG *encrypted = d2i_X509_SIG(nullptr, &at, static_cast<long>(info.size()));
    const Bytes pem =
        clientCertificate + written([&](BIO *bio) { PEM_write_bio_PKCS8(bio, encrypted); });
    X509_SIG_free(encrypted);
    for (const int type : {1, 3})
        expectAtOnce([&] {
            withSource(pem, type, [&](const void *source) {
                EXPECT_EQ(ldapssl_set_client_private_key(source, type, "secret"), 1);
                return 0;
            });
        });
}

// A name in the text reads as a certificate: that of the file's first bag counts.
TEST(NameInText, ReadsAsACertificate) {
    const Context context;
    const Bytes file =
        pkcs12({safe({certificateBag(derOf(clientCertificate), named("\n" + otherCertificate))})});
    withSource(file, 6, [](const void *source) {
        EXPECT_EQ(ldapssl_set_client_cert(source, 6, "secret"), 0);
        return 0;
    });
    EXPECT_EQ(Context::certificate(), clientName);
}

// The MAC is not verified: what it asks for is not done.
TEST(BombMac, CostsNothing) {
    const Context context;
    expectAtOnce([] {
        withSource(pkcs12({safe({client})}, mac(most)), 6, [](const void *source) {
            EXPECT_EQ(ldapssl_set_client_cert(source, 6, "secret"), 0);
            return 0;
        });
    });
}

// What opens, many times over: each bag alone is allowed. Copies the safes of a file of the openssl
// command, whose key and certificate it opens with the password.
Bytes exported(int rounds) {
    const Folder folder;
    openssl("pkcs12 -export -nomac -passout pass:secret -inkey " + folder.write("key", clientKey) +
            " -in " + folder.write("certificate", clientCertificate) + " -out " +
            folder.path("out") + " -iter " + std::to_string(rounds));
    std::ifstream stream(folder.path("out"), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// The contents of the one element that begins there.
Bytes contentsAt(const Bytes &bytes, std::size_t at) {
    const auto first = static_cast<unsigned char>(bytes.at(at + 1));
    if (first < 0x80)
        return bytes.substr(at + 2, first);
    std::size_t size = 0;
    for (int i = 0; i < first - 0x80; ++i)
        size =
            size << 8 | static_cast<unsigned char>(bytes.at(at + 2 + static_cast<std::size_t>(i)));
    return bytes.substr(at + 2 + static_cast<std::size_t>(first - 0x80), size);
}

// The safes of a file, one behind the other: within SEQUENCE, [0], OCTET STRING and SEQUENCE,
// behind the version (3 bytes) and the type (11).
Bytes safesOf(const Bytes &file) {
    const Bytes content = contentsAt(contentsAt(contentsAt(file, 0), 3), 11);
    return contentsAt(contentsAt(content, 0), 0);
}

TEST(BombSum, WhatOpensAddsUp) {
    const Context context;
    const Bytes safes = safesOf(exported(100000)); // two derivations
    const auto set = [](const Bytes &bytes) {
        return withSource(bytes, 6, [](const void *source) {
            return ldapssl_set_client_cert(source, 6, "secret");
        });
    };
    EXPECT_EQ(set(manySafes(1, safes)), 0);
    EXPECT_EQ(set(manySafes(40, safes)), 0);
    EXPECT_EQ(set(manySafes(51, safes)), 1);
    EXPECT_EQ(set(manySafes(1, safes)), 0);
}

TEST(BombSum, SmallBagsInGreatNumber) {
    const Context context;
    for (const Bytes &bytes : {manyBags(2000, client), manyBags(20000, bag(5, octetString("x"))),
                               manyBags(20000, nestedBag({})), manySafes(20000, safe({})),
                               manyBags(300, nestedBag({client}))})
        withSource(bytes, 6, [](const void *source) {
            const int result = ldapssl_set_client_cert(source, 6, "secret");
            EXPECT_TRUE(result == 0 || result == 1) << result;
            return 0;
        });
}

TEST(BombDepth, NestedBags) {
    const Context context;
    for (int depth : {1, 5, 30, 100, 1000, 4000})
        withSource(deepBags(depth), 6, [&](const void *source) {
            const int result = ldapssl_set_client_cert(source, 6, "secret");
            EXPECT_TRUE(depth <= 5 ? result == 0 : result == 0 || result == 1) << depth;
            return 0;
        });
}

} // namespace
} // namespace qldapx_test::tls
