#pragma once

#include <qldapx.hpp>

namespace qldapx {

/** The session's result code, of an operation that failed. */
inline int failureCode(LDAP *ld) {
    int code = LDAP_SUCCESS;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
    return code == LDAP_SUCCESS ? LDAP_LOCAL_ERROR : code;
}

} // namespace qldapx
