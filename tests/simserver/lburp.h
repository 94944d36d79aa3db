#pragma once

#include "local_client.h"

#include <string>
#include <vector>

/** The requests of a bulk update, put together by hand. */
namespace lburp {

inline const std::string kArc = "2.16.840.1.907341.1.142.100.";
inline constexpr const char *kStyle = "2.16.840.1.907341.1.142.1.4.2";

inline std::string request(int number, const std::string &value) {
    return wire::extended(kArc + std::to_string(number), &value);
}
inline std::string start(const std::string &style = kStyle) {
    return request(1, wire::tlv(0x30, wire::text(style)));
}
/** Each operation is a protocolOp or what withControls() gives. */
inline std::string operations(std::uint8_t number, const std::vector<std::string> &list) {
    std::string elements = wire::number(number);
    for (const std::string &operation : list)
        elements += wire::tlv(0x30, operation);
    return request(6, wire::tlv(0x30, elements));
}
inline std::string withControls(const std::string &operation, const std::string &controls) {
    return operation + wire::tlv(0xa0, controls);
}
inline std::string end(std::uint8_t last) {
    return request(4, wire::tlv(0x30, wire::number(last)));
}

inline std::string dn(const std::string &name) {
    return "cn=" + name + ",dc=example,dc=com";
}
inline std::string add(const std::string &name) {
    return wire::add(dn(name),
                     {{"objectClass", {"top", "person"}}, {"cn", {name}}, {"sn", {name}}});
}
inline std::string describe(const std::string &name, const std::string &description) {
    return wire::modify(dn(name), {{2, {"description", {description}}}});
}
/** The new superior has the tag of an OCTET STRING. */
inline std::string rename(const std::string &from, const std::string &rdn,
                          const std::string &superior) {
    return wire::tlv(0x6c, wire::text(from) + wire::text(rdn) + wire::boolean(true) +
                               wire::text(superior));
}

/** An entry of the list of failures, with its shortest length. */
inline std::string failure(std::uint8_t number, std::uint8_t code, const std::string &matched,
                           const std::string &text) {
    const auto element = [](std::uint8_t tag, const std::string &content) {
        const auto size = static_cast<char>(content.size());
        const std::string length =
            content.size() < 0x80 ? std::string{size} : std::string{'\x81', size};
        return static_cast<char>(tag) + length + content;
    };
    return element(0x30,
                   wire::number(number) +
                       element(0x30, wire::number(code) + element(4, matched) + element(4, text)));
}

/** The ids of the answers. */
inline std::vector<int> ids(const std::vector<wire::Response> &responses) {
    std::vector<int> all;
    for (const wire::Response &response : responses)
        all.push_back(response.id);
    return all;
}

} // namespace lburp
