#pragma once

#include "in_process.h"
#include "progress.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

/** A specification of a registration: an event type, its result, a filter. */
struct Wanted {
    std::uint8_t type;
    std::uint8_t result = 0; // 0 any, 1 success, 2 failure
    std::string filter = {};
};

inline constexpr int kMonitor = 79;
inline constexpr int kMonitorFiltered = 84;

// SEQUENCE { count INTEGER, SET OF SEQUENCE { INTEGER, ENUMERATED, filter OCTET STRING } }
inline std::string registration(const std::vector<Wanted> &wanted, bool filtered = false) {
    std::string list;
    for (const Wanted &one : wanted)
        list += wire::tlv(0x30, wire::number(one.type) + wire::enumerated(one.result) +
                                    (filtered ? wire::text(one.filter) : ""));
    const std::string value = wire::tlv(
        0x30, wire::number(static_cast<std::uint8_t>(wanted.size())) + wire::tlv(0x31, list));
    return wire::extended(wire::strataOid(filtered ? kMonitorFiltered : kMonitor), &value);
}

/** An element with the shortest length, as the server writes it. */
inline std::string element(std::uint8_t tag, const std::string &content) {
    std::string length(1, static_cast<char>(content.size()));
    if (content.size() >= 0x100)
        length = {'\x82', static_cast<char>(content.size() >> 8U),
                  static_cast<char>(content.size())};
    else if (content.size() >= 0x80)
        length = {'\x81', static_cast<char>(content.size())};
    return std::string(1, static_cast<char>(tag)) + length + content;
}

/** The value of a notification; the address is empty or its two elements. */
inline std::string event(std::uint8_t type, std::uint8_t result, const std::string &payload,
                         const std::string &address = {}) {
    return element(0x30, wire::number(type) + wire::number(result) + payload + address);
}

/** The administrator's registration on a connection of its own to a server without sockets. */
class Monitored {
  public:
    Monitored(InProcess &server, const std::vector<Wanted> &wanted, bool filtered = false) {
        connection_.identity = {kAdmin, kAdmin};
        const std::string request = wire::message(9, registration(wanted, filtered));
        auto outcome = server.dispatcher.handle(connection_, stratasim::asBytes(request));
        operation_ = std::move(outcome.open);
        first_ = wire::parse(outcome.bytes);
    }

    const wire::Response &first() const { return first_; }
    bool isOpen() const { return operation_ != nullptr; }
    stratasim::OpenOperation &operation() { return *operation_; }
    void end() { operation_.reset(); }

    /** What came since the last look. */
    wire::Response look() { return lookAt(operation_); }
    std::vector<std::string> events() { return look().events; }

  private:
    stratasim::Connection connection_; // goes after the operation, which counts itself there
    wire::Response first_;
    std::unique_ptr<stratasim::OpenOperation> operation_;
};
