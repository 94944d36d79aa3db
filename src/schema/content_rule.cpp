// content_rule.cpp - DIT content rules under the names that go with the other kinds'.
#include "qldapx/schema_description.h"

QLDAPX_API LDAPContentRule *ldap_str2ditcontentrule(const char *text, int *code,
                                                    const char **errorAt, unsigned flags) {
    return ldap_str2contentrule(text, code, errorAt, flags);
}

QLDAPX_API char *ldap_ditcontentrule2str(LDAPContentRule *rule) {
    return ldap_contentrule2str(rule);
}

QLDAPX_API void ldap_ditcontentrule_free(LDAPContentRule *rule) {
    ldap_contentrule_free(rule);
}
