// Trust anchors from every kind of source.
#include "support/case_name.h"
#include "support/tls_material.h"
#include "tls/sources/context.h"
#include "tls/sources/source.h"

#include <climits>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace qldapx_test::tls {
namespace {

constexpr int pem = 1, der = 2; // the files; the buffers are 2 more
constexpr char begin[] = "-----BEGIN CERTIFICATE-----", end[] = "-----END CERTIFICATE-----";

int addAnchor(const Bytes &bytes, int type) {
    return withSource(bytes, type,
                      [&](const void *source) { return ldapssl_add_trusted_cert(source, type); });
}

Bytes withAuxiliary() {
    const X509Ptr certificate = certificateIn(clientCertificate);
    X509_alias_set1(certificate.get(), reinterpret_cast<const unsigned char *>("alias"), 5);
    return written([&](BIO *bio) { PEM_write_bio_X509_AUX(bio, certificate.get()); });
}

Bytes renamed(Bytes text, const std::string &from, const std::string &to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

struct Extension {
    int kind;
    const char *hex;
};

Bytes withExtensions(const std::vector<Extension> &extensions) {
    const X509Ptr certificate = certificateIn(clientCertificate);
    EXPECT_EQ(X509_set_version(certificate.get(), 2), 1);
    for (const Extension &each : extensions) {
        const Bytes bytes = fromHex(each.hex);
        const std::unique_ptr<ASN1_OCTET_STRING, Release<ASN1_OCTET_STRING_free>> value(
            ASN1_OCTET_STRING_new());
        ASN1_OCTET_STRING_set(value.get(), reinterpret_cast<const unsigned char *>(bytes.data()),
                              static_cast<int>(bytes.size()));
        const std::unique_ptr<X509_EXTENSION, Release<X509_EXTENSION_free>> extension(
            X509_EXTENSION_create_by_NID(nullptr, each.kind, 0, value.get()));
        EXPECT_EQ(X509_add_ext(certificate.get(), extension.get(), -1), 1);
    }
    EXPECT_GT(i2d_re_X509_tbs(certificate.get(), nullptr), 0);
    return written([&](BIO *bio) { PEM_write_bio_X509(bio, certificate.get()); });
}

// What is wrong with these is found when something is verified with them, not before.
const Bytes malformedExtension = withExtensions({{NID_basic_constraints, "04 00"}});
const Bytes otherAuthority = withExtensions(
    {{NID_subject_key_identifier, "04 01 01"}, {NID_authority_key_identifier, "30 03 80 01 02"}});
const Bytes unknownKey =
    renamed(derOf(clientCertificate), fromHex("2a 86 48 ce 3d 02 01"), // an elliptic curve's
            fromHex("2a 86 48 ce 3d 02 7f"));

TEST(TrustOddities, AreWhatTheyAreCalled) {
    EXPECT_NE(X509_get_extension_flags(certificateIn(malformedExtension).get()) & EXFLAG_INVALID,
              0U);
    const auto flags = X509_get_extension_flags(certificateIn(otherAuthority).get());
    EXPECT_EQ(flags & (EXFLAG_SI | EXFLAG_SS), EXFLAG_SI);
    const auto *at = reinterpret_cast<const unsigned char *>(unknownKey.data());
    const X509Ptr keyless(d2i_X509(nullptr, &at, static_cast<long>(unknownKey.size())));
    ASSERT_NE(keyless, nullptr);
    EXPECT_EQ(X509_get0_pubkey(keyless.get()), nullptr);
}

struct TrustCase {
    const char *name;
    int type;
    Bytes bytes;
    int result;
    int added;
};

class Trust : public testing::TestWithParam<TrustCase> {};

TEST_P(Trust, FileAndBuffer) {
    for (int type : {GetParam().type, GetParam().type + 2}) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        const Context context;
        EXPECT_EQ(addAnchor(GetParam().bytes, type), GetParam().result);
        EXPECT_EQ(Context::anchors(), GetParam().added);
    }
}

const Bytes both = clientCertificate + otherCertificate;

const TrustCase trustCases[] = {
    {"Pem", pem, clientCertificate, 0, 1},
    {"PemTwo", pem, both, 0, 2},
    {"PemTwice", pem, clientCertificate + clientCertificate, 0, 1},
    {"PemTwiceAndAnother", pem, clientCertificate + both, 0, 2},
    {"PemMany", pem, bundle(150), 0, 150},
    {"PemWithText", pem, "before\n" + clientCertificate + "between\n" + otherCertificate + "behind",
     0, 2},
    {"PemLinesOfDos", pem, renamed(both, "\n", "\r\n"), 0, 2},
    {"PemWithoutLastNewline", pem, both.substr(0, both.size() - 1), 0, 2},
    {"PemKeyBetween", pem, clientCertificate + clientKey + otherCertificate, 0, 2},
    {"PemTrusted", pem, withAuxiliary(), 0, 1},
    {"PemOldName", pem, renamed(clientCertificate, "CERTIFICATE", "X509 CERTIFICATE"), 0, 1},
    {"PemMalformedExtension", pem, malformedExtension, 0, 1},
    {"PemOtherAuthority", pem, otherAuthority, 0, 1},
    {"PemEmpty", pem, "", -1, 0},
    {"PemNothing", pem, "nothing\nhere\n", -1, 0},
    {"PemZeroBytes", pem, Bytes(5000, '\0'), -1, 0},
    {"PemOneLongLine", pem, Bytes(1 << 20, '-'), -1, 0},
    {"PemKey", pem, clientKey, -1, 0},
    {"PemIsDer", pem, derOf(clientCertificate), -1, 0},
    {"PemSecondBad", pem, clientCertificate + begin + "\n!!!\n" + end + "\n", -1, 1},
    {"PemSecondNoCertificate", pem, clientCertificate + begin + "\nAAAA\n" + end + "\n", -1, 1},
    {"PemSecondEmpty", pem, clientCertificate + begin + "\n" + end + "\n", -1, 1},
    {"PemFirstBad", pem, Bytes(begin) + "\nAAAA\n" + end + "\n" + clientCertificate, -1, 0},
    {"PemOtherEnd", pem, renamed(clientCertificate, "END CERTIFICATE", "END X"), -1, 0},
    {"Der", der, derOf(clientCertificate), 0, 1},
    {"DerFirstOfTwo", der, derOf(clientCertificate) + derOf(otherCertificate), 0, 1},
    {"DerAndMore", der, derOf(clientCertificate) + "more", 0, 1},
    {"DerMalformedExtension", der, derOf(malformedExtension), 0, 1},
    {"DerUnknownKey", der, unknownKey, 0, 1},
    {"DerEmpty", der, "", -1, 0},
    {"DerGarbage", der, "garbage", -1, 0},
    {"DerIsPem", der, clientCertificate, -1, 0},
    {"DerKey", der, derOf(clientKey), -1, 0},
    {"DerHugeLength", der, fromHex("30 84 7f ff ff ff 30 00"), -1, 0},
    {"DerHugerLength", der, fromHex("30 88 7f ff ff ff ff ff ff ff 30 00"), -1, 0},
    {"DerIndefinite", der, fromHex("30 80 30 80 30 80"), -1, 0},
    {"DerDeep", der, Bytes(100000, '\x30'), -1, 0},
};

INSTANTIATE_TEST_SUITE_P(Sources, Trust, testing::ValuesIn(trustCases), caseName<TrustCase>);

// A certificate of which the last line is there to its last dash is a certificate; one that has
// begun and does not end is malformed; less than a first line is nothing.
int resultOfCut(const Bytes &text) {
    const std::size_t firstEnd = text.find(end), second = text.find(begin, sizeof begin);
    if (firstEnd == text.npos)
        return -1;
    return second == text.npos || text.find(end, second) != text.npos ? 0 : -1;
}

TEST(TrustCut, Pem) {
    for (int type : {pem, pem + 2})
        for (std::size_t size = 0; size <= both.size(); ++size) {
            SCOPED_TRACE(testing::Message() << "type " << type << ", " << size << " bytes");
            const Context context;
            const Bytes cut = both.substr(0, size);
            EXPECT_EQ(addAnchor(cut, type), resultOfCut(cut));
        }
}

TEST(TrustCut, Der) {
    const Context context;
    const Bytes whole = derOf(clientCertificate);
    for (int type : {der, der + 2})
        for (std::size_t size = 0; size < whole.size(); ++size) {
            SCOPED_TRACE(testing::Message() << "type " << type << ", " << size << " bytes");
            EXPECT_EQ(addAnchor(whole.substr(0, size), type), -1);
        }
    EXPECT_EQ(Context::anchors(), 0);
}

TEST(TrustAgain, AlreadyTrusted) {
    const Context context;
    EXPECT_EQ(addAnchor(clientCertificate, 3), 0);
    EXPECT_EQ(addAnchor(both, 1), 0);
    EXPECT_EQ(addAnchor(derOf(otherCertificate), 2), 0);
    EXPECT_EQ(addAnchor(derOf(otherCertificate), 4), 0);
    EXPECT_EQ(Context::anchors(), 2);
}

// What OpenSSL found wrong before has nothing to do with it.
TEST(TrustQueue, StaleErrors) {
    const Context context;
    ERR_raise(ERR_LIB_PEM, PEM_R_BAD_BASE64_DECODE);
    EXPECT_EQ(addAnchor(both, 3), 0);
    EXPECT_EQ(ERR_peek_error(), 0U);
    ERR_raise(ERR_LIB_PEM, PEM_R_NO_START_LINE);
    EXPECT_EQ(addAnchor("", 3), -1);
    ERR_clear_error();
}

TEST(TrustSource, OtherTypes) {
    const Context context;
    const berval value = {clientCertificate.size(), const_cast<char *>(clientCertificate.data())};
    for (int type : {0, -1, 5, 6, 7, 100, INT_MAX, INT_MIN})
        EXPECT_EQ(ldapssl_add_trusted_cert(&value, type), -1) << type;
    EXPECT_EQ(Context::anchors(), 0);
}

TEST(TrustSource, NotThere) {
    const Context context;
    const Folder folder;
    for (int type : {pem, der}) {
        EXPECT_EQ(ldapssl_add_trusted_cert(folder.path("missing").c_str(), type), -1);
        EXPECT_EQ(ldapssl_add_trusted_cert(folder.path("").c_str(), type), -1);
        EXPECT_EQ(ldapssl_add_trusted_cert("", type), -1);
        EXPECT_EQ(ldapssl_add_trusted_cert(nullptr, type), -1);
        EXPECT_EQ(ldapssl_add_trusted_cert(nullptr, type + 2), -1);
    }
}

TEST(TrustSource, LengthsThatOpenSslCannotTake) {
    const Context context;
    const GuardedBytes guarded(clientCertificate);
    for (int type : {3, 4})
        for (ber_len_t size : {ber_len_t{INT_MAX} + 1, ber_len_t{UINT_MAX}, ber_len_t{UINT_MAX} + 1,
                               ber_len_t{UINT_MAX} + 1 + clientCertificate.size(), ~ber_len_t{0}}) {
            const berval value = {size, guarded.data()};
            EXPECT_EQ(ldapssl_add_trusted_cert(&value, type), -1) << size;
        }
    EXPECT_EQ(Context::anchors(), 0);
}

TEST(TrustSource, NoBytes) {
    const Context context;
    char text[] = "text";
    for (int type : {3, 4})
        for (const berval value : {berval{0, text}, berval{0, nullptr}, berval{5, nullptr}})
            EXPECT_EQ(ldapssl_add_trusted_cert(&value, type), -1);
}

TEST(TrustSource, NoContext) {
    for (int type = 0; type < 7; ++type)
        EXPECT_EQ(addAnchor(clientCertificate, type), -1);
    { const Context context; }
    EXPECT_EQ(addAnchor(clientCertificate, 3), -1);
}

TEST(TrustSource, NoCertificate) {
    EXPECT_EQ(add_cert(nullptr), -1);
    const Context context;
    EXPECT_EQ(add_cert(nullptr), -1);
    EXPECT_EQ(Context::anchors(), 0);
}

// The one certificate of a DER file, and all of a PEM file.
TEST(TrustFile, AtInitialization) {
    const struct {
        Bytes bytes;
        int result, anchors;
    } cases[] = {{derOf(clientCertificate), 0, 1},
                 {both, 0, 2},
                 {bundle(150), 0, 150},
                 {both + malformedExtension + otherAuthority, 0, 4},
                 {unknownKey, 0, 1},
                 {"", -1, 0},
                 {"x", -1, 0},
                 {clientKey, -1, 0}};
    for (const auto &each : cases) {
        const Folder folder;
        const std::string path = folder.write("trust", each.bytes);
        ASSERT_EQ(ldapssl_client_init(path.c_str()), each.result);
        if (each.result == 0) {
            EXPECT_EQ(Context::anchors(), each.anchors);
        }
        ldapssl_client_deinit();
    }
}

} // namespace
} // namespace qldapx_test::tls
