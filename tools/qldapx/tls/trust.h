#pragma once

#include "tls/openssl.h"
#include "tls/options.h"

#include <optional>
#include <string>

namespace qldapx {

/** Whose certificates are believed: those of a file, or of the system. */
class Trust {
  public:
    /** Throws UsageError for a file that cannot be used. */
    explicit Trust(const TlsOptions &options);

    void addTo(X509_STORE *store) const;
    [[nodiscard]] const Certificates &certificates() const { return certificates_; }
    [[nodiscard]] bool isSystems() const { return !file_; }
    /** Such as "ca.pem" or "the system's trust store (/usr/lib/ssl/certs)". */
    [[nodiscard]] std::string name() const;
    /** There is nothing in the system's places. */
    [[nodiscard]] bool isEmpty() const;

  private:
    std::optional<std::string> file_;
    Certificates certificates_; // of the file
};

/** The places where OpenSSL looks for the system's trust store. */
std::string systemTrustFile();
std::string systemTrustFolder();
/** One file with all of it, for those who cannot use the folder; nothing where there is none. */
std::optional<std::string> systemTrustBundle();

} // namespace qldapx
