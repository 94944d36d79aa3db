// A certificate that a verification callback is asked about.
#include "heap_watch.h"
#include "targets.h"
#include "tls/sources/crypto.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <optional>
#include <qldapx.h>

namespace qldapx_fuzz {

using namespace qldapx_test::tls;

namespace {

// What a call writes into memory of that size, which AddressSanitizer guards.
struct Buffer {
    explicit Buffer(int bytes)
        : size(bytes), memory(std::make_unique<char[]>(static_cast<std::size_t>(bytes))) {}
    int size;
    std::unique_ptr<char[]> memory;
    [[nodiscard]] Bytes bytes() const { return {memory.get(), static_cast<std::size_t>(size)}; }
};

std::optional<Bytes> onelineOf(const X509_NAME *name) {
    char *text = X509_NAME_oneline(name, nullptr, 0);
    if (text == nullptr)
        return std::nullopt;
    Bytes bytes = text;
    OPENSSL_free(text);
    return bytes;
}

void checkName(X509_STORE_CTX *context, int attribute, const X509_NAME *name, int size) {
    const std::optional<Bytes> text = onelineOf(name);
    const Buffer buffer(size);
    int length = size, whole = size;
    const int result = ldapssl_get_cert_attribute(context, attribute, buffer.memory.get(), &length);
    require(result == (text ? 0 : -1), "a name has another result");
    require(ldapssl_get_cert_attribute(context, attribute, nullptr, &whole) == result,
            "a name's length has another result");
    if (!text)
        return;
    const int textLength = static_cast<int>(text->size());
    require(whole == textLength && length == (textLength >= size ? size : textLength),
            "a name has another length");
    Bytes expected = *text;
    expected.resize(static_cast<std::size_t>(size));
    require(buffer.bytes() == expected, "another name");
}

bool isTime(const char *copy, int kind, const ASN1_TIME *time) {
    const auto size = static_cast<std::size_t>(std::max(ASN1_STRING_length(time), 0));
    const Bytes text(reinterpret_cast<const char *>(ASN1_STRING_get0_data(time)), size);
    const Bytes expected = text.substr(0, 39).c_str();
    return copy == expected && kind == (ASN1_STRING_type(time) == V_ASN1_GENERALIZEDTIME ? 2 : 1);
}

void checkValidity(X509_STORE_CTX *context, const X509 *certificate, int size) {
    const auto validity = std::make_unique<LdapSslValidity>();
    int length = size;
    require(ldapssl_get_cert_attribute(context, QLDAPX_TLS_CERT_VALIDITY, validity.get(),
                                       &length) == 0 &&
                length == sizeof *validity,
            "there are no times");
    require(
        isTime(validity->notBefore, validity->notBeforeKind, X509_get0_notBefore(certificate)) &&
            isTime(validity->notAfter, validity->notAfterKind, X509_get0_notAfter(certificate)),
        "other times");
}

// That much of what is written as a whole.
void checkCertificate(X509_STORE_CTX *context, int format, int size) {
    berval whole = {0, nullptr};
    require(ldapssl_get_cert(context, format, &whole) == 0, "a certificate has no length");
    const Buffer all(static_cast<int>(whole.bv_len)), part(size);
    berval output = {whole.bv_len, all.memory.get()};
    require(ldapssl_get_cert(context, format, &output) == 0 && output.bv_len == whole.bv_len,
            "a certificate has another length");
    berval partial = {static_cast<ber_len_t>(size), part.memory.get()};
    require(ldapssl_get_cert(context, format, &partial) == (size > 0 ? 0 : -1),
            "a part has another result");
    require(partial.bv_len == std::min(whole.bv_len, static_cast<ber_len_t>(size)) &&
                std::memcmp(part.memory.get(), all.memory.get(), partial.bv_len) == 0,
            "another part");
}

X509Ptr decoded(const Bytes &der) {
    const auto *at = reinterpret_cast<const unsigned char *>(der.data());
    return X509Ptr(d2i_X509(nullptr, &at, static_cast<long>(der.size())));
}

void inspect(X509 *certificate, int size) {
    const std::unique_ptr<X509_STORE_CTX, Release<X509_STORE_CTX_free>> context(
        X509_STORE_CTX_new());
    X509_STORE_CTX_set_current_cert(context.get(), certificate);
    checkName(context.get(), QLDAPX_TLS_CERT_ISSUER, X509_get_issuer_name(certificate), size);
    checkName(context.get(), QLDAPX_TLS_CERT_SUBJECT, X509_get_subject_name(certificate), size);
    checkValidity(context.get(), certificate, size);
    checkCertificate(context.get(), QLDAPX_TLS_CERT_PEM, size);
    checkCertificate(context.get(), QLDAPX_TLS_CERT_DER, size);
}

void inspectDecoded(const Bytes &bytes) {
    const X509Ptr certificate = decoded(bytes.substr(1));
    if (certificate != nullptr)
        inspect(certificate.get(), static_cast<unsigned char>(bytes[0]));
}

} // namespace

// The first byte is the buffers' size. Twice: once for OpenSSL to set up what it keeps for the
// algorithms that it meets.
void runCertAttribute(const Target & /*target*/, const Bytes &bytes) {
    if (bytes.empty())
        return;
    inspectDecoded(bytes);
    const HeapWatch watch(bytes.size());
    inspectDecoded(bytes);
    OPENSSL_thread_stop();
}

} // namespace qldapx_fuzz
