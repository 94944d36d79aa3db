/*
 * The same for the data, and for the functions that libldap's header declares.
 */
#include <qldapx.h>

int data_interface_is_right(void);

static pthread_mutex_t *const sync = &g_Sync;
static pthread_mutex_t (*const locks)[41] = &g_Locks;
static int32_t *const numbers[] = {&g_SSLReg, &g_MaxSockets};
static struct ssl_ctx_st **const context = &g_CryptCtx;
static int (**const callback)(struct x509_store_ctx_st *) = &g_pCertCallback;
static unsigned char **const scratch = &randbuf;
static void **const unused[] = {&g_pCertAlertCB, &g_pSockets};

#define FORWARDED(Record, read, text, release)                                                     \
    static Record *(*const Record##_read)(const char *, int *, const char **, const unsigned) =    \
        read;                                                                                      \
    static char *(*const Record##_text)(Record *) = text;                                          \
    static void (*const Record##_free)(Record *) = release

FORWARDED(LDAPAttributeType, ldap_str2attributetype, ldap_attributetype2str,
          ldap_attributetype_free);
FORWARDED(LDAPObjectClass, ldap_str2objectclass, ldap_objectclass2str, ldap_objectclass_free);
FORWARDED(LDAPSyntax, ldap_str2syntax, ldap_syntax2str, ldap_syntax_free);
FORWARDED(LDAPMatchingRule, ldap_str2matchingrule, ldap_matchingrule2str, ldap_matchingrule_free);
FORWARDED(LDAPMatchingRuleUse, ldap_str2matchingruleuse, ldap_matchingruleuse2str,
          ldap_matchingruleuse_free);
FORWARDED(LDAPNameForm, ldap_str2nameform, ldap_nameform2str, ldap_nameform_free);

#define IS_THERE(Record) (Record##_read && Record##_text && Record##_free)

int data_interface_is_right(void) {
    return sync && locks && numbers[0] && numbers[1] && context && callback && scratch &&
           unused[0] && unused[1] && IS_THERE(LDAPAttributeType) && IS_THERE(LDAPObjectClass) &&
           IS_THERE(LDAPSyntax) && IS_THERE(LDAPMatchingRule) && IS_THERE(LDAPMatchingRuleUse) &&
           IS_THERE(LDAPNameForm);
}
