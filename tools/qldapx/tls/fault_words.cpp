#include "tls/fault_words.h"

#include "text.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace qldapx {
namespace {

struct Row {
    int code;
    const char *text; // {0} subject, {1} issuer, {2} validity, {3} from, {4} until, {5} host
    const char *hint;
};

constexpr const char *nameTheAnchor =
    "if this server is the right one, trust its CA: --cacert FILE with the CA's certificate; "
    "qldapx cert show HOST:PORT shows what the server presents";
constexpr const char *renew =
    "the server needs a new certificate; check the clock of this machine, too";
constexpr const char *rightName = "name the server with -H as its certificate does, if that is it";
constexpr const char *replace = "the server needs another certificate";

constexpr const char *unknownIssuer =
    "the certificate of \"{0}\" is issued by \"{1}\", which is not trusted here";

const std::array rows = {
    Row{X509_V_ERR_CERT_HAS_EXPIRED, "the certificate of \"{0}\" {2} (on {4})", renew},
    Row{X509_V_ERR_CERT_NOT_YET_VALID,
        "the certificate of \"{0}\" is not yet valid: it {2} (on {3})", renew},
    Row{X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT,
        "the certificate of \"{0}\" is self-signed, and not trusted here", nameTheAnchor},
    Row{X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN,
        "the chain ends in \"{0}\", a self-signed certificate that is not trusted here",
        nameTheAnchor},
    Row{X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, unknownIssuer, nameTheAnchor},
    Row{X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, unknownIssuer, nameTheAnchor},
    Row{X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, unknownIssuer, nameTheAnchor},
    Row{X509_V_ERR_HOSTNAME_MISMATCH, "the certificate of \"{0}\" is not for the name {5}",
        rightName},
    Row{X509_V_ERR_IP_ADDRESS_MISMATCH, "the certificate of \"{0}\" is not for the address {5}",
        rightName},
    Row{X509_V_ERR_CERT_SIGNATURE_FAILURE,
        "the signature of the certificate of \"{0}\" is wrong: it is forged or damaged",
        "do not trust the server; a trust anchor of the same name but another key does this, too: "
        "check --cacert"},
    Row{X509_V_ERR_INVALID_PURPOSE, "the certificate of \"{0}\" is not made for TLS servers",
        replace},
    Row{X509_V_ERR_INVALID_CA, "\"{0}\" issues certificates, but its own does not allow it",
        replace},
    Row{X509_V_ERR_EE_KEY_TOO_SMALL, "the key of the certificate of \"{0}\" is too short", replace},
    Row{X509_V_ERR_CA_KEY_TOO_SMALL, "the key of the certificate of \"{0}\" is too short", replace},
    Row{X509_V_ERR_CA_MD_TOO_WEAK,
        "the certificate of \"{0}\" is signed with a digest that is too weak", replace},
    Row{X509_V_ERR_CERT_REVOKED, "the certificate of \"{0}\" is revoked",
        "do not trust the server"},
};

bool concernsNames(int code) {
    return code == X509_V_ERR_HOSTNAME_MISMATCH || code == X509_V_ERR_IP_ADDRESS_MISMATCH;
}

const Row *rowOf(int code) {
    const auto row =
        std::find_if(rows.begin(), rows.end(), [&](const Row &each) { return each.code == code; });
    return row == rows.end() ? nullptr : &*row;
}

/** A certificate's common name counts where it has no other names. */
std::string namesText(const CertificateFacts &facts) {
    constexpr std::size_t longest = 10;
    return facts.nameCount == 0 ? "it has no names but its subject"
                                : "its names: " + facts.nameList(longest);
}

std::string shortSubject(const std::string &text) {
    constexpr std::size_t longest = 200;
    const std::string shown = printable(text);
    return columns(shown) <= longest ? shown : std::string(prefixOf(shown, longest)) + "...";
}

} // namespace

std::string faultText(const CertificateFault &fault, const std::string &host) {
    const CertificateFacts &facts = fault.facts;
    const std::string subject = shortSubject(facts.subject);
    const Row *row = rowOf(fault.code);
    if (row == nullptr)
        return fmt::format("the certificate of \"{}\": {}", subject,
                           X509_verify_cert_error_string(fault.code));
    std::string text =
        fmt::format(fmt::runtime(row->text), subject, shortSubject(facts.issuer), facts.validity,
                    facts.notBefore, facts.notAfter, printable(host));
    if (concernsNames(fault.code))
        text += "; " + namesText(facts);
    return text;
}

Words faultWords(const CertificateFault &fault, const std::string &host) {
    const Row *row = rowOf(fault.code);
    return {faultText(fault, host), row == nullptr ? nameTheAnchor : row->hint};
}

} // namespace qldapx
