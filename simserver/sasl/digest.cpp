#include "sasl/digest.h"

#include "result.h"
#include "sasl/directives.h"
#include "text.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <iterator>

namespace stratasim::digest {
namespace {

struct Row {
    std::string_view name;
    std::optional<std::string> Response::*member;
    bool required;
};

constexpr Row kRows[] = {
    {"username", &Response::username, true}, {"realm", &Response::realm, false},
    {"nonce", &Response::nonce, true},       {"cnonce", &Response::cnonce, true},
    {"nc", &Response::nonceCount, true},     {"qop", &Response::qop, false},
    {"digest-uri", &Response::uri, true},    {"response", &Response::value, true},
    {"charset", &Response::charset, false},  {"authzid", &Response::authzid, false},
};

void take(Response &response, Directive &directive) {
    const auto row = std::find_if(std::begin(kRows), std::end(kRows),
                                  [&](const Row &r) { return r.name == directive.name; });
    if (row == std::end(kRows))
        return; // RFC 2831 has clients ignored that know more
    auto &member = response.*row->member;
    if (member)
        throw OperationError(ResultCode::ProtocolError,
                             fmt::format("DIGEST-MD5: \"{}\" is there twice", row->name));
    member = std::move(directive.value);
}

std::string md5(std::string_view text) {
    std::string digest(EVP_MAX_MD_SIZE, '\0');
    unsigned size = 0;
    if (EVP_Digest(text.data(), text.size(), reinterpret_cast<unsigned char *>(digest.data()),
                   &size, EVP_md5(), nullptr) != 1)
        throw OperationError(ResultCode::Other, "this machine's libcrypto does no MD5");
    digest.resize(size);
    return digest;
}

std::string hexMd5(std::string_view text) {
    return hexOf(md5(text));
}

// A1 = { H({ username ":" realm ":" password }) ":" nonce ":" cnonce [":" authzid] }
std::string keyOf(const Secret &secret, const Response &response) {
    std::string a1 = md5(fmt::format("{}:{}:{}", secret.username, secret.realm, secret.password));
    a1 += fmt::format(":{}:{}", *response.nonce, *response.cnonce);
    if (response.authzid)
        a1 += ':' + *response.authzid;
    return hexMd5(a1);
}

// HEX(KD(HEX(H(A1)), { nonce ":" nc ":" cnonce ":" qop ":" HEX(H(A2)) })), where
// A2 = { method ":" digest-uri } and KD(k, s) = H({ k ":" s })
std::string proof(const Secret &secret, const Response &response, std::string_view method) {
    return hexMd5(fmt::format("{}:{}:{}:{}:auth:{}", keyOf(secret, response), *response.nonce,
                              *response.nonceCount, *response.cnonce,
                              hexMd5(fmt::format("{}:{}", method, *response.uri))));
}

} // namespace

Response readResponse(std::string_view text) {
    constexpr std::size_t tooLong = 4096; // RFC 2831, 2.1.2
    if (text.size() >= tooLong)
        throw OperationError(ResultCode::ProtocolError,
                             fmt::format("DIGEST-MD5: the response has {} bytes or more", tooLong));
    Response response;
    for (Directive &directive : readDirectives(text))
        take(response, directive);
    for (const Row &row : kRows)
        if (row.required && !(response.*row.member))
            throw OperationError(ResultCode::InvalidCredentials,
                                 fmt::format("DIGEST-MD5: \"{}\" is missing", row.name));
    return response;
}

Secret Secret::inLatin1() const {
    const auto convert = [](const std::string &text) {
        return latin1FromUtf8(text).value_or(text);
    };
    return {convert(username), convert(realm), convert(password)};
}

std::string clientProof(const Secret &secret, const Response &response) {
    return proof(secret, response, "AUTHENTICATE");
}

std::string serverProof(const Secret &secret, const Response &response) {
    return proof(secret, response, "");
}

} // namespace stratasim::digest
