// operation.h - writes one update operation, as an operation request holds it.
//
// A DN, a type or a control's OID that is NULL makes the writer fail: liblber would end the
// process.
#pragma once

#include "lburp/writer.h"

#include <ldap.h>

namespace qldapx::lburp {

void putAdd(Writer &out, const char *dn, LDAPMod **attributes, LDAPControl **controls);
void putDelete(Writer &out, const char *dn, LDAPControl **controls);
void putModify(Writer &out, const char *dn, LDAPMod **changes, LDAPControl **controls);
void putModifyDn(Writer &out, const char *dn, const char *newRdn, const char *newSuperior,
                 bool deletesOldRdn, LDAPControl **controls);

} // namespace qldapx::lburp
