#include "events/connection_events.h"

#include <asio/ip/address.hpp>
#include <fmt/format.h>

#include <algorithm>

namespace stratasim {
namespace {

/** "127.0.0.1:1389"; empty when it is not known. */
std::string addressText(const NetAddress &address) {
    if (address.type == 0)
        return {};
    const auto *bytes = reinterpret_cast<const unsigned char *>(address.bytes.data());
    const std::size_t length = address.bytes.size() - 2;
    const int port = bytes[length] * 256 + bytes[length + 1];
    if (address.type == NetAddress::kIpv4) {
        asio::ip::address_v4::bytes_type v4;
        std::copy_n(bytes, v4.size(), v4.begin());
        return fmt::format("{}:{}", asio::ip::address_v4(v4).to_string(), port);
    }
    asio::ip::address_v6::bytes_type v6;
    std::copy_n(bytes, v6.size(), v6.begin());
    return fmt::format("[{}]:{}", asio::ip::address_v6(v6).to_string(), port);
}

void raiseConnection(Directory &directory, const Connection &connection, EventType type) {
    directory.events.raise(type, [&](std::int32_t event) {
        return Event(
            event, 0,
            Record(114, {{"number1", static_cast<std::int32_t>(connection.number)},
                         {"number2", static_cast<std::int32_t>(directory.monitor.connections)},
                         {"string1", addressText(connection.peer)}}),
            connection.peer);
    });
}

} // namespace

void raiseConnectionOpened(Directory &directory, const Connection &connection) {
    raiseConnection(directory, connection, EventType::ConnectionOpened);
    directory.events.raise(EventType::ClientAddress, [&](std::int32_t type) {
        return Event(type, 0,
                     Record(104, {{"addressType", connection.peer.type},
                                  {"address", connection.peer.bytes}}));
    });
}

void raiseConnectionClosed(Directory &directory, const Connection &connection) {
    raiseConnection(directory, connection, EventType::ConnectionClosed);
}

void raiseConnectionState(Directory &directory, const Connection &connection, const Result &bound) {
    directory.events.raise(EventType::ConnectionState, [&](std::int32_t type) {
        return Event(type, static_cast<std::int32_t>(bound.code),
                     Record(105, {{"string1", addressText(connection.peer)},
                                  {"number1", static_cast<std::int32_t>(connection.number)},
                                  {"number2", std::int32_t{!connection.identity.isAnonymous()}},
                                  {"string2", connection.identity.dn}}));
    });
}

} // namespace stratasim
