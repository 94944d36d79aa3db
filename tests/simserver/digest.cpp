#include "digest.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <cstdio>

namespace digest_client {
namespace {

std::string md5(const std::string &text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    EXPECT_EQ(EVP_Digest(text.data(), text.size(), digest, &size, EVP_md5(), nullptr), 1);
    return {reinterpret_cast<char *>(digest), size};
}

std::string hexMd5(const std::string &text) {
    std::string out;
    for (const char byte : md5(text)) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
        out += digits;
    }
    return out;
}

std::string quoted(const std::string &name, const std::string &value) {
    return name + "=\"" + value + '"';
}

} // namespace

std::string request(std::string_view mechanism, const std::string *credentials) {
    const std::string sent = credentials != nullptr ? wire::text(*credentials) : "";
    return wire::tlv(0x60, wire::number(3) + wire::text("") +
                               wire::tlv(0xa3, wire::text(mechanism) + sent));
}

std::string valueIn(const std::string &challenge, const std::string &directive) {
    const std::string begin = directive + "=\"";
    const std::size_t at = challenge.find(begin);
    EXPECT_NE(at, std::string::npos) << challenge;
    if (at == std::string::npos)
        return {};
    const std::size_t first = at + begin.size();
    return challenge.substr(first, challenge.find('"', first) - first);
}

std::string Response::proof(const std::string &method) const {
    std::string a1 =
        md5(hashedUsername.value_or(username) + ':' + realm.value_or("") + ':' + password);
    a1.append(":").append(nonce).append(":").append(cnonce);
    if (authzid)
        a1.append(":").append(*authzid);
    return hexMd5(hexMd5(a1) + ':' + nonce + ':' + nonceCount + ':' + cnonce +
                  ":auth:" + hexMd5(method + ':' + uri));
}

std::string Response::text() const {
    std::string out = quoted("username", username);
    if (realm)
        out.append(",").append(quoted("realm", *realm));
    out.append(",").append(quoted("nonce", nonce)).append(",").append(quoted("cnonce", cnonce));
    out += ",nc=" + nonceCount;
    if (qop)
        out += ",qop=" + *qop;
    out.append(",").append(quoted("digest-uri", uri));
    if (charset)
        out += ",charset=" + *charset;
    if (authzid)
        out.append(",").append(quoted("authzid", *authzid));
    return out + more + ",response=" + value.value_or(proof("AUTHENTICATE"));
}

std::string Response::op() const {
    const std::string credentials = text();
    return request("DIGEST-MD5", &credentials);
}

std::string Response::rspauth() const {
    return "rspauth=" + proof("");
}

} // namespace digest_client
