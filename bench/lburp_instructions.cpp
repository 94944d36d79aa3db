// lburp_instructions strings|binary library|hand N - encodes an add operation of ten attributes N
// times, for callgrind to count instructions of: by the library, or by libldap's own builder of an
// add request.
#include "ten_attributes.h"

#include <cstdio>
#include <cstdlib>
#include <qldapx.h>

// libldap exports it for its own tools; no header declares it.
extern "C" BerElement *ldap_build_add_req(LDAP *ld, const char *dn, LDAPMod **attributes,
                                          LDAPControl **serverControls,
                                          LDAPControl **clientControls, ber_int_t *msgid);

namespace {

char dn[] = "uid=anna,ou=people,dc=example,dc=com";

BerElement *encode(LDAP *, LDAPMod **attributes) {
    BerElement *ber = ber_alloc_t(0);
    return LBURPEncodeAdd(nullptr, dn, attributes, nullptr, ber) == LDAP_SUCCESS ? ber : nullptr;
}

BerElement *encodeByLibldap(LDAP *ld, LDAPMod **attributes) {
    ber_int_t id = 0;
    return ldap_build_add_req(ld, dn, attributes, nullptr, nullptr, &id);
}

} // namespace

int main(int argc, char **argv) {
    LDAP *ld = nullptr;
    int version = LDAP_VERSION3;
    if (argc != 4 || ldap_initialize(&ld, nullptr) != LDAP_SUCCESS) {
        std::fprintf(stderr, "usage: %s strings|binary library|hand N\n", argv[0]);
        return 2;
    }
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    bench::TenAttributes attributes(std::strcmp(argv[1], "binary") == 0);
    auto *build = std::strcmp(argv[2], "library") == 0 ? encode : encodeByLibldap;
    for (int round = std::atoi(argv[3]); round > 0; --round) {
        BerElement *ber = build(ld, attributes.list());
        if (ber == nullptr)
            return 1;
        ber_free(ber, 1);
    }
    ldap_unbind_ext_s(ld, nullptr, nullptr);
    return 0;
}
