#include "tls/options.h"

#include "errors.h"
#include "text.h"

#include <fmt/format.h>

namespace qldapx {

const char *TlsOptions::firstGiven() const {
    const std::pair<bool, const char *> all[] = {{trustFile.has_value(), "--cacert"},
                                                 {certificateFile.has_value(), "--cert"},
                                                 {keyFile.has_value(), "--key"},
                                                 {pkcs12File.has_value(), "--p12"},
                                                 {passwordFile.has_value(), "--key-password-file"},
                                                 {verification.has_value(), "--tls-verify"}};
    for (const auto &[given, name] : all)
        if (given)
            return name;
    return nullptr;
}

void addTlsOptions(CLI::App &root, TlsOptions &options) {
    const auto add = [&](const char *name, std::optional<std::string> &value, const char *type,
                         const char *description) {
        root.add_option(name, value, description)->type_name(type)->group("Connection");
    };
    add("--cacert", options.trustFile, "FILE",
        "Trust the CA certificates in this file (PEM or DER) and no others; without it, the "
        "system's: SSL_CERT_FILE, SSL_CERT_DIR or OpenSSL's own");
    add("--cert", options.certificateFile, "FILE",
        "The client's certificate (PEM or DER), for servers that ask for one");
    add("--key", options.keyFile, "FILE",
        "Its private key (PEM); unless given it is in the file of --cert");
    add("--p12", options.pkcs12File, "FILE", "The client's certificate and key, as PKCS #12");
    add("--key-password-file", options.passwordFile, "FILE",
        "The password of the key or PKCS #12 is this file, whole; without it an encrypted one is "
        "asked for on the terminal");
    add("--tls-verify", options.verification, "on|off",
        "Whether the server's certificate and name must be right; with off anybody can pose as "
        "the server");
}

void checkTls(const TlsOptions &options) {
    if (options.verification && *options.verification != "on" && *options.verification != "off")
        throw UsageError(
            fmt::format("--tls-verify {}: no such way to verify", printable(*options.verification)),
            "--tls-verify on, or off");
    if (options.pkcs12File && (options.certificateFile || options.keyFile))
        throw UsageError("--p12 holds both certificate and key: it excludes --cert and --key",
                         "either --p12 FILE, or --cert FILE and --key FILE");
    if (options.keyFile && !options.certificateFile)
        throw UsageError("--key needs the certificate that it belongs to", "add --cert FILE");
}

void requireUseOfTls(const TlsOptions &options, const Encryption &encryption) {
    if (encryption.fromTheStart && encryption.startTls)
        throw UsageError("-Z encrypts a plain connection, and ldaps:// is encrypted from the start",
                         "leave out -Z");
    const char *option = options.firstGiven();
    if (option == nullptr)
        return;
    if (!encryption.fromTheStart && !encryption.startTls)
        throw UsageError(
            fmt::format("{} is for encrypted connections, and this one is not", option),
            "-H ldaps://HOST:PORT, or -ZZ");
    if (options.passwordFile && !options.hasIdentity())
        throw UsageError("--key-password-file is the password of a key",
                         "add --cert FILE (and --key FILE), or --p12 FILE");
    if (encryption.startTls && options.pkcs12File)
        throw UsageError("--p12 does not go with -Z",
                         "-H ldaps://HOST:PORT, or write the PKCS #12 as PEM (openssl pkcs12 -in "
                         "FILE -noenc -out PEMFILE) for --cert PEMFILE");
}

void warnUnverified(const TlsOptions &options, bool json) {
    if (!options.verifies())
        warn("--tls-verify off: THE SERVER IS NOT VERIFIED. Anybody on the way can pose as it, "
             "read the password and everything else, and change it",
             json);
}

} // namespace qldapx
