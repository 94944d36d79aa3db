#pragma once

#include "dispatcher.h"
#include "wire.h"

#include <cstdint>
#include <string>

inline constexpr const char *kAdmin = "cn=admin,dc=example,dc=com";
inline constexpr const char *kAda = "cn=Ada Brandt,ou=people,dc=example,dc=com";
inline constexpr const char *kServer1 = "cn=strata1,ou=servers,dc=example,dc=com";
inline constexpr const char *kServer2 = "cn=strata2,ou=servers,dc=example,dc=com";
inline constexpr const char *kServer3 = "cn=strata3,ou=servers,dc=example,dc=com";
inline constexpr const char *kTop = "dc=example,dc=com";
inline constexpr const char *kEmea = "ou=emea,dc=example,dc=com";

/** A server without sockets, and one connection to it. Its time stands still. */
class InProcess {
  public:
    /** The raw answer to a whole message. */
    std::string raw(const std::string &message) {
        stratasim::Outcome outcome = dispatcher.handle(connection, stratasim::asBytes(message));
        using Progress = stratasim::OpenOperation::Progress;
        Progress progress = Progress::More;
        while (outcome.open && progress == Progress::More)
            progress = outcome.open->produce(outcome.bytes, 65536);
        if (progress == Progress::Done)
            outcome.open.reset();
        closed = outcome.close;
        last = std::move(outcome);
        return last.bytes;
    }

    wire::Response ask(const std::string &op, const std::string &controls = {}) {
        return wire::parse(raw(wire::message(1, op, controls)));
    }

    int code(const std::string &op) { return ask(op).code; }

    wire::Response extended(int number, const std::string &value) {
        return ask(wire::extended(wire::strataOid(number), &value));
    }
    wire::Response extended(int number) { return ask(wire::extended(wire::strataOid(number))); }

    void bindAs(const char *dn, const char *password = "changeme") {
        ask(wire::bind(dn, password));
    }
    void bindAdmin() { bindAs(kAdmin, "secret"); }

    std::int64_t time = 1000000;
    stratasim::Faults faults;
    stratasim::Directory directory{{}, [this] { return time; }};
    stratasim::Dispatcher dispatcher{directory, faults};
    stratasim::Connection connection;
    stratasim::Identity &identity = connection.identity;
    bool closed = false;
    stratasim::Outcome last;
};
