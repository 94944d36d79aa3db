#pragma once

#include "in_process.h"

#include <algorithm>
#include <string>
#include <vector>

/** Requests about the subschema entry, and what it shows. */
namespace schema_server {

inline constexpr const char *kDn = "cn=schema";

inline std::vector<std::string> shown(InProcess &server, const std::string &attribute) {
    const auto response =
        server.ask(wire::search({.base = kDn, .scope = 0, .attributes = {attribute}}));
    if (response.entryAttributes.empty() || response.entryAttributes[0].empty())
        return {};
    return response.entryAttributes[0][0].values;
}

inline bool shows(InProcess &server, const std::string &attribute, const std::string &text) {
    const auto values = shown(server, attribute);
    return std::find(values.begin(), values.end(), text) != values.end();
}

inline std::string modify(const std::vector<wire::Mod> &changes) {
    return wire::modify(kDn, changes);
}
inline wire::Mod add(const std::string &attribute, const std::vector<std::string> &texts) {
    return {0, {attribute, texts}};
}
inline wire::Mod remove(const std::string &attribute, const std::vector<std::string> &texts) {
    return {1, {attribute, texts}};
}
inline wire::Mod replace(const std::string &attribute, const std::vector<std::string> &texts) {
    return {2, {attribute, texts}};
}

inline bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

} // namespace schema_server
