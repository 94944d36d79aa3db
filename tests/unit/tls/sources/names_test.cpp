// The names of a certificate that a verification callback is asked about.
#include "support/case_name.h"
#include "support/tls_material.h"
#include "tls/sources/source.h"
#include "tls/sources/verification.h"

#include <climits>

namespace qldapx_test::tls {
namespace {

constexpr char untouched = '\x55';

// The names differ, so that each is seen to be its own.
X509Ptr issuedByOther() {
    X509Ptr certificate = certificateIn(clientCertificate);
    X509_set_issuer_name(certificate.get(),
                         X509_get_subject_name(certificateIn(otherCertificate).get()));
    return certificate;
}

struct NameCase {
    const char *name;
    int attribute;
    int size; // of the buffer
    const char *text;
    int length; // afterwards
};

class Name : public testing::TestWithParam<NameCase> {};

// What the text does not fill is zero, as strncpy leaves it.
TEST_P(Name, LengthsAndBytes) {
    const NameCase &row = GetParam();
    const X509Ptr certificate = issuedByOther();
    const Current current(certificate.get());
    const auto size = static_cast<std::size_t>(row.size);
    const GuardedBytes buffer(Bytes(size, untouched));
    int length = row.size;
    EXPECT_EQ(ldapssl_get_cert_attribute(current, row.attribute, buffer.data(), &length), 0);
    EXPECT_EQ(length, row.length);
    const Bytes text = row.text;
    EXPECT_EQ(buffer.bytes(), text + Bytes(size - text.size(), '\0'));
}

const NameCase nameCases[] = {
    {"Subject", 2, 18, "/DC=com/CN=client", 17},
    {"SubjectExact", 2, 17, "/DC=com/CN=client", 17},
    {"SubjectShorter", 2, 16, "/DC=com/CN=clien", 16},
    {"SubjectOneByte", 2, 1, "/", 1},
    {"SubjectNothing", 2, 0, "", 0},
    {"SubjectLonger", 2, 5000, "/DC=com/CN=client", 17},
    {"Issuer", 1, 17, "/DC=com/CN=other", 16},
    {"IssuerExact", 1, 16, "/DC=com/CN=other", 16},
    {"IssuerShorter", 1, 15, "/DC=com/CN=othe", 15},
    {"IssuerLonger", 1, 100, "/DC=com/CN=other", 16},
};

INSTANTIATE_TEST_SUITE_P(Buffers, Name, testing::ValuesIn(nameCases), caseName<NameCase>);

TEST(NameLength, WithoutBuffer) {
    const X509Ptr certificate = issuedByOther();
    const Current current(certificate.get());
    for (int before : {0, 1, 1000}) {
        int issuer = before, subject = before;
        EXPECT_EQ(ldapssl_get_cert_attribute(current, 1, nullptr, &issuer), 0);
        EXPECT_EQ(ldapssl_get_cert_attribute(current, 2, nullptr, &subject), 0);
        EXPECT_EQ(issuer, 16);
        EXPECT_EQ(subject, 17);
    }
}

TEST(NameLength, Negative) {
    const X509Ptr certificate = issuedByOther();
    const Current current(certificate.get());
    for (int attribute : {1, 2, 100})
        for (int negative : {-1, INT_MIN}) {
            char buffer[] = "untouched";
            int length = negative;
            EXPECT_EQ(ldapssl_get_cert_attribute(current, attribute, buffer, &length), -1);
            EXPECT_STREQ(buffer, "untouched");
        }
}

X509Ptr withSubject(const Bytes &commonName) {
    X509Ptr certificate(X509_new());
    X509_NAME_add_entry_by_NID(X509_get_subject_name(certificate.get()), NID_commonName,
                               V_ASN1_UTF8STRING,
                               reinterpret_cast<const unsigned char *>(commonName.data()),
                               static_cast<int>(commonName.size()), -1, 0);
    return certificate;
}

TEST(NameText, OddCharacters) {
    const X509Ptr certificate = withSubject(Bytes("a\0b\n\xff=", 6));
    const Current current(certificate.get());
    char buffer[100];
    int length = sizeof buffer;
    EXPECT_EQ(ldapssl_get_cert_attribute(current, 2, buffer, &length), 0);
    EXPECT_STREQ(buffer, "/CN=a\\x00b\\x0A\\xFF=");
    EXPECT_EQ(length, 19);
}

TEST(NameText, Empty) {
    const X509Ptr certificate(X509_new());
    const Current current(certificate.get());
    char buffer[4] = {'x', 'x', 'x', 'x'};
    int length = sizeof buffer;
    EXPECT_EQ(ldapssl_get_cert_attribute(current, 2, buffer, &length), 0);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(Bytes(buffer, 4), Bytes(4, '\0'));
}

// OpenSSL makes texts of up to a mebibyte.
TEST(NameText, Long) {
    const X509Ptr longest = withSubject(Bytes(1000000, 'x'));
    const X509Ptr tooLong = withSubject(Bytes(500000, '\xff'));
    int length = 0;
    EXPECT_EQ(ldapssl_get_cert_attribute(Current(longest.get()), 2, nullptr, &length), 0);
    EXPECT_EQ(length, 1000004);
    char buffer[] = "untouched";
    length = sizeof buffer;
    EXPECT_EQ(ldapssl_get_cert_attribute(Current(tooLong.get()), 2, buffer, &length), -1);
    EXPECT_EQ(ldapssl_get_cert_attribute(Current(tooLong.get()), 2, nullptr, &length), -1);
    EXPECT_STREQ(buffer, "untouched");
}

} // namespace
} // namespace qldapx_test::tls
