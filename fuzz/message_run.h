// message_run.h - runs of parsers on a message that libldap has received.
#pragma once

#include "peered_session.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace qldapx_fuzz {

// What the contract lets a parser lose.
using Texts = std::vector<std::string>;

// Receives the operation and has it parsed, under a HeapWatch. An operation that libldap refuses is
// not parsed.
void withMessage(const Bytes &operation, Texts (*parse)(LDAP *ld, MessagePtr message));

// Whether libldap's own parser of an answer would end the process over it.
bool hasEmptyName(const Bytes &operation);

// Ends the process unless the session remembers that result.
void requireStored(LDAP *ld, int result);
// The message may be one of another operation.
void requireOneOf(std::initializer_list<int> expected, int result);

} // namespace qldapx_fuzz
