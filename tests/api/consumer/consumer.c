/* What another project does with the library: include, link, call both libraries. */
#include <qldapx.h>
#include <stdio.h>

int main(void) {
    LDAP *ld = NULL;
    int result = ldap_initialize(&ld, "ldap://127.0.0.1:1");
    int version = LDAP_VERSION3;
    if (result != LDAP_SUCCESS)
        return 1;
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    result = ldap_refresh_server(ld);
    printf("qldapx %s: %s\n", QLDAPX_VERSION, ldap_err2string(result));
    ldap_unbind_ext_s(ld, NULL, NULL);
    return result == LDAP_SERVER_DOWN ? 0 : 1;
}
