// operations.h - every administrative operation once, with the bytes that it exchanges.
#pragma once

#include "support/ldap_message.h"

#include <iosfwd>
#include <qldapx.h>
#include <span>

namespace qldapx_test {

// Where a call stores what it returns; every member starts with a value no call stores.
struct Outputs {
    Outputs();
    ~Outputs();
    Outputs(const Outputs &) = delete;
    Outputs &operator=(const Outputs &) = delete;

    // What was stored, "" for nothing. Strings and lists only where the operation succeeded.
    [[nodiscard]] std::string describe(int result) const;

    int number;
    char *text;
    char **list;
    ReplicaInfo info;
    int privileges[16];
    int written;
};

struct OperationCase {
    // The function's name and, where one function has several rows, what is particular.
    const char *name;
    const char *requestOid;
    const char *responseOid;
    // The request value in hexadecimal; nullptr: none is sent.
    const char *requestValue;
    int (*call)(LDAP *ld, Outputs &out);
    // A response value in hexadecimal and what must be read from it; nullptr: none is decoded.
    const char *responseValue = nullptr;
    const char *output = "";
    // The result for a response value that does not decode.
    int malformed = LDAP_ENCODING_ERROR;
    bool acceptsAnyOid = false;

    [[nodiscard]] bool decodes() const { return responseValue != nullptr; }
    // The request as the session's first message.
    [[nodiscard]] Bytes request() const;
    // The answer of a server for which all went well.
    [[nodiscard]] Bytes response() const;
    [[nodiscard]] Bytes responseWith(const Bytes &value) const;
};

std::span<const OperationCase> allOperations();
std::ostream &operator<<(std::ostream &stream, const OperationCase &operation);

} // namespace qldapx_test
