#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace stratasim {

/** One attribute type and value of an RDN. */
struct Ava {
    std::string type;  // as written
    std::string value; // unescaped
};

/**
 * A distinguished name (RFC 4514). Names that match have equal keys. In a key every special
 * character of a value is written as a backslash and two digits, so that each comma of a key
 * separates two RDNs and the keys of all ancestors are its tails.
 */
struct Dn {
    std::string text;
    std::string key;
    std::string rdnText;  // the first RDN as written, without spaces around it
    std::vector<Ava> rdn; // the first RDN

    static std::optional<Dn> parse(std::string_view text);
    bool isRoot() const { return key.empty(); }
};

/** Parses or throws invalidDNSyntax naming the text. */
Dn requireDn(std::string_view text);

std::string_view parentKey(std::string_view key);

/** True for the entry itself and everything below it. */
bool isWithin(std::string_view key, std::string_view base);

/** Escapes a value for the text of an RDN. */
std::string escapeRdnValue(std::string_view value);

} // namespace stratasim
