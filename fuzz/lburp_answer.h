// lburp_answer.h - what an answer to a bulk update's requests says, read a second time and with
// libldap alone: what its parsers have to give.
#pragma once

#include "message_run.h"

#include <optional>

namespace qldapx_fuzz {

struct Failure {
    int number = 0;
    int code = 0;
    std::string message;
};

struct LburpAnswer {
    explicit LburpAnswer(LDAP *ld, LDAPMessage *message);

    // The result of a parser that has no use for the value.
    [[nodiscard]] int resultUnder(const char *oid) const;

    // Of libldap's own parsers; if they fail the rest means nothing.
    int parsed = LDAP_SUCCESS;
    int code = 0;
    // None: it is empty.
    std::optional<std::string> message;
    std::optional<std::string> oid;
    std::optional<Bytes> value;
};

// The transaction size; none: the value does not decode.
std::optional<int> transactionSizeIn(const Bytes &value);

struct FailureList {
    bool decodes = false;
    // Those before what does not decode.
    std::vector<Failure> failures;
};
FailureList failuresIn(const Bytes &value);

} // namespace qldapx_fuzz
