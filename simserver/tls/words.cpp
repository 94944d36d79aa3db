#include "tls/words.h"

#include <fmt/format.h>
#include <openssl/err.h>

#include <algorithm>
#include <iterator>

namespace stratasim::tls {
namespace {

/** What OpenSSL says in words for those who know TLS well. */
struct Words {
    int reason;
    const char *text;
};

constexpr Words kWords[] = {
    {SSL_R_WRONG_VERSION_NUMBER, "the client does not speak TLS; plain LDAP, perhaps"},
    {SSL_R_HTTP_REQUEST, "the client speaks HTTP"},
    {SSL_R_UNEXPECTED_EOF_WHILE_READING, "the client has gone in the middle"},
    {SSL_R_PEER_DID_NOT_RETURN_A_CERTIFICATE, "the client has no certificate"},
    {SSL_R_NO_SHARED_CIPHER, "the client offers no cipher that fits"},
    {SSL_R_UNSUPPORTED_PROTOCOL, "the client speaks no version of TLS from 1.2 on"},
};

bool isUtf8(const std::string &text) {
    const auto *at = reinterpret_cast<const unsigned char *>(text.data());
    const auto *end = at + text.size();
    while (at != end) {
        unsigned long character = 0;
        const int size = UTF8_getc(at, static_cast<int>(end - at), &character);
        if (size <= 0)
            return false;
        at += size;
    }
    return true;
}

// OpenSSL numbers the alerts that come from the client from here on.
constexpr int kAlerts = 1000;

} // namespace

std::string subjectOf(const X509 *certificate) {
    const Bio bio(BIO_new(BIO_s_mem()));
    constexpr unsigned long rfc4514 = XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB;
    if (bio == nullptr ||
        X509_NAME_print_ex(bio.get(), X509_get_subject_name(certificate), 0, rfc4514) < 0)
        return {};
    std::string text = textOf(bio.get());
    return isUtf8(text) ? text : std::string(); // a UTF8String may hold anything
}

std::string describe(SSL *ssl, const std::optional<std::string> &subject) {
    return fmt::format("{} {}, {} session, {}", SSL_get_version(ssl), SSL_get_cipher_name(ssl),
                       SSL_session_reused(ssl) != 0 ? "resumed" : "new",
                       subject ? fmt::format("client \"{}\"", *subject)
                               : "client without a certificate");
}

std::string problemOf(SSL *ssl) {
    const int reason = ERR_GET_REASON(ERR_peek_last_error());
    const auto known = std::find_if(std::begin(kWords), std::end(kWords),
                                    [&](const Words &row) { return row.reason == reason; });
    const std::string text = ERR_peek_error() == 0 ? "the connection is broken" : takeProblem();
    if (known != std::end(kWords))
        return known->text;
    if (reason == SSL_R_CERTIFICATE_VERIFY_FAILED)
        return fmt::format("the client's certificate is refused: {}",
                           X509_verify_cert_error_string(SSL_get_verify_result(ssl)));
    if (reason > kAlerts)
        return fmt::format("the client refuses: {}", text);
    return text;
}

} // namespace stratasim::tls
