#include "sasl/proof.h"

#include <openssl/evp.h>

namespace qldapx_test {

Bytes md5Of(const Bytes &text) {
    unsigned char digest[16];
    EVP_Digest(text.data(), text.size(), digest, nullptr, EVP_md5(), nullptr);
    return {reinterpret_cast<char *>(digest), sizeof digest};
}

std::string hexOf(const Bytes &bytes) {
    std::string digits = toHex(bytes);
    std::erase(digits, ' ');
    return digits;
}

std::string Proof::ha1() const {
    const Bytes secret = md5Of(user + ":" + realm + ":" + password);
    return hexOf(algorithm == "md5-sess" ? md5Of(secret + ":" + nonce + ":" + cnonce) : secret);
}

std::string Proof::value(bool withMethod) const {
    std::string a2 = (withMethod ? "AUTHENTICATE:" : ":") + digestUri;
    if (qop == "auth-int")
        a2 += ":" + std::string(32, '0');
    const std::string middle = qop.empty() ? "" : count + ":" + cnonce + ":" + qop + ":";
    return hexOf(md5Of(ha1() + ":" + nonce + ":" + middle + hexOf(md5Of(a2))));
}

Bytes bindRequest(const std::optional<Bytes> &credentials) {
    Bytes sasl = octetString("DIGEST-MD5");
    if (credentials)
        sasl += octetString(*credentials);
    return tlv(0x60, integer(3) + octetString("") + tlv(0xa3, sasl));
}

Bytes bindResponse(int code, const std::optional<Bytes> &credentials) {
    Bytes result = tlv(0x0a, Bytes(1, static_cast<char>(code))) + octetString("") + octetString("");
    if (credentials)
        result += tlv(0x87, *credentials);
    return tlv(0x61, result);
}

std::string directiveIn(const Bytes &text, const std::string &name) {
    std::size_t at = text.find(name + "=");
    if (at == Bytes::npos)
        return {};
    at += name.size() + 1;
    if (text[at] == '"')
        ++at;
    return text.substr(at, text.find_first_of("\",", at) - at);
}

Proof proofFor(const Bytes &message, const std::string &user, const Bytes &password) {
    Proof proof;
    proof.user = user;
    proof.password = password;
    proof.realm = directiveIn(message, "realm");
    proof.nonce = directiveIn(message, ",nonce");
    proof.cnonce = directiveIn(message, "cnonce");
    proof.digestUri = directiveIn(message, "digest-uri");
    return proof;
}

Bytes provenAnswer(const Proof &proof) {
    return bindResponse(0, "rspauth=" + proof.server());
}

} // namespace qldapx_test
