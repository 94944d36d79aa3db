#pragma once

#include "directory.h"
#include "message.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

namespace control {
inline constexpr std::string_view kManageDsaIt = "2.16.840.1.113730.3.4.2";
inline constexpr std::string_view kPersistentSearch = "2.16.840.1.113730.3.4.3";
inline constexpr std::string_view kEntryChange = "2.16.840.1.113730.3.4.7";
inline constexpr std::string_view kProxiedAuthorization = "2.16.840.1.113730.3.4.18";
inline constexpr std::string_view kEffectiveRights = "2.16.840.1.907341.1.27.101.33";
inline constexpr std::string_view kServerStatus = "2.16.840.1.907341.1.27.101.40";
inline constexpr std::string_view kReference = "2.16.840.1.907341.1.1.5150.101.1";
} // namespace control

/** Request controls that some operation serves. */
std::vector<std::string> supportedControls();
/** Throws unavailableCriticalExtension for a critical control the operation does not serve. */
void requireControls(const Request &request);

/**
 * Who a request is to be served as, where it says so (RFC 4370); nothing when it does not.
 * Throws authorizationDenied unless `bound` may speak for that identity.
 */
std::optional<Identity> proxiedIdentity(const Directory &directory, const Identity &bound,
                                        const Request &request);

} // namespace stratasim
