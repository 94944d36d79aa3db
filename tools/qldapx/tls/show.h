#pragma once

#include "command.h"

#include <string>

namespace qldapx {

struct CertificateOptions {
    std::string source; // a server or a file
    bool pem = false;
};

/** Prints the certificates that a server presents or a file holds, and whether they verify. */
void showCertificates(Run &run, const CertificateOptions &options);

} // namespace qldapx
