// session.h - LDAP sessions over TLS, and how they go.
#pragma once

#include "support/expected_leak.h"

#include <ldap.h>
#include <memory>
#include <qldapx.h>
#include <string>

namespace test {

struct Unbind {
    void operator()(LDAP *ld) const { ldap_unbind_ext_s(ld, nullptr, nullptr); }
};
using Session = std::unique_ptr<LDAP, Unbind>;

template <class Value>
void setOption(const Session &session, int option, Value value) {
    ldap_set_option(session.get(), option, &value);
}

inline std::string textOption(const Session &session, int option) {
    char *text = nullptr;
    ldap_get_option(session.get(), option, &text);
    std::string result = text != nullptr ? text : "";
    ldap_memfree(text);
    return result;
}

inline std::string diagnosis(const Session &session) {
    return textOption(session, LDAP_OPT_DIAGNOSTIC_MESSAGE);
}

// Waits for 10 s, so that a test ends.
inline Session openSession(int port, const char *host = "127.0.0.1", bool isSecure = true) {
    const qldapx_test::ExpectedLeak textOfTheUrl;
    Session session(ldapssl_init(host, port, isSecure ? 1 : 0));
    setOption(session, LDAP_OPT_PROTOCOL_VERSION, LDAP_VERSION3);
    setOption(session, LDAP_OPT_NETWORK_TIMEOUT, timeval{10, 0});
    setOption(session, LDAP_OPT_TIMEOUT, timeval{10, 0});
    return session;
}

inline int bindAnonymously(const Session &session) {
    berval none = {0, nullptr};
    return ldap_sasl_bind_s(session.get(), nullptr, LDAP_SASL_SIMPLE, &none, nullptr, nullptr,
                            nullptr);
}

// Connects, binds and unbinds.
inline int tryServer(int port, const char *host = "127.0.0.1") {
    return bindAnonymously(openSession(port, host));
}

} // namespace test
