#include "operations/controls.h"

#include "text.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

[[noreturn]] void refuse(const std::string &why) {
    throw OperationError(ResultCode::ProtocolError, "proxied authorisation: " + why);
}

const Control *findProxy(const Request &request) {
    const Control *found = nullptr;
    for (const Control &control : request.controls) {
        if (control.oid != control::kProxiedAuthorization)
            continue;
        if (found != nullptr)
            refuse("the control is there twice");
        found = &control;
    }
    return found;
}

[[noreturn]] void deny(std::string_view who) {
    throw OperationError(ResultCode::AuthorizationDenied,
                         fmt::format("you may not act as \"{}\"", who));
}

/** The value is a bare DN, or "dn:" and a DN; empty is anonymous. */
Dn readAuthzId(std::string_view value) {
    constexpr std::string_view prefix = "dn:";
    const bool prefixed = equalIgnoringCase(value.substr(0, prefix.size()), prefix);
    const auto dn = Dn::parse(prefixed ? value.substr(prefix.size()) : value);
    if (!dn)
        deny(value);
    return *dn;
}

Identity findIdentity(const Directory &directory, const Dn &dn) {
    const Dn &administrator = directory.administratorDn();
    if (dn.isRoot())
        return {};
    if (dn.key == administrator.key)
        return {administrator.text, administrator.key};
    const auto node = directory.tree.find(dn.key);
    if (!node)
        deny(dn.text);
    return {node->dn, node->key};
}

} // namespace

std::optional<Identity> proxiedIdentity(const Directory &directory, const Identity &bound,
                                        const Request &request) {
    const Control *control = findProxy(request);
    if (control == nullptr)
        return std::nullopt;
    if (request.tag == tag::kBindRequest)
        refuse("not with a bind");
    if (!control->critical)
        refuse("the control has to be critical");
    if (!control->value)
        refuse("the control has no value");
    const Dn dn = readAuthzId(asText(*control->value));
    // Nobody rises to the administrator, wherever its entry would lie.
    const std::string &administrator = directory.administratorDn().key;
    const bool rises = dn.key == administrator && bound.key != administrator;
    if (rises || (directory.rights(bound.key, dn.key, right::kActAsAttribute) & right::kActAs) == 0)
        deny(dn.text);
    return findIdentity(directory, dn);
}

} // namespace stratasim
