#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace qldapx {

/** Whom to trust with TLS, and what to show of oneself, as the command line says it. */
struct TlsOptions {
    std::optional<std::string> trustFile; // without one, the system's trust store
    std::optional<std::string> certificateFile;
    std::optional<std::string> keyFile; // without one, the certificate's file
    std::optional<std::string> pkcs12File;
    std::optional<std::string> passwordFile; // of the key or the PKCS #12
    std::optional<std::string> verification; // "on" or "off"
    bool contextIsReady = false;             // the one that all sessions share

    [[nodiscard]] bool verifies() const { return verification != "off"; }
    [[nodiscard]] bool hasIdentity() const { return certificateFile || pkcs12File; }
    /** The file of the key that belongs to the certificate. */
    [[nodiscard]] const std::string &keySource() const {
        return keyFile ? *keyFile : *certificateFile;
    }
    /** The first of the options that are given; NULL when none is. */
    [[nodiscard]] const char *firstGiven() const;
};

void addTlsOptions(CLI::App &root, TlsOptions &options);

/** Throws UsageError for options that contradict each other. */
void checkTls(const TlsOptions &options);

/** How the server of a session is reached. */
struct Encryption {
    bool fromTheStart; // ldaps://
    bool startTls;
};

/** Throws UsageError for options that mean nothing on such a session. */
void requireUseOfTls(const TlsOptions &options, const Encryption &encryption);

/** What is said whenever a server is not verified. */
void warnUnverified(const TlsOptions &options, bool json);

} // namespace qldapx
