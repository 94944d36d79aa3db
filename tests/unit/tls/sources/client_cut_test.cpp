// The client's certificate and key from sources that are cut or damaged at any place.
#include "support/case_name.h"
#include "support/pkcs12_der.h"
#include "support/tls_material.h"
#include "tls/sources/context.h"
#include "tls/sources/source.h"

namespace qldapx_test::tls {
namespace {

int setCertificate(const void *source, int type) {
    return ldapssl_set_client_cert(source, type, "secret");
}

int setKey(const void *source, int type) {
    return ldapssl_set_client_private_key(source, type, "secret");
}

struct CutCase {
    std::string name;
    int type;
    Bytes whole;
    int (*set)(const void *source, int type);
    // What a source needs to be whole; empty: all its bytes.
    std::string last;
};

int setCut(const CutCase &row, const Bytes &bytes) {
    return withSource(bytes, row.type,
                      [&](const void *source) { return row.set(source, row.type); });
}

class ClientCut : public testing::TestWithParam<CutCase> {};

TEST_P(ClientCut, EveryLength) {
    const CutCase &row = GetParam();
    const Context context;
    for (std::size_t size = 0; size < row.whole.size(); ++size) {
        const Bytes cut = row.whole.substr(0, size);
        const bool isWhole = !row.last.empty() && cut.find(row.last) != cut.npos;
        EXPECT_EQ(setCut(row, cut), isWhole ? 0 : 1) << size << " bytes";
    }
    EXPECT_EQ(setCut(row, row.whole), 0);
}

// Each byte, changed: no result but the two, and never a crash.
TEST_P(ClientCut, EveryByteDamaged) {
    const CutCase &row = GetParam();
    const Context context;
    for (std::size_t at = 0; at < row.whole.size(); ++at)
        for (int change : {0x01, 0x80}) {
            Bytes damaged = row.whole;
            damaged[at] = static_cast<char>(damaged[at] ^ change);
            const int result = setCut(row, damaged);
            EXPECT_TRUE(result == 0 || result == 1) << result << " at " << at;
        }
}

Bytes clearPkcs12() {
    return pkcs12({safe({keyBag(derOf(clientKey), named("key")),
                         certificateBag(derOf(clientCertificate), keyId("id"))})});
}

const char certificateEnd[] = "-----END CERTIFICATE-----";

const CutCase cutCases[] = {
    {"CertificatePemFile", 1, clientCertificate, setCertificate, certificateEnd},
    {"CertificatePem", 3, clientCertificate, setCertificate, certificateEnd},
    {"CertificateDerFile", 2, derOf(clientCertificate), setCertificate, ""},
    {"CertificateDer", 4, derOf(clientCertificate), setCertificate, ""},
    {"CertificatePkcs12", 6, clearPkcs12(), setCertificate, ""},
    {"CertificateModernPkcs12", 6, modernPkcs12(), setCertificate, ""},
    {"KeyPemFile", 1, clientKey, setKey, "-----END PRIVATE KEY-----"},
    {"KeyPem", 3, clientKey, setKey, "-----END PRIVATE KEY-----"},
    {"KeyEncrypted", 3, encryptedKey, setKey, "-----END ENCRYPTED PRIVATE KEY-----"},
    {"KeyTraditional", 3, traditionalKey, setKey, "-----END EC PRIVATE KEY-----"},
    {"KeyPkcs12", 6, clearPkcs12(), setKey, ""},
};

INSTANTIATE_TEST_SUITE_P(Sources, ClientCut, testing::ValuesIn(cutCases), caseName<CutCase>);

} // namespace
} // namespace qldapx_test::tls
