#pragma once

#include <ldap.h>
#include <string>

namespace qldapx {

/** A result code and what is known about how it came about. */
struct Outcome {
    int code;
    int sessionCode; // what the session remembers
    bool opening;    // the session was not yet bound: nothing was asked for
    std::string uri;
    int timeout; // seconds

    /** The server answered success: the refusal is the library's. */
    [[nodiscard]] bool answered() const { return sessionCode == LDAP_SUCCESS; }
};

/** What a result code means, where its name says too little, and what to try. */
struct Words {
    std::string reason;
    std::string hint;
    std::string name = {}; // of a code that is not libldap's
};

Words explain(const Outcome &outcome);
/** The same for a bind with EXTERNAL. */
Words explainExternal(const Outcome &outcome);

} // namespace qldapx
