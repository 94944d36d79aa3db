#pragma once

#include <qldapx.hpp>

namespace qldapx {

/** Tells the server that no more answers are wanted. */
inline void abandon(LDAP *ld, int id) {
    // No control of the request belongs to the abandon.
    LDAPControl *none = nullptr;
    ldap_abandon_ext(ld, id, &none, nullptr);
}

/** The session's result code, of an operation that failed. */
inline int failureCode(LDAP *ld) {
    int code = LDAP_SUCCESS;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
    return code == LDAP_SUCCESS ? LDAP_LOCAL_ERROR : code;
}

} // namespace qldapx
