/*
 * sasl_neighbour URI USER PASSWORD [LIBRARY...] - binds by DIGEST-MD5 with libldap's own, which is
 * cyrus-sasl's plug-in, and with this library's, in turns, and prints the results. The libraries
 * are loaded first, for everybody to find their names; without any, those that the program is
 * linked with serve.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <ldap.h>
#include <sasl/sasl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef struct {
    int (*initialize)(LDAP **, const char *);
    int (*set_option)(LDAP *, int, const void *);
    int (*bind_interactively)(LDAP *, const char *, const char *, LDAPControl **, LDAPControl **,
                              unsigned, LDAP_SASL_INTERACT_PROC *, void *);
    int (*unbind)(LDAP *, LDAPControl **, LDAPControl **);
    int (*start)(LDAP *, void **);
    int (*finish)(void **, const char *, const char *, int, int, int);
} interface;

typedef struct {
    const char *uri, *user, *password;
} account;

static void find(const char *name, void *function, size_t size) {
    void *address = dlsym(RTLD_DEFAULT, name);
    if (address == NULL) {
        fprintf(stderr, "%s is not there\n", name);
        exit(2);
    }
    memcpy(function, &address, size);
}

static interface find_all(void) {
    interface all;
    find("ldap_initialize", &all.initialize, sizeof all.initialize);
    find("ldap_set_option", &all.set_option, sizeof all.set_option);
    find("ldap_sasl_interactive_bind_s", &all.bind_interactively, sizeof all.bind_interactively);
    find("ldap_unbind_ext_s", &all.unbind, sizeof all.unbind);
    find("ldap_bind_digest_md5_start", &all.start, sizeof all.start);
    find("ldap_bind_digest_md5_finish", &all.finish, sizeof all.finish);
    return all;
}

static int answer(LDAP *ld, unsigned flags, void *defaults, void *questions) {
    const account *someone = defaults;
    sasl_interact_t *question = questions;
    (void)ld, (void)flags;
    for (; question->id != SASL_CB_LIST_END; question++) {
        const char *text = question->defresult ? question->defresult : "";
        if (question->id == SASL_CB_AUTHNAME)
            text = someone->user;
        if (question->id == SASL_CB_PASS)
            text = someone->password;
        question->result = text;
        question->len = (unsigned)strlen(text);
    }
    return LDAP_SUCCESS;
}

/* Of the sanitizer, where the program is built with one. */
__attribute__((weak)) void __lsan_disable(void);
__attribute__((weak)) void __lsan_enable(void);

/* The plug-in loses what libcrypto has allocated for its ciphers. */
static int bind_by_libldap(const interface *all, LDAP *ld, account *someone) {
    int result;
    if (__lsan_disable)
        __lsan_disable();
    result = all->bind_interactively(ld, NULL, "DIGEST-MD5", NULL, NULL, LDAP_SASL_QUIET, answer,
                                     someone);
    if (__lsan_enable)
        __lsan_enable();
    return result;
}

static int bind_by_qldapx(const interface *all, LDAP *ld, account *someone) {
    void *context = NULL;
    int result = all->start(ld, &context);
    return result ? result : all->finish(&context, someone->user, someone->password, -1, 0, 1);
}

typedef int bind_function(const interface *, LDAP *, account *);

static void report(const interface *all, const char *who, bind_function *bind, account *someone) {
    LDAP *ld = NULL;
    int version = LDAP_VERSION3;
    if (all->initialize(&ld, someone->uri) != LDAP_SUCCESS)
        exit(2);
    all->set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    printf("%s %d\n", who, bind(all, ld, someone));
    all->unbind(ld, NULL, NULL);
}

int main(int argc, char **argv) {
    account someone;
    interface all;
    int i;
    if (argc < 4)
        return 2;
    someone.uri = argv[1], someone.user = argv[2], someone.password = argv[3];
    for (i = 4; i < argc; i++)
        if (dlopen(argv[i], RTLD_NOW | RTLD_GLOBAL) == NULL) {
            fprintf(stderr, "%s\n", dlerror());
            return 2;
        }
    all = find_all();
    for (i = 0; i < 2; i++) {
        report(&all, "libldap", bind_by_libldap, &someone);
        report(&all, "libqldapx", bind_by_qldapx, &someone);
    }
    return 0;
}
