// response.h - what answers a DIGEST-MD5 challenge, and what proves the server (RFC 2831, 2.1.2 and
// 2.1.3). Not exported: cyrus-sasl's plug-in of the same mechanism looks DigestCalcResponse up by
// this name, and would call the library's.
#pragma once

#include "qldapx/digest_challenge.h"

#include <cstddef>

namespace qldapx {

constexpr std::size_t md5Size = 16;
constexpr std::size_t hexSize = 2 * md5Size + 1; // with its terminating zero
constexpr std::size_t nonceSize = 65;            // likewise
constexpr std::size_t responseSize = 4096;       // likewise

// Fills out with a new client nonce, or makes it empty; the result is the random pool's.
[[nodiscard]] int getNonce(char (&out)[nonceSize]);

void ConvertHex(const unsigned char (&digest)[md5Size], char (&out)[hexSize]);

// H(A1): of the password passwordLength bytes, of the other texts all up to their zero.
void DigestCalcHA1(const char *algorithm, const char *userName, const char *realm,
                   const char *password, std::size_t passwordLength, const char *nonce,
                   const char *cnonce, char (&out)[hexSize]);

// response-value; withMethod tells the client's (true) from the server's own proof.
void DigestCalcResponse(const char (&ha1Hex)[hexSize], const char *nonce, const char *nonceCount,
                        const char *cnonce, const char *qop, const char *method,
                        const char *digestUri, bool withMethod, char (&out)[hexSize]);

// The digest-response; response receives a buffer for free. LDAP_PARAM_ERROR when it is too long.
[[nodiscard]] int createDigestResponse(const char *userName, const char *password,
                                       std::size_t passwordLength, const char *realm,
                                       const char *hostName, const char *cnonce, int nonceCount,
                                       const DigestChallenge *challenge, berval *response);

// LDAP_INVALID_CREDENTIALS when the server has not proved that it knows the password.
[[nodiscard]] int validateServerResponse(const char *userName, const char *password,
                                         std::size_t passwordLength, const char *realm,
                                         const char *hostName, const char *cnonce, int nonceCount,
                                         const DigestChallenge *challenge,
                                         berval *serverCredentials);

} // namespace qldapx
