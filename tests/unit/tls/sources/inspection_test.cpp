// The certificate that a verification callback is asked about, as PEM and DER.
#include "support/case_name.h"
#include "support/tls_material.h"
#include "tls/sources/source.h"
#include "tls/sources/verification.h"

#include <climits>
#include <openssl/pem.h>

namespace qldapx_test::tls {
namespace {

Bytes trustedPem() {
    const X509Ptr certificate = certificateIn(clientCertificate);
    return written([&](BIO *bio) { PEM_write_bio_X509_AUX(bio, certificate.get()); });
}

const Bytes der = derOf(clientCertificate), pem = trustedPem();

constexpr char untouched = '\x55';

struct CertCase {
    const char *name;
    int format;
    long extra; // bytes of the buffer more than the certificate's
    int result;
};

class Certificate : public testing::TestWithParam<CertCase> {};

const Bytes &inFormat(int format) {
    return format == QLDAPX_TLS_CERT_PEM ? pem : der;
}

TEST_P(Certificate, LengthsAndBytes) {
    const Bytes &whole = inFormat(GetParam().format);
    const X509Ptr certificate = certificateIn(clientCertificate);
    const Current current(certificate.get());
    const auto size = static_cast<std::size_t>(static_cast<long>(whole.size()) + GetParam().extra);
    const std::size_t expected = std::min(size, whole.size());
    const GuardedBytes buffer(Bytes(size, untouched));
    berval output = buffer.value();
    EXPECT_EQ(ldapssl_get_cert(current, GetParam().format, &output), GetParam().result);
    EXPECT_EQ(output.bv_val, buffer.data());
    EXPECT_EQ(output.bv_len, expected);
    EXPECT_EQ(buffer.bytes(), whole.substr(0, expected) + Bytes(size - expected, untouched));
}

const CertCase certCases[] = {
    {"PemExact", 3, 0, 0},    {"PemLonger", 3, 100, 0},    {"PemShorter", 3, -1, 0},
    {"PemHalf", 3, -200, 0},  {"DerExact", 4, 0, 0},       {"DerLonger", 4, 100, 0},
    {"DerShorter", 4, -1, 0}, {"DerOneByte", 4, -313, 0},  {"DerNothing", 4, -314, -1},
    {"DerOneMore", 4, 1, 0},  {"PemHuge", 3, 10000000, 0},
};

INSTANTIATE_TEST_SUITE_P(Buffers, Certificate, testing::ValuesIn(certCases), caseName<CertCase>);

TEST(CertificateSize, WithoutBuffer) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    const Current current(certificate.get());
    for (int format : {3, 4})
        for (ber_len_t before : {ber_len_t{0}, ber_len_t{1}, ~ber_len_t{0}}) {
            berval output = {before, nullptr};
            EXPECT_EQ(ldapssl_get_cert(current, format, &output), 0);
            EXPECT_EQ(output.bv_len, inFormat(format).size());
            EXPECT_EQ(output.bv_val, nullptr);
        }
}

// Lengths that an int of OpenSSL cannot say: the bytes are the caller's word.
TEST(CertificateSize, BeyondInt) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    const Current current(certificate.get());
    for (ber_len_t size : {ber_len_t{INT_MAX}, ber_len_t{INT_MAX} + 1, ber_len_t{UINT_MAX} + 1,
                           ber_len_t{UINT_MAX} + 2, ~ber_len_t{0}}) {
        const GuardedBytes buffer(Bytes(der.size(), untouched));
        berval output = {size, buffer.data()};
        EXPECT_EQ(ldapssl_get_cert(current, 4, &output), 0) << size;
        EXPECT_EQ(output.bv_len, der.size()) << size;
        EXPECT_EQ(buffer.bytes(), der) << size;
    }
}

TEST(CertificateFormat, Others) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    const Current current(certificate.get());
    for (int format : {0, -1, 1, 2, 5, 100, INT_MAX, INT_MIN}) {
        char buffer[8] = "1234567";
        berval output = {sizeof buffer, buffer}, size = {5, nullptr};
        EXPECT_EQ(ldapssl_get_cert(current, format, &output), -1) << format;
        EXPECT_EQ(ldapssl_get_cert(current, format, &size), -1) << format;
        EXPECT_EQ(output.bv_len + size.bv_len, 0U) << format;
        EXPECT_STREQ(buffer, "1234567");
    }
}

TEST(CertificateMissing, NoneIsCurrent) {
    const Current current(nullptr);
    char buffer[100];
    for (int format : {3, 4}) {
        berval output = {sizeof buffer, buffer}, size = {5, nullptr};
        EXPECT_EQ(ldapssl_get_cert(current, format, &output), -1);
        EXPECT_EQ(ldapssl_get_cert(current, format, &size), -1);
    }
    for (int attribute : {1, 2, 3}) {
        int length = 100;
        EXPECT_EQ(ldapssl_get_cert_attribute(current, attribute, buffer, &length), -1);
        EXPECT_EQ(ldapssl_get_cert_attribute(current, attribute, nullptr, &length), -1);
    }
}

TEST(CertificateArguments, Null) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    const Current current(certificate.get());
    char buffer[100];
    berval output = {sizeof buffer, buffer};
    int length = 4;
    EXPECT_EQ(ldapssl_get_cert(nullptr, 3, &output), -1);
    EXPECT_EQ(ldapssl_get_cert(nullptr, 4, nullptr), -1);
    EXPECT_EQ(ldapssl_get_cert(current, 4, nullptr), -1);
    for (int attribute : {1, 2, 3, 100}) {
        EXPECT_EQ(ldapssl_get_cert_attribute(nullptr, attribute, buffer, &length), -1);
        EXPECT_EQ(ldapssl_get_cert_attribute(current, attribute, buffer, nullptr), -1);
        EXPECT_EQ(ldapssl_get_cert_attribute(current, attribute, nullptr, nullptr), -1);
    }
}

TEST(CertificateArguments, OtherAttributes) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    const Current current(certificate.get());
    for (int attribute : {0, -1, 4, 5, 99, 101, INT_MAX, INT_MIN}) {
        int value = 7, length = 4;
        EXPECT_EQ(ldapssl_get_cert_attribute(current, attribute, &value, &length), -1);
        EXPECT_EQ(ldapssl_get_cert_attribute(current, attribute, nullptr, &length), -1);
        EXPECT_EQ(value, 7);
        EXPECT_EQ(length, 4);
    }
}

} // namespace
} // namespace qldapx_test::tls
