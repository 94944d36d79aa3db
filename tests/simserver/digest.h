#pragma once

#include "wire.h"

#include <optional>
#include <string>
#include <string_view>

/** A client's side of DIGEST-MD5, with an arithmetic of its own. */
namespace digest_client {

/** BindRequest { version 3, name "", sasl { mechanism, credentials }}; null credentials are none.
 */
std::string request(std::string_view mechanism, const std::string *credentials = nullptr);
inline std::string begin() {
    return request("DIGEST-MD5");
}

/** The value of the first directive of that name in a challenge; a test failure without one. */
std::string valueIn(const std::string &challenge, const std::string &directive);

/** A response: right for Ada Brandt and the sample's realm, unless a member says otherwise. */
struct Response {
    std::string nonce;
    std::string username = "ada.brandt";
    std::optional<std::string> realm = "strata";
    std::string password = "changeme";
    std::string cnonce = "OA6MHXh6VqTrRk";
    std::string nonceCount = "00000001";
    std::optional<std::string> qop = "auth";
    std::string uri = "ldap/localhost";
    std::optional<std::string> charset = {};
    std::optional<std::string> authzid = {};
    std::string more = {};                          // directives, each with a comma before it
    std::optional<std::string> value = {};          // in place of the right proof
    std::optional<std::string> hashedUsername = {}; // in place of the one that is sent

    /** The credentials of the second request. */
    std::string text() const;
    /** BindRequest with them. */
    std::string op() const;
    /** What the server has to say when all is right. */
    std::string rspauth() const;

  private:
    std::string proof(const std::string &method) const;
};

} // namespace digest_client
