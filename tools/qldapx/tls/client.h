#pragma once

#include "result_words.h"
#include "tls/options.h"

#include <ldap.h>
#include <optional>
#include <string>

namespace qldapx {

/**
 * Makes the context for all sessions with ldaps URLs; asks for the key's password if it needs one.
 * Once. Throws UsageError.
 */
void prepareTls(TlsOptions &options, bool json);

/** Lets libldap's own TLS, which StartTLS begins, do as the options say. Throws UsageError. */
void prepareStartTls(LDAP *ld, const TlsOptions &options, bool json);

/** How a session with TLS came to nothing before it was bound. */
struct TlsFailure {
    std::string uri;
    std::string diagnostic; // libldap's
    int timeout;            // seconds
    bool hasIdentity;
    bool ended; // the connection did, in whatever way
};

/** Forgets what was noted of handshakes. */
void forgetHandshake();
/** Nothing where TLS has nothing to do with it. */
std::optional<Words> explainTls(const TlsFailure &failure);

} // namespace qldapx
