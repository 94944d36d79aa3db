// operation.cpp - one update operation, as an operation request holds it: an LDAPMessage (RFC 4511,
// 4.1.1) without its message id.
//
// SEQUENCE {
//     AddRequest, DelRequest, ModifyRequest or ModifyDNRequest,
//     controls [0] SEQUENCE OF SEQUENCE {
//         controlType  OCTET STRING,
//         criticality  BOOLEAN,                       only when TRUE
//         controlValue OCTET STRING OPTIONAL } OPTIONAL }
#include "core/handle.h"
#include "qldapx/lburp.h"

namespace {

constexpr ber_tag_t controlsTag = LBER_CLASS_CONTEXT | LBER_CONSTRUCTED;

// liblber ends the process at a string that is NULL.
template <class... Strings>
bool areThere(const Strings *...strings) {
    return ((strings != nullptr) && ...);
}

bool putControl(BerElement *ber, LDAPControl &control) {
    return areThere(control.ldctl_oid) && ber_printf(ber, "{s", control.ldctl_oid) != -1 &&
           (control.ldctl_iscritical == 0 || ber_printf(ber, "b", 1) != -1) &&
           (control.ldctl_value.bv_val == nullptr ||
            ber_printf(ber, "O", &control.ldctl_value) != -1) &&
           ber_printf(ber, "}") != -1;
}

bool putControls(BerElement *ber, LDAPControl **controls) {
    if (controls == nullptr)
        return true;
    if (ber_printf(ber, "t{", controlsTag) == -1)
        return false;
    for (; *controls != nullptr; ++controls)
        if (!putControl(ber, **controls))
            return false;
    return ber_printf(ber, "}") != -1;
}

int finish(BerElement *ber, bool isWritten, LDAPControl **controls) {
    if (isWritten && putControls(ber, controls) && ber_printf(ber, "}") != -1)
        return LDAP_SUCCESS;
    ber_free(ber, 1);
    return LDAP_ENCODING_ERROR;
}

bool putAttribute(BerElement *ber, const LDAPMod &attribute) {
    if (!areThere(attribute.mod_type))
        return false;
    if ((attribute.mod_op & LDAP_MOD_BVALUES) != 0)
        return ber_printf(ber, "{s[V]}", attribute.mod_type, attribute.mod_bvalues) != -1;
    return ber_printf(ber, "{s[v]}", attribute.mod_type, attribute.mod_values) != -1;
}

bool putChange(BerElement *ber, const LDAPMod &change) {
    return ber_printf(ber, "{e", change.mod_op & ~LDAP_MOD_BVALUES) != -1 &&
           putAttribute(ber, change) && ber_printf(ber, "}") != -1;
}

template <class Put>
bool putList(BerElement *ber, ber_tag_t tag, const char *dn, LDAPMod **list, Put put) {
    if (!areThere(dn) || ber_printf(ber, "{t{s{", tag, dn) == -1)
        return false;
    for (; list != nullptr && *list != nullptr; ++list)
        if (!put(ber, **list))
            return false;
    return ber_printf(ber, "}}") != -1;
}

} // namespace

extern "C" {

int LBURPEncodeAdd(LDAP *, char *dn, LDAPMod **attrs, LDAPControl **controls, BerElement *ber) {
    return finish(ber, putList(ber, LDAP_REQ_ADD, dn, attrs, putAttribute), controls);
}

int LBURPEncodeDelete(LDAP *, char *dn, LDAPControl **controls, BerElement *ber) {
    return finish(ber, areThere(dn) && ber_printf(ber, "{ts", LDAP_REQ_DELETE, dn) != -1, controls);
}

int LBURPEncodeMod(LDAP *, char *dn, LDAPMod **mods, LDAPControl **controls, BerElement *ber) {
    return finish(ber, putList(ber, LDAP_REQ_MODIFY, dn, mods, putChange), controls);
}

int LBURPEncodeModRDN(LDAP *, char *dn, char *newrdn, char *newSuperior, int deleteoldrdn,
                      LDAPControl **controls, BerElement *ber) {
    bool isWritten = areThere(dn, newrdn) &&
                     ber_printf(ber, "{t{ssb", LDAP_REQ_MODDN, dn, newrdn, deleteoldrdn) != -1 &&
                     // Without the tag [0] of RFC 4511: the server knows it so.
                     (newSuperior == nullptr || ber_printf(ber, "s", newSuperior) != -1) &&
                     ber_printf(ber, "}") != -1;
    return finish(ber, isWritten, controls);
}
}
