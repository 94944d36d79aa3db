// session_check.h - a session with a server that refuses what it is asked.
#pragma once

#include "persistent_search.h"

#include <string>

namespace test {

// The answer to an extended request.
MessagePtr answerTo(LDAP *ld, int id);

// Expects that the session finds the entry.
void expectSearchWorks(LDAP *ld, const std::string &base);

} // namespace test
