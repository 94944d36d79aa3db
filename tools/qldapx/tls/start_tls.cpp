#include "errors.h"
#include "text.h"
#include "tls/client.h"
#include "tls/file.h"
#include "tls/identity.h"
#include "tls/trust.h"

#include <fmt/format.h>

namespace qldapx {
namespace {

struct FreeText {
    void operator()(char *text) const { ldap_memfree(text); }
};

/** What ldap.conf says, which a context of the session's own would not have. */
std::optional<std::string> configured(int option) {
    char *text = nullptr;
    ldap_get_option(nullptr, option, &text);
    const std::unique_ptr<char, FreeText> owner(text);
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

void set(LDAP *ld, int option, const std::optional<std::string> &value, const char *name) {
    if (value && ldap_set_option(ld, option, value->c_str()) != LDAP_OPT_SUCCESS)
        throw UsageError(fmt::format("{} does not take {}", name, printable(*value)));
}

void requirePem(const std::string &option, const std::string &path) {
    if (!isPem(readTlsFile(option, path).view()))
        throw UsageError(fmt::format("{}: with -Z the file has to be PEM", named(option, path)),
                         "-H ldaps://HOST:PORT, or openssl x509 -inform DER -in FILE -out PEMFILE");
}

// libldap would not open it, or ask on the terminal by itself.
void requireOpenKey(const TlsOptions &options) {
    const char *option = options.keyFile ? "--key" : "--cert";
    if (options.passwordFile || keyIsEncrypted(readTlsFile(option, options.keySource())))
        throw UsageError(fmt::format("{}: with -Z the key cannot be encrypted",
                                     named(option, options.keySource())),
                         "-H ldaps://HOST:PORT takes it");
}

void setTrust(LDAP *ld, const TlsOptions &options) {
    if (options.trustFile) {
        const Trust checked(options);
        requirePem("--cacert", *options.trustFile);
        set(ld, LDAP_OPT_X_TLS_CACERTFILE, options.trustFile, "--cacert");
        return;
    }
    const auto file = configured(LDAP_OPT_X_TLS_CACERTFILE);
    const auto folder = configured(LDAP_OPT_X_TLS_CACERTDIR);
    set(ld, LDAP_OPT_X_TLS_CACERTFILE, file, "TLS_CACERT");
    set(ld, LDAP_OPT_X_TLS_CACERTDIR, folder, "TLS_CACERTDIR");
    if (!file && !folder)
        set(ld, LDAP_OPT_X_TLS_CACERTFILE, systemTrustBundle(), "TLS_CACERT");
}

void setIdentity(LDAP *ld, const TlsOptions &options, bool json) {
    requirePem("--cert", *options.certificateFile);
    requireOpenKey(options);
    readIdentity(options, json);
    set(ld, LDAP_OPT_X_TLS_CERTFILE, options.certificateFile, "--cert");
    set(ld, LDAP_OPT_X_TLS_KEYFILE, options.keySource(), "--key");
}

} // namespace

void prepareStartTls(LDAP *ld, const TlsOptions &options, bool json) {
    if (options.firstGiven() == nullptr)
        return;
    warnUnverified(options, json);
    setTrust(ld, options);
    if (options.hasIdentity())
        setIdentity(ld, options, json);
    if (options.verification) {
        const int demand = options.verifies() ? LDAP_OPT_X_TLS_DEMAND : LDAP_OPT_X_TLS_NEVER;
        ldap_set_option(ld, LDAP_OPT_X_TLS_REQUIRE_CERT, &demand);
    }
    const int forServers = 0;
    if (ldap_set_option(ld, LDAP_OPT_X_TLS_NEWCTX, &forServers) != LDAP_OPT_SUCCESS)
        throw UsageError("libldap cannot use the certificates given for -Z",
                         "-H ldaps://HOST:PORT takes the same options");
}

} // namespace qldapx
