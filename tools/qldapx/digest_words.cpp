#include "digest_words.h"

#include <algorithm>
#include <array>
#include <ldap.h>
#include <qldapx.h>
#include <span>

namespace qldapx {
namespace {

constexpr int anyCode = -1000;
// No code of the interface's for what only its comments name.
constexpr int tooLittleEntropy = 100;

/** `sessionCode` tells the server's refusal from the library's where both have the same code. */
struct Row {
    int code, sessionCode;
    const char *reason;
    const char *hint;
    const char *name = "";
};

constexpr const char *badChallenge = "Bad challenge";
constexpr const char *strangeChallenge =
    "the server, or what is between, does not follow RFC 2831: bind with -D and a password, and "
    "encrypt the connection (-ZZ)";
constexpr const char *impostor =
    "do not trust it: check -H, and encrypt the connection (-ZZ, or -H ldaps://...)";

constexpr std::array challengeRows = {
    Row{LDAP_AUTH_METHOD_NOT_SUPPORTED, anyCode, "the server does not know DIGEST-MD5",
        "bind with -D and a password, and encrypt the connection (-ZZ); what the server knows: "
        "qldapx search -b '' -s base supportedSASLMechanisms"},
    Row{LDAP_PROTOCOL_ERROR, LDAP_SUCCESS,
        "the server is content without a proof of the password: it sent no challenge", impostor},
    Row{LDAP_PROTOCOL_ERROR, LDAP_SASL_BIND_IN_PROGRESS,
        "the server's challenge is none as RFC 2831 has it", strangeChallenge},
    Row{QLDAPX_DIGEST_BAD_MAXBUF, anyCode, "maxbuf of the server's challenge is no number above 0",
        strangeChallenge, badChallenge},
    Row{QLDAPX_DIGEST_TWICE, anyCode, "the server's challenge says twice what it may say only once",
        strangeChallenge, badChallenge},
    Row{QLDAPX_DIGEST_BAD_ALGORITHM, anyCode, "algorithm of the server's challenge is not md5-sess",
        strangeChallenge, badChallenge},
    Row{QLDAPX_DIGEST_BAD_CHARSET, anyCode, "charset of the server's challenge is not utf-8",
        strangeChallenge, badChallenge},
    Row{QLDAPX_DIGEST_BAD_STALE, anyCode, "stale of the server's challenge is not true",
        strangeChallenge, badChallenge},
    Row{QLDAPX_DIGEST_NO_AUTH, anyCode,
        "the server offers no authentication alone: its challenge's qop has no auth",
        strangeChallenge, badChallenge},
    Row{QLDAPX_DIGEST_NO_CIPHER, anyCode,
        "the server's challenge offers encryption without a cipher that is known", strangeChallenge,
        badChallenge},
    Row{QLDAPX_DIGEST_NO_NONCE, anyCode, "the server's challenge has no nonce", strangeChallenge,
        badChallenge},
    Row{QLDAPX_DIGEST_STALE, anyCode, "the server says that the exchange took too long",
        "try again", "Stale challenge"},
    Row{QLDAPX_DIGEST_NO_ALGORITHM, anyCode, "the server's challenge has no algorithm",
        strangeChallenge, badChallenge},
    Row{QLDAPX_DIGEST_NO_COMMA, anyCode,
        "a comma is missing in qop or cipher of the server's challenge", strangeChallenge,
        badChallenge},
    Row{QLDAPX_DIGEST_TRAILING_COMMA, anyCode,
        "qop or cipher of the server's challenge ends with a comma", strangeChallenge,
        badChallenge},
    Row{QLDAPX_DIGEST_BAD_TOKEN, anyCode,
        "qop or cipher of the server's challenge has a character that may not be there",
        strangeChallenge, badChallenge},
};

constexpr std::array proofRows = {
    Row{LDAP_INVALID_CREDENTIALS, LDAP_SUCCESS,
        "the server did not prove that it knows the password; it may be an impostor", impostor},
    Row{LDAP_INVALID_CREDENTIALS, anyCode, "",
        "check the user (-U), the password (-W, -y or -w) and the realm (-R); the server must have "
        "the password in clear text for DIGEST-MD5"},
    Row{LDAP_PROTOCOL_ERROR, LDAP_SUCCESS,
        "the server answered success without proving that it knows the password; it may be an "
        "impostor",
        impostor},
    Row{LDAP_PROTOCOL_ERROR, anyCode, "",
        "the server did not understand the answer to its challenge: its log may say more"},
    Row{LDAP_SASL_BIND_IN_PROGRESS, anyCode, "the server wants more than DIGEST-MD5 has",
        strangeChallenge},
    Row{LDAP_OTHER, anyCode, "",
        "see the server's log; some servers answer so when there is no such user (-U)"},
    Row{LDAP_SERVER_DOWN, anyCode, "the server ended the connection during the bind",
        "see the server's log"},
    Row{LDAP_PARAM_ERROR, anyCode, "the answer to the challenge would be longer than 4096 bytes",
        "the user's name (-U), or what the server sent, is too long"},
    Row{tooLittleEntropy, anyCode, "there is too little randomness for the bind", "try again later",
        "Too little entropy"},
};

Words explainBy(std::span<const Row> rows, const Outcome &outcome) {
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const Row &each) {
        return each.code == outcome.code &&
               (each.sessionCode == anyCode || each.sessionCode == outcome.sessionCode);
    });
    return row == rows.end() ? explain(outcome) : Words{row->reason, row->hint, row->name};
}

} // namespace

Words explainChallenge(const Outcome &outcome) {
    return explainBy(challengeRows, outcome);
}

Words explainProof(const Outcome &outcome) {
    return explainBy(proofRows, outcome);
}

} // namespace qldapx
