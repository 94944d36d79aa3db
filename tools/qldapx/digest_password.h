#pragma once

#include "secret.h"

namespace qldapx {

/**
 * The password as DIGEST-MD5 hashes it (RFC 2831, 2.1.2.1): in ISO 8859-1 if it is UTF-8 of which
 * each character exists there, else as it is.
 */
Secret digestPassword(const Secret &password);

} // namespace qldapx
