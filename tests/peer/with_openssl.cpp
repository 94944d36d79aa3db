// with_openssl PROGRAM ARGUMENT... - runs the program if the libldap that is loaded here, and so
// there, is built with OpenSSL; fails otherwise.
#include <cstdio>
#include <cstring>
#include <ldap.h>
#include <unistd.h>

int main(int argc, char **argv) {
    if (argc < 2) {
        std::fprintf(stderr, "Usage: %s PROGRAM ARGUMENT...\n", argv[0]);
        return 2;
    }
    char *package = nullptr;
    ldap_get_option(nullptr, LDAP_OPT_X_TLS_PACKAGE, &package);
    if (package == nullptr || std::strcmp(package, "OpenSSL") != 0) {
        std::fprintf(stderr, "The libldap that is loaded is built with %s, not with OpenSSL.\n",
                     package != nullptr ? package : "no TLS");
        return 1;
    }
    ldap_memfree(package);
    execv(argv[1], argv + 1);
    std::perror(argv[1]);
    return 1;
}
