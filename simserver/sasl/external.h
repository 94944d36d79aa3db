#pragma once

#include "access.h"
#include "directory.h"
#include "security.h"

#include <string_view>

/** SASL EXTERNAL (RFC 4422, appendix A): the client is who its certificate says. */
namespace stratasim::external {

inline constexpr std::string_view kMechanism = "EXTERNAL";

/** Throws inappropriateAuthentication or invalidCredentials when the certificate names nobody. */
Identity identify(const Directory &directory, const Security &security);
/** Throws authorizationDenied unless the authorisation identity is empty or that one. */
void requireOwn(const Directory &directory, const Identity &identity, std::string_view authzId);

} // namespace stratasim::external
