// TLS sessions with a server that says something else than its part of a handshake.
#include "hostile/call.h"
#include "hostile/network.h"

#include "support/expected_leak.h"
#include "support/ldap_message.h"

#include <qldapx.h>

namespace hostile {

namespace {

using namespace qldapx_test;

Bytes record(char type, const Bytes &content) {
    return Bytes{type, '\x03', '\x03', static_cast<char>(content.size() >> 8),
                 static_cast<char>(content.size())} +
           content;
}

Bytes handshake(char type, const Bytes &content) {
    return Bytes{type, '\0', static_cast<char>(content.size() >> 8),
                 static_cast<char>(content.size())} +
           content;
}

// ServerHello of TLS 1.2 with ECDHE-RSA-AES128-GCM-SHA256, of 1.3 with a key share of zeros.
Bytes serverHello(bool isNew) {
    const Bytes extensions =
        isNew ? fromHex("00 2e 00 2b 00 02 03 04 00 33 00 24 00 1d 00 20") + Bytes(32, '\1')
              : fromHex("00 00");
    return handshake('\2', fromHex("03 03") + Bytes(32, 'r') + fromHex("00") +
                               fromHex(isNew ? "13 01 00" : "c0 2f 00") + extensions);
}

Bytes opening(Random &random) {
    switch (random.below(6)) {
    case 0:
        return record('\x16', serverHello(false)) +
               record('\x16', handshake('\x0b', fromHex("00 00 06 00 00 03 30 01 00"))) +
               record('\x16', handshake('\x0e', ""));
    case 1:
        return record('\x16', serverHello(true)) + record('\x17', Bytes(40, 'x'));
    case 2:
        return record('\x15', fromHex("02 28"));
    case 3:
        return "HTTP/1.1 400 Bad Request\r\n\r\n";
    case 4:
        return ldapMessage(1, extendedResponse(0, std::nullopt, std::nullopt));
    default:
        return record('\x16', serverHello(false).substr(0, 20));
    }
}

LDAP *open() {
    const ExpectedLeak textOfTheUrl;
    LDAP *ld = ldapssl_init("127.0.0.1", 636, 1);
    require(ld != nullptr, "No session.");
    const int version = LDAP_VERSION3;
    const timeval soon{0, 200000};
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(ld, LDAP_OPT_NETWORK_TIMEOUT, &soon);
    ldap_set_option(ld, LDAP_OPT_TIMEOUT, &soon);
    return ld;
}

// The heap is OpenSSL's: the leak check at the end of the process sees what is lost.
int run(Call &call) {
    const qldapx_fuzz::Unwatched pause;
    static const bool isReady = ldapssl_client_init(nullptr) == 0;
    require(isReady, "No TLS.");
    Bytes said = opening(call.random);
    while (call.random.percent(60))
        damageBytes(said, call.random);
    expectConnection(said);
    LDAP *ld = open();
    berval none = {0, nullptr};
    const int result =
        ldap_sasl_bind_s(ld, nullptr, LDAP_SASL_SIMPLE, &none, nullptr, nullptr, nullptr);
    require(wasConnected(), "Nobody connected.");
    require(result != LDAP_SUCCESS, "A session over a handshake that never was.");
    ldap_unbind_ext(ld, nullptr, nullptr);
    return result;
}

} // namespace

void addTls(std::vector<Operation> &all) {
    all.push_back({"ldapssl_init and a handshake", 2, 0, run});
}

} // namespace hostile
