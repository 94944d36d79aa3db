#include "tls/handshake_words.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <openssl/ssl.h>
#include <openssl/tls1.h>

namespace qldapx {
namespace {

constexpr const char *giveCertificate =
    "--cert FILE and --key FILE, or --p12 FILE, with a certificate that the server's CA has issued";
constexpr const char *otherCertificate =
    "look at the client's certificate: qldapx cert show FILE; the server's log says more";

struct AlertRow {
    int alert;
    const char *reason; // {} the server
    const char *hint;
};

constexpr std::array alerts = {
    AlertRow{SSL_AD_CERTIFICATE_REQUIRED, "{} wants a certificate of the client", giveCertificate},
    AlertRow{SSL_AD_BAD_CERTIFICATE, "{} refuses the client's certificate", otherCertificate},
    AlertRow{SSL_AD_UNSUPPORTED_CERTIFICATE, "{} cannot use a certificate of the client's kind",
             otherCertificate},
    AlertRow{SSL_AD_CERTIFICATE_REVOKED, "{} says that the client's certificate is revoked",
             otherCertificate},
    AlertRow{SSL_AD_CERTIFICATE_EXPIRED, "{} says that the client's certificate has expired",
             "have it renewed; qldapx cert show FILE shows its dates"},
    AlertRow{SSL_AD_CERTIFICATE_UNKNOWN, "{} refuses the client's certificate", otherCertificate},
    AlertRow{SSL_AD_UNKNOWN_CA, "{} does not trust the CA of the client's certificate",
             otherCertificate},
    AlertRow{SSL_AD_ACCESS_DENIED, "{} denies access to the client's certificate",
             otherCertificate},
    AlertRow{SSL_AD_PROTOCOL_VERSION, "{} speaks no version of TLS that is allowed here",
             "the server needs TLS 1.2 or later; see MinProtocol in openssl.cnf"},
    AlertRow{SSL_AD_UNRECOGNIZED_NAME, "{} does not know the name that it was called by",
             "name the server with -H as its certificate does"},
};

struct TextRow {
    const char *part;   // of OpenSSL's text
    const char *reason; // {} the server
    const char *hint;
};

constexpr const char *plainLdap =
    "if it speaks plain LDAP: -H ldap://HOST:PORT with -ZZ; ldaps:// has a port of its own, "
    "commonly 636";

constexpr std::array texts = {
    TextRow{"wrong version number", "{} answers, but not with TLS", plainLdap},
    TextRow{"packet length too long", "{} answers, but not with TLS", plainLdap},
    TextRow{"http request", "{} answers, but not with TLS", plainLdap},
    TextRow{"unexpected eof", "{} ended the connection during the TLS handshake", plainLdap},
    TextRow{"reset by peer", "{} ended the connection during the TLS handshake", plainLdap},
    TextRow{"unsupported protocol", "{} speaks no version of TLS that is allowed here",
            "the server needs TLS 1.2 or later; see MinProtocol in openssl.cnf"},
    TextRow{"hostname does not match", "the certificate of {} is for another name",
            "name the server with -H as its certificate does, if that is it"},
    TextRow{"dh key too small", "{} speaks TLS with keys that are too weak",
            "the server needs another configuration"},
    TextRow{"excessive message size", "{} presents a chain of certificates that is too long",
            "qldapx cert show HOST:PORT shows it"},
};

Words filled(const char *reason, const std::string &server, const char *hint) {
    return {fmt::format(fmt::runtime(reason), server), hint};
}

std::optional<Words> explainAlert(const HandshakeFailure &failure) {
    const auto row = std::find_if(alerts.begin(), alerts.end(), [&](const AlertRow &each) {
        return each.alert == failure.alert;
    });
    if (row != alerts.end())
        return filled(row->reason, failure.server, row->hint);
    if (failure.alert == SSL_AD_HANDSHAKE_FAILURE && !failure.hasIdentity)
        return filled("{} gave up the TLS handshake; it may want a certificate of the client",
                      failure.server, giveCertificate);
    return filled("{} gave up the TLS handshake", failure.server, "see the server's log");
}

/** The server ended it without a word. */
std::optional<Words> explainEnd(const HandshakeFailure &failure) {
    if (failure.reached == Reached::Nothing)
        return std::nullopt;
    if (failure.reached == Reached::Server)
        return filled("{} ended the connection during the TLS handshake", failure.server,
                      plainLdap);
    if (failure.hasIdentity)
        return filled("{} ended the connection right after the TLS handshake", failure.server,
                      "it may refuse the client's certificate: see the server's log");
    return filled("{} ended the connection right after the TLS handshake; it may want a "
                  "certificate of the client",
                  failure.server, giveCertificate);
}

} // namespace

std::optional<Words> explainHandshake(const HandshakeFailure &failure) {
    if (failure.timedOut)
        return Words{fmt::format("no TLS handshake with {} within {} second{}", failure.server,
                                 failure.timeout, failure.timeout == 1 ? "" : "s"),
                     "is it a port for ldaps://? Or wait longer with --timeout SECONDS"};
    if (failure.alert)
        return explainAlert(failure);
    const auto row = std::find_if(texts.begin(), texts.end(), [&](const TextRow &each) {
        return failure.text.find(each.part) != std::string_view::npos;
    });
    if (row == texts.end())
        return explainEnd(failure);
    return filled(row->reason, failure.server, row->hint);
}

} // namespace qldapx
