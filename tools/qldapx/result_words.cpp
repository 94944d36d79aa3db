#include "result_words.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <ldap.h>

namespace qldapx {
namespace {

struct Row {
    int code;
    const char *reason;
    const char *hint;
};

constexpr const char *strangeAnswer =
    "is it a Strata server, and does nothing between change its answers? "
    "The operation may have been carried out: look before you repeat it";

constexpr std::array rows = {
    Row{LDAP_PROTOCOL_ERROR, "", "the server may not know this operation: is it a Strata server?"},
    Row{LDAP_TIMELIMIT_EXCEEDED, "", "try again when the server has less to do"},
    Row{LDAP_SIZELIMIT_EXCEEDED, "there are more entries than -z or the server allows",
        "ask for more with -z, or for less with the filter"},
    Row{LDAP_STRONG_AUTH_REQUIRED, "", "encrypt the connection (-ZZ, or -H ldaps://...), and bind"},
    Row{LDAP_REFERRAL, "another server is in charge", "name that server with -H"},
    Row{LDAP_UNAVAILABLE_CRITICAL_EXTENSION,
        "the server does not take a control that the command needs, or not with this operation",
        "it says what it knows: qldapx search -b '' -s base supportedControl; --as needs "
        "2.16.840.1.113730.3.4.18"},
    Row{LDAP_CONFIDENTIALITY_REQUIRED, "", "encrypt the connection: -ZZ, or -H ldaps://..."},
    Row{LDAP_NO_SUCH_OBJECT, "", "check the DN; the matched DN, if any, is the part that exists"},
    Row{LDAP_INVALID_DN_SYNTAX, "", "write a DN as in ou=people,dc=example,dc=com"},
    Row{LDAP_INAPPROPRIATE_AUTH, "", "give both -D and a password"},
    Row{LDAP_INVALID_CREDENTIALS, "", "check the DN (-D) and the password (-W, -y or -w)"},
    Row{LDAP_INSUFFICIENT_ACCESS, "",
        "bind with -D as someone who has the right, or act as one with --as"},
    Row{LDAP_BUSY, "", "try again later"},
    Row{LDAP_UNAVAILABLE, "", "try again later"},
    Row{LDAP_UNWILLING_TO_PERFORM, "", "see what the server says; its log may say more"},
    Row{LDAP_ALREADY_EXISTS, "", "it is there already: nothing needs to be done"},
    Row{LDAP_OTHER, "", "see the server's log"},
    Row{LDAP_PROXIED_AUTHORIZATION_DENIED, "the server does not let you act as that identity",
        "check the DN of --as and who you are (-D); some servers want it as --as dn:DN"},
    Row{LDAP_CONTROL_NOT_FOUND, "the server answered without what was asked for",
        "does it know the control? qldapx search -b '' -s base supportedControl"},
    Row{LDAP_ENCODING_ERROR, "the answer's value could not be understood", strangeAnswer},
    Row{LDAP_DECODING_ERROR, "the answer could not be understood", strangeAnswer},
    Row{LDAP_PARAM_ERROR, "the library takes no such argument; nothing was sent",
        "see --help of the command"},
    Row{LDAP_NO_MEMORY, "memory ran out here, not on the server", "free some memory"},
    Row{LDAP_CONNECT_ERROR, "the connection could not be encrypted",
        "if its certificate is not trusted: --cacert FILE with the CA's certificate"},
};

Words serverDown(const Outcome &outcome) {
    if (outcome.opening)
        return {fmt::format("no connection to {}", outcome.uri),
                "is the server running there? Name another with -H"};
    return {fmt::format("{} ended the connection before it answered", outcome.uri),
            "the operation may have been carried out: look before you repeat it"};
}

Words timedOut(const Outcome &outcome) {
    const std::string reason = fmt::format("no answer from {} within {} second{}", outcome.uri,
                                           outcome.timeout, outcome.timeout == 1 ? "" : "s");
    if (outcome.opening)
        return {reason, "check -H, or wait longer with --timeout SECONDS"};
    return {reason, "wait longer with --timeout SECONDS; the server may still carry it out: "
                    "look before you repeat it"};
}

} // namespace

Words explainExternal(const Outcome &outcome) {
    if (outcome.code <= 0 || outcome.code == LDAP_BUSY || outcome.code == LDAP_UNAVAILABLE)
        return explain(outcome);
    return {"the server does not know who the client is by its certificate",
            "give one that the server knows: --cert and --key, or --p12, with ldaps:// or -ZZ; is "
            "EXTERNAL known there? qldapx search -b '' -s base supportedSASLMechanisms"};
}

Words explain(const Outcome &outcome) {
    switch (outcome.code) {
    case LDAP_SERVER_DOWN:
        return serverDown(outcome);
    case LDAP_TIMEOUT:
        return timedOut(outcome);
    case LDAP_OPERATIONS_ERROR:
        if (outcome.answered())
            return {"the server answered success, but without the value asked for", strangeAnswer};
        return {"", "see the server's log"};
    case LDAP_NOT_SUPPORTED:
        if (!outcome.answered())
            return {"no answer came that names this operation: the connection may have ended, the "
                    "time be over, or the server may not know the operation",
                    strangeAnswer};
        return {"the server answered success, but with no response OID or another operation's",
                strangeAnswer};
    default:
        break;
    }
    const auto row = std::find_if(rows.begin(), rows.end(),
                                  [&](const Row &each) { return each.code == outcome.code; });
    return row == rows.end() ? Words{} : Words{row->reason, row->hint};
}

} // namespace qldapx
