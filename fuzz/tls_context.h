// tls_context.h - the library's TLS context for a run, and what OpenSSL keeps between runs.
#pragma once

#include "heap_watch.h"
#include "support/ber.h"

#include <functional>
#include <ldap.h>
#include <string>

namespace qldapx_fuzz {

using qldapx_test::Bytes;

// Calls run() twice, each time in a new context: once for OpenSSL to set up what it keeps for the
// algorithms that it meets, then under a HeapWatch, where nothing may be left. received: of the
// HeapWatch.
void runInContext(std::size_t received, const std::function<void()> &run);

berval asBuffer(const Bytes &bytes);

// NULL, the empty one or "secret", as the bits say.
const char *passwordFor(char bits);

// What the context has: "" for none, or DER.
Bytes clientCertificate();
Bytes clientKey();
int anchors();

} // namespace qldapx_fuzz
