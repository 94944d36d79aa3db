// request_case.h - tables of calls with the request that each sends, or sends not.
#pragma once

#include "support/case_name.h"
#include "support/ldap_message.h"
#include "support/scripted_peer.h"

#include <qldapx.h>

namespace qldapx_test {

// All operations have their OIDs under one arc.
std::string operationOid(int number);
// An answer of success under the OID with that number.
ScriptedPeer::Step success(int number, const std::optional<Bytes> &value = std::nullopt);

// The library's interface takes char * for strings that it only reads.
inline char *arg(const char *text) {
    return const_cast<char *>(text);
}

// A row of a table: a call in the session ld.
#define CALL(expression) [](LDAP *ld) { return expression; }

struct RequestCase {
    const char *name;
    // The last number of the request's OID.
    int operation;
    // The request value in hexadecimal; nullptr: none is sent.
    const char *value;
    int (*call)(LDAP *ld);
};

// The request compared whole; the answer is an error, so that outputs do not matter.
class RequestTest : public testing::TestWithParam<RequestCase> {};

struct SilentCase {
    const char *name;
    int result;
    int (*call)(LDAP *ld);
};

// The call fails by itself: the peer sees no byte, the session's result code stays.
class SilentTest : public testing::TestWithParam<SilentCase> {};

std::ostream &operator<<(std::ostream &stream, const RequestCase &row);
std::ostream &operator<<(std::ostream &stream, const SilentCase &row);

} // namespace qldapx_test
