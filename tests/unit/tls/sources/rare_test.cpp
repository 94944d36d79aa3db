// What hardly anybody meets: a host that makes no URL, a key whose derivation makes no sense, a
// name that OpenSSL does not write.
#include "support/pkcs12_der.h"
#include "support/tls_material.h"
#include "tls/sources/context.h"

#include <qldapx/tls_certificate.h>

namespace qldapx_test::tls {
namespace {

TEST(RareUrl, AHostThatMakesNone) {
    EXPECT_EQ(ldapssl_init("[::1", 389, 0), nullptr);
    EXPECT_EQ(ldapssl_init("[::1", 636, 1), nullptr);
}

TEST(RareKey, ScryptWithATextInPlaceOfANumber) {
    const Context context;
    Bytes derivation = scrypt(2, 1, 1);
    const std::size_t last = derivation.rfind("\x02\x01\x01");
    ASSERT_NE(last, Bytes::npos);
    derivation[last] = '\x04';
    const Bytes bytes = pkcs12({safe(
        {certificateBag(derOf(clientCertificate)), shroudedKeyBag(derivation, Bytes(64, 'x'))})});
    const berval value = {bytes.size(), const_cast<char *>(bytes.data())};
    EXPECT_EQ(ldapssl_set_client_private_key(&value, 6, "secret"), 1);
    EXPECT_EQ(Context::key(), "");
}

// Each of its bytes takes four when it is written: more than OpenSSL writes of a name.
TEST(RareName, LongerThanOpenSslWrites) {
    const Bytes text(400'000, '\x01');
    const X509Ptr certificate(X509_new());
    X509_NAME *subject = X509_get_subject_name(certificate.get());
    ASSERT_EQ(X509_NAME_add_entry_by_NID(subject, NID_commonName, V_ASN1_UTF8STRING,
                                         reinterpret_cast<const unsigned char *>(text.data()),
                                         static_cast<int>(text.size()), -1, 0),
              1);
    EXPECT_EQ(written([&](BIO *bio) { dump_cert_text(bio, certificate.get()); }),
              "subject=\nissuer= \n");
}

} // namespace
} // namespace qldapx_test::tls
