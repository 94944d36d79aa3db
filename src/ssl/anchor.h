// anchor.h - certificates that are trusted.
#pragma once

#include "ssl/handles.h"

namespace qldapx {

// OpenSSL notes what a certificate says when it is first used, and for good: where memory fails in
// that, everything that a trust anchor has issued is refused for as long as the context lives.
// Hence it is noted when the anchor is added, where a failure has a code.
// false: there was no memory. What is wrong with the certificate itself is found later, by those
// who verify with it.
bool noteContent(X509 *anchor);

// The same for each of a store that no other thread uses.
bool noteContents(const X509_STORE *store);

} // namespace qldapx
