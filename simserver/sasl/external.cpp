#include "sasl/external.h"

#include "operations/account.h"
#include "result.h"
#include "text.h"

#include <fmt/format.h>

namespace stratasim::external {
namespace {

constexpr std::string_view kDnPrefix = "dn:";
constexpr std::string_view kNamePrefix = "u:";

bool startsWith(std::string_view text, std::string_view prefix) {
    return equalIgnoringCase(text.substr(0, prefix.size()), prefix);
}

bool isOwn(const Directory &directory, const Identity &identity, std::string_view authzId) {
    if (startsWith(authzId, kNamePrefix)) {
        const Account account = findAccount(directory, authzId.substr(kNamePrefix.size()));
        return account.identity.key == identity.key;
    }
    if (!startsWith(authzId, kDnPrefix))
        return false;
    const auto dn = Dn::parse(authzId.substr(kDnPrefix.size()));
    return dn && dn->key == identity.key;
}

} // namespace

Identity identify(const Directory &directory, const Security &security) {
    if (!security.subject)
        throw OperationError(ResultCode::InappropriateAuthentication,
                             "EXTERNAL: the connection has no client certificate");
    const auto dn = Dn::parse(*security.subject);
    const bool known = dn && !dn->isRoot() &&
                       (dn->key == directory.administratorDn().key || directory.tree.find(dn->key));
    if (!known)
        throw OperationError(
            ResultCode::InvalidCredentials,
            fmt::format("EXTERNAL: there is no entry \"{}\", which the client certificate names",
                        *security.subject));
    return accountOf(directory, *dn).identity;
}

void requireOwn(const Directory &directory, const Identity &identity, std::string_view authzId) {
    if (!authzId.empty() && !isOwn(directory, identity, authzId))
        throw OperationError(
            ResultCode::AuthorizationDenied,
            fmt::format("EXTERNAL: \"{}\" may not act as \"{}\"", identity.dn, authzId));
}

} // namespace stratasim::external
