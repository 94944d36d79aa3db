#include "tls/trust.h"

#include "text.h"
#include "tls/file.h"

#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <openssl/err.h>

namespace qldapx {
namespace {

std::string variableOr(const char *variable, const char *otherwise) {
    const char *value = std::getenv(variable);
    return value == nullptr ? otherwise : value;
}

bool fileExists(const std::string &path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
}

bool folderHasFiles(const std::string &path) {
    std::error_code error;
    const std::filesystem::directory_iterator entries(path, error);
    return !error && entries != std::filesystem::directory_iterator();
}

} // namespace

std::string systemTrustFile() {
    return variableOr(X509_get_default_cert_file_env(), X509_get_default_cert_file());
}

std::string systemTrustFolder() {
    return variableOr(X509_get_default_cert_dir_env(), X509_get_default_cert_dir());
}

std::optional<std::string> systemTrustBundle() {
    for (const std::string &path :
         {systemTrustFile(), systemTrustFolder() + "/ca-certificates.crt"})
        if (fileExists(path))
            return path;
    return std::nullopt;
}

Trust::Trust(const TlsOptions &options) : file_(options.trustFile) {
    if (file_)
        certificates_ =
            certificatesIn(named("--cacert", *file_), readTlsFile("--cacert", *file_).view());
}

void Trust::addTo(X509_STORE *store) const {
    for (const CertificatePtr &certificate : certificates_)
        X509_STORE_add_cert(store, certificate.get());
    if (isSystems())
        X509_STORE_set_default_paths(store);
    ERR_clear_error();
}

std::string Trust::name() const {
    if (file_)
        return printable(*file_);
    return fmt::format(
        "the system's trust store ({})",
        printable(fileExists(systemTrustFile()) ? systemTrustFile() : systemTrustFolder()));
}

bool Trust::isEmpty() const {
    return isSystems() && !fileExists(systemTrustFile()) && !folderHasFiles(systemTrustFolder());
}

} // namespace qldapx
