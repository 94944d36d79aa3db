#include "errors.h"
#include "text.h"
#include "tls/probe.h"

#include <algorithm>
#include <fmt/format.h>
#include <strings.h>

namespace qldapx {
namespace {

constexpr std::string_view scheme = "ldaps://";
constexpr const char *usualPort = "636";

[[noreturn]] void refuse(const std::string &text, const char *why) {
    throw UsageError(fmt::format("\"{}\" {}", printable(text), why),
                     "HOST:PORT, ldaps://HOST or the name of a file");
}

bool isPort(std::string_view text) {
    return !text.empty() && text.size() <= 5 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; }) &&
           std::stoi(std::string(text)) >= 1 && std::stoi(std::string(text)) <= 65535;
}

/** Splits at the colon before the port, which stands behind the brackets of an IPv6 address. */
std::optional<ServerAddress> hostAndPort(std::string_view text) {
    const bool hasBrackets = text.starts_with('[');
    const std::size_t end = hasBrackets ? text.find(']') : text.rfind(':');
    if (end == std::string_view::npos)
        return hasBrackets || text.empty()
                   ? std::nullopt
                   : std::optional(ServerAddress{std::string(text), usualPort});
    const std::string host(hasBrackets ? text.substr(1, end - 1) : text.substr(0, end));
    const std::string_view rest = text.substr(hasBrackets ? end + 1 : end);
    const bool fits = rest.empty() || (rest.starts_with(':') && isPort(rest.substr(1)));
    if (host.empty() || !fits || (!hasBrackets && host.find(':') != std::string::npos))
        return std::nullopt;
    return ServerAddress{host, rest.empty() ? usualPort : std::string(rest.substr(1))};
}

ServerAddress ofUrl(const std::string &url) {
    std::string_view rest = std::string_view(url).substr(scheme.size());
    if (rest.ends_with('/'))
        rest.remove_suffix(1);
    const auto address = hostAndPort(rest);
    if (!address || rest.find('/') != std::string_view::npos)
        refuse(url, "names no server");
    return *address;
}

} // namespace

std::string ServerAddress::text() const {
    const bool isV6 = host.find(':') != std::string::npos;
    return isV6 ? fmt::format("[{}]:{}", host, port) : fmt::format("{}:{}", host, port);
}

std::optional<ServerAddress> serverAddress(const std::string &text) {
    if (strncasecmp(text.c_str(), scheme.data(), scheme.size()) == 0)
        return ofUrl(text);
    if (text.find("://") != std::string::npos)
        refuse(text, "is no ldaps:// URL");
    const bool looksLikeServer =
        text.find('/') == std::string::npos && text.find(':') != std::string::npos;
    if (!looksLikeServer)
        return std::nullopt;
    const auto address = hostAndPort(text);
    if (!address)
        refuse(text, "names no server; an IPv6 address stands in brackets, the port is from 1 to "
                     "65535");
    return address;
}

} // namespace qldapx
