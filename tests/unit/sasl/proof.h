// proof.h - the arithmetic of DIGEST-MD5 (RFC 2831, 2.1.2.1 and 2.1.3) by OpenSSL's MD5, and the
// bind messages that carry it (RFC 4511, 4.2).
#pragma once

#include "support/ber.h"

#include <optional>

namespace qldapx_test {

Bytes md5Of(const Bytes &text);
std::string hexOf(const Bytes &bytes);

struct Proof {
    std::string user, realm;
    Bytes password;
    std::string nonce, cnonce;
    std::string digestUri;
    std::string algorithm = "md5-sess";
    std::string qop = "auth";
    std::string count = "00000001";

    [[nodiscard]] std::string ha1() const;
    // The client's value, or the server's proof.
    [[nodiscard]] std::string value(bool withMethod) const;
    [[nodiscard]] std::string client() const { return value(true); }
    [[nodiscard]] std::string server() const { return value(false); }
};

// BindRequest ::= [APPLICATION 0] SEQUENCE { version, name LDAPDN, [3] SaslCredentials }
Bytes bindRequest(const std::optional<Bytes> &credentials);
// BindResponse ::= [APPLICATION 1] SEQUENCE { LDAPResult, serverSaslCreds [7] OPTIONAL }
Bytes bindResponse(int code, const std::optional<Bytes> &credentials);

// The text behind name= up to the next quote or comma.
std::string directiveIn(const Bytes &text, const std::string &name);

// The proof of a server that knows user and password and has read the message with the client's
// response.
Proof proofFor(const Bytes &message, const std::string &user, const Bytes &password);
// The answer of that server.
Bytes provenAnswer(const Proof &proof);

} // namespace qldapx_test
