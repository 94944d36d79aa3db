#pragma once

#include "secret.h"
#include "tls/openssl.h"
#include "tls/options.h"

#include <string>

namespace qldapx {

/** What the client shows of itself: its certificate, those of its issuers, and the key. */
struct ClientIdentity {
    Certificates certificates; // the client's own first
    Secret keyPem;             // text with the key
    Secret password;           // of that, ended by a zero byte; empty for none
};

/**
 * Reads it, and asks for its password if it needs one. Throws UsageError for whatever would keep it
 * from being used: files, passwords, a key that does not belong to the certificate.
 */
ClientIdentity readIdentity(const TlsOptions &options, bool json);

/** The certificates of a PKCS #12. */
Certificates pkcs12Certificates(const std::string &option, const std::string &path,
                                const Secret &content, const TlsOptions &options, bool json);

/** Whether the key in PEM text is encrypted. */
bool keyIsEncrypted(const Secret &pem);

} // namespace qldapx
