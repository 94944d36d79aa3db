/*
 * A program that uses the two functions whose names libldap has, too. Built with either order of
 * headers and of libraries, as C and as C++: each must get this library's function, which takes
 * other arguments and, unlike libldap's, change types above 15 and no change number under the
 * universal tag.
 */
#ifdef LDAP_H_FIRST
#include <ldap.h>
#include <qldapx.h>
#else
#include <qldapx.h>

#include <ldap.h>
#endif
#include <stdio.h>
#include <string.h>

static int faults = 0;

static void expect(int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "not so: %s\n", what);
        faults++;
    }
}

/* Pointers of exactly the interface's types. */
static int (*const create)(LDAP *, int, int, int, char,
                           LDAPControl **) = ldap_create_persistentsearch_control;
static int (*const parse)(LDAP *, LDAPControl **, int *, char **, int *,
                          int *) = ldap_parse_entrychange_control;

static void create_one(LDAP *ld) {
    LDAPControl *control = NULL;
    int result = ldap_create_persistentsearch_control(ld, 128, 1, 1, 1, &control);
    expect(result == LDAP_SUCCESS, "change type 128 is taken");
    expect(control && control->ldctl_value.bv_len == 12, "it is sent in two bytes");
    ldap_control_free(control);
}

static void parse_one(LDAP *ld) {
    char oid[] = "2.16.840.1.113730.3.4.7", value[] = "\x30\x06\x0a\x01\x01\x02\x01\x05";
    LDAPControl control = {oid, {8, value}, 0};
    LDAPControl *list[] = {&control, NULL};
    char *previous = oid;
    int type = 0, present = 7, number = 7;
    expect(ldap_parse_entrychange_control(ld, list, &type, &previous, &present, &number) ==
               LDAP_SUCCESS,
           "the control is found in the list");
    expect(type == 1 && previous == NULL && present == 0 && number == 7,
           "an INTEGER is no change number");
}

int main(void) {
    LDAP *ld = NULL;
    if (ldap_initialize(&ld, NULL) != LDAP_SUCCESS)
        return 2;
    create_one(ld);
    parse_one(ld);
    expect(create(NULL, 1, 1, 1, 1, NULL) == LDAP_PARAM_ERROR &&
               parse(NULL, NULL, NULL, NULL, NULL, NULL) == LDAP_PARAM_ERROR,
           "pointers call the same");
    ldap_unbind_ext_s(ld, NULL, NULL);
    return faults != 0;
}
