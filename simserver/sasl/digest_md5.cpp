#include "sasl/digest_md5.h"

#include "dn.h"
#include "operations/account.h"
#include "sasl/digest.h"
#include "text.h"

#include <fmt/format.h>

#include <sys/random.h>

#include <algorithm>

namespace stratasim::digest {
namespace {

[[noreturn]] void refuse(std::string_view why) {
    throw OperationError(ResultCode::InvalidCredentials, fmt::format("DIGEST-MD5: {}", why));
}

std::string makeNonce() {
    constexpr std::size_t size = 16;
    std::string bytes(size, '\0');
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(size))
        throw OperationError(ResultCode::Other, "no random numbers are to be had");
    return hexOf(bytes);
}

/** A name of a response as it may be meant: without charset=utf-8 its bytes may be ISO 8859-1. */
std::vector<std::string> readings(const Response &response, const std::string &name) {
    if (response.charset)
        return {name};
    return {name, utf8FromLatin1(name)};
}

bool isOffered(const Offer &offer, const Response &response) {
    if (!response.realm)
        return offer.realms.empty();
    const auto names = readings(response, *response.realm);
    return std::find_first_of(offer.realms.begin(), offer.realms.end(), names.begin(),
                              names.end()) != offer.realms.end();
}

void checkTerms(const Offer &offer, const Response &response) {
    if (!offer.nonce || response.nonce != offer.nonce)
        refuse("the nonce is not that of the challenge");
    if (response.nonceCount != "00000001")
        refuse("nc is not 00000001");
    if (response.qop && response.qop != "auth")
        refuse(fmt::format("qop \"{}\" is not offered", *response.qop));
    if (!response.uri->starts_with("ldap/"))
        refuse("digest-uri does not begin with \"ldap/\"");
    if (response.charset && !equalIgnoringCase(*response.charset, "utf-8"))
        refuse(fmt::format("charset \"{}\" is not utf-8", *response.charset));
    if (!isOffered(offer, response))
        refuse("the realm is not one of those offered");
}

/** The secret, in one of its forms, with which the response has been made. */
std::optional<Secret> findSecret(const Account &account, const Response &response) {
    for (const std::string &password : account.passwords) {
        const Secret secret{*response.username, response.realm.value_or(""), password};
        for (const Secret &form : {secret, secret.inLatin1()})
            if (clientProof(form, response) == response.value)
                return form;
    }
    return std::nullopt;
}

bool isOwn(std::string_view authzid, const Response &response, const Identity &identity) {
    constexpr std::string_view dnPrefix = "dn:";
    if (!equalIgnoringCase(authzid.substr(0, dnPrefix.size()), dnPrefix))
        return authzid == "u:" + *response.username;
    const auto dn = Dn::parse(authzid.substr(dnPrefix.size()));
    return dn && dn->key == identity.key;
}

} // namespace

Answer challenge(const std::vector<std::string> &realms) {
    Answer answer{ResultCode::SaslBindInProgress, {}, {}};
    for (const std::string &realm : realms)
        answer.directives.push_back({"realm", realm, true});
    answer.directives.push_back({"nonce", makeNonce(), true});
    answer.directives.push_back({"qop", "auth", true});
    answer.directives.push_back({"charset", "utf-8", false});
    answer.directives.push_back({"algorithm", "md5-sess", false});
    return answer;
}

Offer offerOf(std::string_view challenge) {
    Offer offer;
    try {
        for (Directive &directive : readDirectives(challenge)) {
            if (directive.name == "realm")
                offer.realms.push_back(std::move(directive.value));
            else if (directive.name == "nonce" && !offer.nonce)
                offer.nonce = std::move(directive.value);
        }
    } catch (const OperationError &) {
        return {}; // a fault has made it something else
    }
    return offer;
}

Proven prove(const Directory &directory, const Offer &offer, std::string_view text) {
    const Response response = readResponse(text);
    checkTerms(offer, response);
    for (const std::string &name : readings(response, *response.username)) {
        const Account account = findAccount(directory, name);
        const auto secret = findSecret(account, response);
        if (!secret)
            continue;
        if (response.authzid && !isOwn(*response.authzid, response, account.identity))
            refuse(
                fmt::format("\"{}\" may not act as \"{}\"", *response.username, *response.authzid));
        const std::string proof = serverProof(*secret, response);
        return {account.identity, {ResultCode::Success, {{"rspauth", proof, false}}, {}}};
    }
    throw OperationError(ResultCode::InvalidCredentials, "wrong user name or password");
}

} // namespace stratasim::digest
