#include "operations/search_answer.h"

#include "schema.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

/** "<attribute>: <bits>" */
std::string rightsOn(const Directory &directory, const Identity &who, const Node &node,
                     std::string_view attribute) {
    const std::string key = attribute == "*" ? "*" : schema::keyOf(attribute);
    return fmt::format("{}: {}", attribute, directory.rights(who.key, node.key, key));
}

/** The user attributes that an entry holds, and the password whether it holds one or not. */
std::vector<std::string> userAttributes(const Node &node) {
    std::vector<std::string> names;
    for (const Attribute &attribute : node.entry.attributes())
        if (!schema::isOperational(attribute.key) && attribute.key != schema::kPassword)
            names.push_back(attribute.name);
    names.emplace_back("userPassword");
    return names;
}

} // namespace

std::vector<Attribute> rightsAttributes(const Directory &directory, const Identity &who,
                                        const RightsControl &asked, const Node &node) {
    using Attributes = RightsControl::Attributes;
    const unsigned onEntry = directory.rights(who.key, node.key, "*");
    std::vector<Attribute> attributes = {{"entryPrivileges", {}, {std::to_string(onEntry)}}};
    if (asked.attributes == Attributes::None)
        return attributes;
    Attribute &each = attributes.emplace_back(Attribute{"attributePrivileges", {}, {}});
    for (const std::string &name :
         asked.attributes == Attributes::All ? userAttributes(node) : asked.listed)
        each.values.push_back(rightsOn(directory, who, node, name));
    return attributes;
}

} // namespace stratasim
