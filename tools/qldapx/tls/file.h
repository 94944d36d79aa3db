#pragma once

#include "secret.h"
#include "tls/openssl.h"

#include <string>
#include <string_view>

namespace qldapx {

/** A file that an option names, whole: certificates, and perhaps a key. Throws UsageError. */
Secret readTlsFile(const std::string &option, const std::string &path);

/** Such as "--cert people.pem", for messages. */
std::string named(const std::string &option, const std::string &path);

bool isPem(std::string_view content);
bool isPkcs12(std::string_view content);

/** All certificates of PEM, or the one of DER; at least one. Throws UsageError. */
Certificates certificatesIn(const std::string &name, std::string_view content);

/** A reader of bytes that somebody else owns. */
BioPtr readerOf(std::string_view content);

/** Refuses every password: nothing is asked by OpenSSL. */
int refusePassword(char *buffer, int size, int forWriting, void *data);

} // namespace qldapx
