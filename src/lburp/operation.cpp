// operation.cpp - one update operation, as an operation request holds it: an LDAPMessage (RFC 4511,
// 4.1.1) without its message id.
//
// SEQUENCE {
//     AddRequest, DelRequest, ModifyRequest or ModifyDNRequest,
//     controls [0] SEQUENCE OF SEQUENCE {
//         controlType  OCTET STRING,
//         criticality  BOOLEAN,                       only when TRUE
//         controlValue OCTET STRING OPTIONAL } OPTIONAL }
#include "lburp/operation.h"

#include "qldapx/lburp.h"

namespace qldapx::lburp {
namespace {

using Element = Writer::Element;

constexpr ber_tag_t controlsTag = LBER_CLASS_CONTEXT | LBER_CONSTRUCTED;

void put(Writer &out, const LDAPControl &control) {
    Element element(out, LBER_SEQUENCE);
    out.string(control.ldctl_oid);
    if (control.ldctl_iscritical != 0)
        out.boolean(true);
    if (control.ldctl_value.bv_val != nullptr)
        out.octets(control.ldctl_value);
}

void putControls(Writer &out, LDAPControl **controls) {
    if (controls == nullptr)
        return;
    Element element(out, controlsTag);
    for (; *controls != nullptr; ++controls)
        put(out, **controls);
}

// Values of a change come as strings or as bervals.
void putAttribute(Writer &out, const LDAPMod &attribute) {
    Element element(out, LBER_SEQUENCE);
    out.string(attribute.mod_type);
    Element values(out, LBER_SET);
    if ((attribute.mod_op & LDAP_MOD_BVALUES) != 0)
        for (berval **value = attribute.mod_bvalues; value != nullptr && *value != nullptr; ++value)
            out.octets(**value);
    else
        for (char **value = attribute.mod_values; value != nullptr && *value != nullptr; ++value)
            out.string(*value);
}

void putChange(Writer &out, const LDAPMod &change) {
    Element element(out, LBER_SEQUENCE);
    out.integer(change.mod_op & ~LDAP_MOD_BVALUES, LBER_ENUMERATED);
    putAttribute(out, change);
}

void putList(Writer &out, ber_tag_t tag, const char *dn, LDAPMod **list,
             void (*put)(Writer &out, const LDAPMod &)) {
    Element request(out, tag);
    out.string(dn);
    Element elements(out, LBER_SEQUENCE);
    for (; list != nullptr && *list != nullptr; ++list)
        put(out, **list);
}

} // namespace

void putAdd(Writer &out, const char *dn, LDAPMod **attributes, LDAPControl **controls) {
    Element operation(out, LBER_SEQUENCE);
    putList(out, LDAP_REQ_ADD, dn, attributes, putAttribute);
    putControls(out, controls);
}

void putDelete(Writer &out, const char *dn, LDAPControl **controls) {
    Element operation(out, LBER_SEQUENCE);
    out.string(dn, LDAP_REQ_DELETE);
    putControls(out, controls);
}

void putModify(Writer &out, const char *dn, LDAPMod **changes, LDAPControl **controls) {
    Element operation(out, LBER_SEQUENCE);
    putList(out, LDAP_REQ_MODIFY, dn, changes, putChange);
    putControls(out, controls);
}

void putModifyDn(Writer &out, const char *dn, const char *newRdn, const char *newSuperior,
                 bool deletesOldRdn, LDAPControl **controls) {
    Element operation(out, LBER_SEQUENCE);
    {
        Element request(out, LDAP_REQ_MODDN);
        out.string(dn);
        out.string(newRdn);
        out.boolean(deletesOldRdn);
        // Without the tag [0] of RFC 4511: the server knows it so.
        if (newSuperior != nullptr)
            out.string(newSuperior);
    }
    putControls(out, controls);
}

} // namespace qldapx::lburp

namespace {

using namespace qldapx::lburp;

// The caller's encoder goes with a failure: kept, callers do not release it then.
int finish(qldapx::Writer &out, BerElement *ber) {
    if (out.finish())
        return LDAP_SUCCESS;
    ber_free(ber, 1);
    return LDAP_ENCODING_ERROR;
}

} // namespace

extern "C" {

int LBURPEncodeAdd(LDAP *, char *dn, LDAPMod **attrs, LDAPControl **controls, BerElement *ber) {
    qldapx::Writer out(ber);
    putAdd(out, dn, attrs, controls);
    return finish(out, ber);
}

int LBURPEncodeDelete(LDAP *, char *dn, LDAPControl **controls, BerElement *ber) {
    qldapx::Writer out(ber);
    putDelete(out, dn, controls);
    return finish(out, ber);
}

int LBURPEncodeMod(LDAP *, char *dn, LDAPMod **mods, LDAPControl **controls, BerElement *ber) {
    qldapx::Writer out(ber);
    putModify(out, dn, mods, controls);
    return finish(out, ber);
}

int LBURPEncodeModRDN(LDAP *, char *dn, char *newrdn, char *newSuperior, int deleteoldrdn,
                      LDAPControl **controls, BerElement *ber) {
    qldapx::Writer out(ber);
    putModifyDn(out, dn, newrdn, newSuperior, deleteoldrdn != 0, controls);
    return finish(out, ber);
}
}
