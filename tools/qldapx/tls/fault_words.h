#pragma once

#include "result_words.h"
#include "tls/facts.h"

#include <string>

namespace qldapx {

/** Why a certificate was not accepted. */
struct CertificateFault {
    int code = 0; // OpenSSL's X509_V_ERR_...
    CertificateFacts facts;
};

/** The fault alone, such as "is for other names than localhost: DNS:a". */
std::string faultText(const CertificateFault &fault, const std::string &host);

/** The fault of a server that was to be reached by this name, and the way out. */
Words faultWords(const CertificateFault &fault, const std::string &host);

} // namespace qldapx
