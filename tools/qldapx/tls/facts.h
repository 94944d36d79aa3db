#pragma once

#include "tls/openssl.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace qldapx {

/** What stands in a certificate, cut to what somebody can read; not yet printable. */
struct CertificateFacts {
    std::string subject, issuer;
    std::string notBefore, notAfter; // such as 2026-11-22T04:00:00Z
    std::string validity;            // such as "ends in 30 days"
    std::vector<std::string> names;  // such as "DNS:localhost"; of many the first
    std::size_t nameCount = 0;
    std::string keyType;
    int keyBits = 0;
    std::string signature; // the algorithm
    std::string serial;
    std::string fingerprint; // SHA-256

    /** The names in a line, at most so many. */
    [[nodiscard]] std::string nameList(std::size_t longest) const;
};

CertificateFacts factsOf(X509 *certificate);

/** A distinguished name as LDAP writes it, cut to what somebody can read. */
std::string distinguishedName(const X509_NAME *name);

std::string pemOf(X509 *certificate);

} // namespace qldapx
