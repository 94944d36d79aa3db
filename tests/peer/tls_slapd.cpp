#include "tls_slapd.h"

#include "tls_client.h"

namespace test {
namespace {

std::string tlsSettings(const std::string &certificate) {
    return "TLSCACertificateFile " + tlsFile("ca.pem") + "\nTLSCertificateFile " +
           tlsFile(certificate + "-chain.pem") + "\nTLSCertificateKeyFile " +
           tlsFile(certificate + ".key") + "\n";
}

int countOf(const std::string &text, const std::string &part) {
    int count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at)
        ++count;
    return count;
}

} // namespace

TlsSlapd::TlsSlapd(const std::string &certificate, const std::string &settings)
    : SlapdServer(Transport::tls, "", usualSchemas, tlsSettings(certificate) + settings) {}

int TlsSlapd::port() const {
    return std::stoi(uris()[1].substr(uris()[1].rfind(':') + 1));
}

std::string TlsSlapd::tlsUri(const std::string &host) const {
    return "ldaps://" + host + ":" + std::to_string(port());
}

std::string TlsSlapd::logWhenIdle() const {
    std::string text;
    EXPECT_TRUE(eventually([&] {
        text = log();
        return countOf(text, " ACCEPT ") == countOf(text, " closed");
    }));
    return text;
}

std::string TlsSlapd::tlsUri6() const {
    return uris().size() > 2 ? uris()[2] : "";
}

} // namespace test
