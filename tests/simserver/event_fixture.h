#pragma once

#include "events.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

inline constexpr const char *kNew = "cn=Nova,dc=example,dc=com";
inline const std::string kTime =
    wire::wideNumber("0f4240"); // 1000000: the server's time stands still

/** Elements of a sequence of strings. */
inline std::string strings(std::uint8_t tag, const std::vector<std::string> &values) {
    std::string content;
    for (const std::string &value : values)
        content += element(0x30, wire::text(value));
    return element(tag, content);
}

/** What clients do is raised as an event with these fields: the other connection's is 7. */
class EventTest : public testing::Test {
  protected:
    EventTest() {
        server_.bindAdmin();
        server_.connection.number = 7;
        server_.connection.peer = {1, wire::hex("7f000001 0185")};
    }

    /** Serves the operation under message id 5. */
    wire::Response ask(const std::string &op, const std::string &controls = {}) {
        return wire::parse(server_.raw(wire::message(5, op, controls)));
    }

    static std::string address() {
        return wire::number(1) + wire::text(wire::hex("7f000001 0185"));
    }
    /** ConnectionInfo and the time, with which the payloads of operations begin. */
    static std::string head(const char *dn = kAdmin) {
        return element(0x30, wire::number(7) + wire::number(5) + wire::text(dn)) + kTime;
    }
    static std::string add() {
        return wire::add(kNew,
                         {{"objectClass", {"top", "person"}}, {"cn", {"Nova"}}, {"sn", {"N"}}});
    }
    static std::string ignored() { return wire::control("1.2.3", false); }

    /** The payload of an entry's event. */
    static std::string entry(const char *dn, std::uint8_t change, const std::string &size,
                             const char *previous = "") {
        return element(0x61, wire::text(dn) + wire::text("person") + wire::text(kAdmin) +
                                 element(0x30, kTime + wire::number(7) + wire::number(5)) +
                                 wire::number(change) + wire::wideNumber(size) +
                                 wire::text(previous));
    }
    static std::string value(const char *dn, const char *name, const char *content,
                             std::uint8_t change) {
        return element(
            0x62, wire::text(dn) + wire::text(name) + wire::text(kAdmin) + wire::text("person") +
                      wire::text("") + element(0x30, kTime + wire::number(7) + wire::number(5)) +
                      (*content != '\0' ? wire::text(content) : "") + wire::number(change));
    }

    InProcess server_;
};
