#include "qldapx/tls.h"
#include "ssl/handles.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <openssl/pem.h>

static_assert(sizeof(LdapSslValidity) == 88 && offsetof(LdapSslValidity, notBeforeKind) == 40 &&
              offsetof(LdapSslValidity, notAfter) == 44);

namespace qldapx {
namespace {

constexpr int done = 0;
constexpr int failed = -1;

bool write(BIO *output, X509 *certificate, int format) {
    switch (format) {
    case QLDAPX_TLS_CERT_PEM:
        return PEM_write_bio_X509_AUX(output, certificate) == 1;
    case QLDAPX_TLS_CERT_DER:
        return i2d_X509_bio(output, certificate) == 1;
    default:
        return false;
    }
}

// Certificates are shorter than an int can count.
bool takeBytes(BIO *input, berval &output) {
    const int size = static_cast<int>(std::min<ber_len_t>(output.bv_len, INT_MAX));
    const int count = BIO_read(input, output.bv_val, size);
    output.bv_len = static_cast<ber_len_t>(std::max(count, 0));
    return count > 0;
}

bool takeSize(BIO *input, berval &output) {
    output.bv_len = BIO_ctrl_pending(input);
    return true;
}

int copyName(const X509_NAME *name, char *buffer, int *length) {
    const OpenSslTextPtr text(X509_NAME_oneline(name, nullptr, 0));
    if (!text || *length < 0)
        return failed;
    const int textLength = static_cast<int>(std::strlen(text.get()));
    if (buffer != nullptr) {
        std::strncpy(buffer, text.get(), static_cast<std::size_t>(*length));
        if (textLength >= *length)
            return done; // cut, or without its zero byte: length stays what it was
    }
    *length = textLength;
    return done;
}

void copyTime(const ASN1_TIME *time, char (&text)[40], int32_t &kind) {
    const auto length = static_cast<std::size_t>(std::max(ASN1_STRING_length(time), 0));
    std::strncpy(text, reinterpret_cast<const char *>(ASN1_STRING_get0_data(time)),
                 std::min(length, sizeof text - 1));
    kind = ASN1_STRING_type(time) == V_ASN1_UTCTIME ? QLDAPX_TLS_UTC_TIME
                                                    : QLDAPX_TLS_GENERALIZED_TIME;
}

// The length that is given counts nothing: callers have always passed what they liked.
int copyValidity(const X509 *certificate, void *buffer, int *length) {
    *length = sizeof(LdapSslValidity);
    if (buffer == nullptr)
        return done;
    LdapSslValidity validity = {};
    copyTime(X509_get0_notBefore(certificate), validity.notBefore, validity.notBeforeKind);
    copyTime(X509_get0_notAfter(certificate), validity.notAfter, validity.notAfterKind);
    std::memcpy(buffer, &validity, sizeof validity);
    return done;
}

int copyError(X509_STORE_CTX *storeContext, void *buffer, int *length) {
    const int32_t error = X509_STORE_CTX_get_error(storeContext);
    if (buffer == nullptr) {
        *length = sizeof error;
        return done;
    }
    if (*length != sizeof error)
        return failed;
    std::memcpy(buffer, &error, sizeof error);
    return done;
}

int copyOfCertificate(const X509 *certificate, int attribute, void *buffer, int *length) {
    if (certificate == nullptr)
        return failed;
    switch (attribute) {
    case QLDAPX_TLS_CERT_ISSUER:
        return copyName(X509_get_issuer_name(certificate), static_cast<char *>(buffer), length);
    case QLDAPX_TLS_CERT_SUBJECT:
        return copyName(X509_get_subject_name(certificate), static_cast<char *>(buffer), length);
    case QLDAPX_TLS_CERT_VALIDITY:
        return copyValidity(certificate, buffer, length);
    default:
        return failed;
    }
}

} // namespace
} // namespace qldapx

using namespace qldapx;

extern "C" {

int ldapssl_get_cert(X509_STORE_CTX *storeContext, int format, berval *output) {
    if (storeContext == nullptr || output == nullptr)
        return failed;
    X509 *certificate = X509_STORE_CTX_get_current_cert(storeContext);
    const BioPtr text(BIO_new(BIO_s_mem()));
    if (certificate == nullptr || !text || !write(text.get(), certificate, format)) {
        output->bv_len = 0;
        return failed;
    }
    const bool isTaken =
        output->bv_val != nullptr ? takeBytes(text.get(), *output) : takeSize(text.get(), *output);
    return isTaken ? done : failed;
}

int ldapssl_get_cert_attribute(X509_STORE_CTX *storeContext, int attribute, void *buffer,
                               int *length) {
    if (storeContext == nullptr || length == nullptr)
        return failed;
    if (attribute == QLDAPX_TLS_CERT_VERIFY_ERROR)
        return copyError(storeContext, buffer, length);
    return copyOfCertificate(X509_STORE_CTX_get_current_cert(storeContext), attribute, buffer,
                             length);
}
}
