#include "qldapx/legacy.h"

extern "C" {

int ldap_bind_quill_s(LDAP *, const char *, const char *) {
    return LDAP_NOT_SUPPORTED;
}

int ldap_bind_quill_ex_s(LDAP *, const char *, const char *, const char *) {
    return LDAP_NOT_SUPPORTED;
}

int ldap_quill_get_errcode(LDAP *, int *) {
    return LDAP_NOT_SUPPORTED;
}
}
