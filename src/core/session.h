// session.h - the result code that a session remembers (LDAP_OPT_RESULT_CODE).
#pragma once

#include <ldap.h>

namespace qldapx {

inline int storeResult(LDAP *ld, int result) {
    ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &result);
    return result;
}

inline int storedResult(LDAP *ld) {
    int result = LDAP_LOCAL_ERROR;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &result);
    return result;
}

} // namespace qldapx
