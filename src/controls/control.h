// control.h - what the builders and parsers of controls have in common.
#pragma once

#include "core/decoder.h"
#include "core/session.h"

// Exported by libldap, but in none of its installed headers.
extern "C" {
BerElement *ldap_alloc_ber_with_options(LDAP *ld);
int ldap_create_control(const char *requestOID, BerElement *ber, int iscritical,
                        LDAPControl **ctrlp);
}

namespace qldapx {

// A request control whose value encode(BerElement *) writes; it returns -1, as ber_printf does,
// when it cannot.
template <class Encode>
[[nodiscard]] int createControl(LDAP *ld, const char *oid, int isCritical, LDAPControl **ctrlp,
                                Encode encode) {
    BerElementPtr encoder(ldap_alloc_ber_with_options(ld));
    if (encoder == nullptr)
        return LDAP_NO_MEMORY;
    if (encode(encoder.get()) == -1)
        return LDAP_ENCODING_ERROR;
    return ldap_create_control(oid, encoder.get(), isCritical, ctrlp);
}

// Lets read(Decoder &) decode the first control of the list that has the OID.
template <class Read>
[[nodiscard]] int parseControl(LDAPControl **ctrls, const char *oid, Read read) {
    LDAPControl *control = ldap_control_find(oid, ctrls, nullptr);
    if (control == nullptr)
        return LDAP_CONTROL_NOT_FOUND;
    // A copy, since liblber looks at the byte behind what it decodes, and an application's own
    // control need not have one.
    berval copy{};
    if (ber_dupbv(&copy, &control->ldctl_value) == nullptr)
        return LDAP_NO_MEMORY;
    LdapStringPtr bytes(copy.bv_val);
    Decoder value(copy);
    if (!value)
        return LDAP_NO_MEMORY;
    return read(value) ? LDAP_SUCCESS : LDAP_DECODING_ERROR;
}

} // namespace qldapx
