// When a certificate is valid, and what is wrong with it.
#include "support/case_name.h"
#include "support/tls_material.h"
#include "tls/sources/source.h"
#include "tls/sources/verification.h"

#include <climits>
#include <cstring>

namespace qldapx_test::tls {
namespace {

constexpr char untouched = '\x55';

static_assert(sizeof(LdapSslValidity) == 88 && offsetof(LdapSslValidity, notBeforeKind) == 40 &&
              offsetof(LdapSslValidity, notAfter) == 44 &&
              offsetof(LdapSslValidity, notAfterKind) == 84);

struct Time {
    int tag;
    Bytes text;
};

ASN1_TIME *setTime(ASN1_TIME *time, const Time &value) {
    ASN1_STRING_set(time, value.text.data(), static_cast<int>(value.text.size()));
    time->type = value.tag;
    return time;
}

X509Ptr valid(const Time &from, const Time &to) {
    X509Ptr certificate(X509_new());
    setTime(X509_getm_notBefore(certificate.get()), from);
    setTime(X509_getm_notAfter(certificate.get()), to);
    return certificate;
}

// The text, padded with zero bytes to its place in the record.
Bytes padded(const Bytes &text) {
    return text + Bytes(40 - text.size(), '\0');
}

Bytes kind(int number) {
    return Bytes(1, static_cast<char>(number)) + Bytes(3, '\0');
}

struct ValidityCase {
    const char *name;
    Time from, to;
    Bytes record;
};

class Validity : public testing::TestWithParam<ValidityCase> {};

// Whatever length says: none is checked.
TEST_P(Validity, Record) {
    const X509Ptr certificate = valid(GetParam().from, GetParam().to);
    const Current current(certificate.get());
    for (int before : {88, 0, 4, 1000}) {
        const GuardedBytes buffer(Bytes(88, untouched));
        int length = before;
        EXPECT_EQ(ldapssl_get_cert_attribute(current, 3, buffer.data(), &length), 0);
        EXPECT_EQ(length, 88);
        EXPECT_EQ(toHex(buffer.bytes()), toHex(GetParam().record));
        length = before;
        EXPECT_EQ(ldapssl_get_cert_attribute(current, 3, nullptr, &length), 0);
        EXPECT_EQ(length, 88);
    }
}

constexpr int utc = 23, generalized = 24;
const Bytes digits39 = "012345678901234567890123456789012345678";

const ValidityCase validityCases[] = {
    {"UtcTimes",
     {utc, "200102030405Z"},
     {utc, "491231235959Z"},
     padded("200102030405Z") + kind(1) + padded("491231235959Z") + kind(1)},
    {"GeneralizedTimes",
     {generalized, "20500102030405Z"},
     {generalized, "99991231235959Z"},
     padded("20500102030405Z") + kind(2) + padded("99991231235959Z") + kind(2)},
    {"BothKinds",
     {utc, "200102030405Z"},
     {generalized, "20990102030405Z"},
     padded("200102030405Z") + kind(1) + padded("20990102030405Z") + kind(2)},
    {"OtherWay",
     {generalized, "20200102030405Z"},
     {utc, "300102030405Z"},
     padded("20200102030405Z") + kind(2) + padded("300102030405Z") + kind(1)},
    {"Empty", {utc, ""}, {generalized, ""}, padded("") + kind(1) + padded("") + kind(2)},
    {"LongestEnded",
     {utc, digits39},
     {generalized, digits39},
     padded(digits39) + kind(1) + padded(digits39) + kind(2)},
    {"Longer",
     {utc, digits39 + "9"},
     {generalized, digits39 + "9012345"},
     padded(digits39) + kind(1) + padded(digits39) + kind(2)},
    {"MuchLonger",
     {generalized, Bytes(100000, '1')},
     {utc, Bytes(100000, '2')},
     padded(Bytes(39, '1')) + kind(2) + padded(Bytes(39, '2')) + kind(1)},
    {"ZeroInside",
     {utc, Bytes("2001\0x", 6)},
     {utc, Bytes("\0x", 2)},
     padded("2001") + kind(1) + padded("") + kind(1)},
};

INSTANTIATE_TEST_SUITE_P(Times, Validity, testing::ValuesIn(validityCases), caseName<ValidityCase>);

TEST(VerifyError, Lengths) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    const Current current(certificate.get());
    for (int error : {X509_V_OK, X509_V_ERR_CERT_HAS_EXPIRED, X509_V_ERR_HOSTNAME_MISMATCH}) {
        X509_STORE_CTX_set_error(current, error);
        std::int32_t value = -1;
        int length = 4;
        EXPECT_EQ(ldapssl_get_cert_attribute(current, 100, &value, &length), 0);
        EXPECT_EQ(value, error);
        EXPECT_EQ(length, 4);
        for (int wrong : {0, 1, 3, 5, 8, INT_MAX}) {
            value = -1;
            length = wrong;
            EXPECT_EQ(ldapssl_get_cert_attribute(current, 100, &value, &length), -1) << wrong;
            EXPECT_EQ(value, -1);
            EXPECT_EQ(ldapssl_get_cert_attribute(current, 100, nullptr, &length), 0) << wrong;
            EXPECT_EQ(length, 4);
        }
    }
}

// The fault is the verification's, of a certificate or of none.
TEST(VerifyError, WithoutCertificate) {
    const Current current(nullptr);
    X509_STORE_CTX_set_error(current, X509_V_ERR_UNSPECIFIED);
    std::int32_t value = -1;
    int length = 4;
    EXPECT_EQ(ldapssl_get_cert_attribute(current, 100, &value, &length), 0);
    EXPECT_EQ(value, X509_V_ERR_UNSPECIFIED);
}

// A buffer that is not aligned for what it receives.
TEST(VerifyError, Unaligned) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    const Current current(certificate.get());
    X509_STORE_CTX_set_error(current, X509_V_ERR_CERT_REVOKED);
    alignas(8) char buffer[100] = {};
    int length = 4;
    EXPECT_EQ(ldapssl_get_cert_attribute(current, 100, buffer + 1, &length), 0);
    std::int32_t value = 0;
    std::memcpy(&value, buffer + 1, sizeof value);
    EXPECT_EQ(value, X509_V_ERR_CERT_REVOKED);
    EXPECT_EQ(ldapssl_get_cert_attribute(current, 3, buffer + 1, &length), 0);
    EXPECT_STREQ(buffer + 1, "200102030405Z");
}

// What a callback of a real verification sees; its verdict decides.
TEST(Verification, AsksTheCallback) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    for (int verdict : {0, 1, -1}) {
        int asked = 0;
        const int result = verifyAnd(certificate.get(), [&](X509_STORE_CTX *context) {
            ++asked;
            std::int32_t error = 0;
            int length = 4, nameLength = 0;
            EXPECT_EQ(ldapssl_get_cert_attribute(context, 100, &error, &length), 0);
            EXPECT_EQ(error, X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT);
            EXPECT_EQ(ldapssl_get_cert_attribute(context, 2, nullptr, &nameLength), 0);
            EXPECT_EQ(nameLength, 17);
            berval output = {0, nullptr};
            EXPECT_EQ(ldapssl_get_cert(context, 4, &output), 0);
            EXPECT_EQ(output.bv_len, derOf(clientCertificate).size());
            return verdict;
        });
        EXPECT_EQ(asked, 1);
        EXPECT_EQ(result, verdict == 0 ? 1 : 0);
    }
}

} // namespace
} // namespace qldapx_test::tls
