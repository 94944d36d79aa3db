// pkcs12.h - PKCS #12 (RFC 7292) as PEM.
#pragma once

#include "ssl/handles.h"

namespace qldapx {

// What is written of it; all of it must open in any case.
enum class Pkcs12Part { all, certificates, keys };

// All of it with its attributes as text, or the PEM of one part. NULL: it does not open.
[[nodiscard]] BioPtr toPem(BIO *pkcs12, const char *password, Pkcs12Part part);

} // namespace qldapx
