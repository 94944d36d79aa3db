// forward.cpp - libldap's schema-description functions, exported under their own names too.
//
// Each definition calls its namesake in libldap. A plain call would reach this definition
// again, so the reference carries libldap's symbol version, which the build reads off the
// installed libldap.
#include "qldapx/export.h"

#define QUOTE_(text) #text
#define QUOTE(text) QUOTE_(text)
#define LIBLDAP_NAME(name)                                                                         \
    __asm__(".symver libldap_" #name "," #name "@" QUOTE(LIBLDAP_SYMBOL_VERSION))

// NOLINTBEGIN(bugprone-macro-parentheses): the arguments are a part of a name and a type.
#define FORWARD(name, Record)                                                                      \
    extern "C" {                                                                                   \
    Record *libldap_ldap_str2##name(const char *text, int *code, const char **errorAt,             \
                                    unsigned flags);                                               \
    char *libldap_ldap_##name##2str(Record * record);                                              \
    void libldap_ldap_##name##_free(Record *record);                                               \
    LIBLDAP_NAME(ldap_str2##name);                                                                 \
    LIBLDAP_NAME(ldap_##name##2str);                                                               \
    LIBLDAP_NAME(ldap_##name##_free);                                                              \
    QLDAPX_API Record *ldap_str2##name(const char *text, int *code, const char **errorAt,          \
                                       unsigned flags) {                                           \
        return libldap_ldap_str2##name(text, code, errorAt, flags);                                \
    }                                                                                              \
    QLDAPX_API char *ldap_##name##2str(Record * record) {                                          \
        return libldap_ldap_##name##2str(record);                                                  \
    }                                                                                              \
    QLDAPX_API void ldap_##name##_free(Record *record) {                                           \
        libldap_ldap_##name##_free(record);                                                        \
    }                                                                                              \
    }
// NOLINTEND(bugprone-macro-parentheses)

FORWARD(attributetype, LDAPAttributeType)
FORWARD(objectclass, LDAPObjectClass)
FORWARD(syntax, LDAPSyntax)
FORWARD(matchingrule, LDAPMatchingRule)
FORWARD(matchingruleuse, LDAPMatchingRuleUse)
FORWARD(nameform, LDAPNameForm)
