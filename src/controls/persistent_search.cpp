#include "controls/control.h"
#include "core/alias.h"
#include "qldapx/control.h"

namespace {

using namespace qldapx;

// EntryChangeNotification ::= SEQUENCE {
//     changeType   ENUMERATED,
//     previousDN   OCTET STRING OPTIONAL,
//     changeNumber [0] IMPLICIT INTEGER OPTIONAL }
constexpr char entryChangeOid[] = "2.16.840.1.113730.3.4.7";
constexpr ber_tag_t changeNumberTag = 0x80;

// Each element is looked for only if it is wanted: a previous DN that nobody asked for stays
// where it is and hides the number behind it.
bool readEntryChange(Decoder &value, int *changeType, LdapStringPtr *prevDN,
                     int *changeNumberPresent, int *changeNumber) {
    ber_len_t after = 0;
    if (!value.enter(LBER_SEQUENCE, &after) || !value.integer(changeType, LBER_ENUMERATED))
        return false;
    if (prevDN != nullptr && value.hasWithin(after, LBER_OCTETSTRING) && !value.text(*prevDN))
        return false;
    if (changeNumberPresent != nullptr) {
        *changeNumberPresent = 0;
        if (value.hasWithin(after, changeNumberTag)) {
            if (!value.integer(changeNumber, changeNumberTag))
                return false;
            *changeNumberPresent = 1;
        }
    }
    return value.isWholeUpTo(after);
}

int parseEntryChange(LDAPControl **ctrls, int *changeType, char **prevDN, int *changeNumberPresent,
                     int *changeNumber) {
    if (changeType == nullptr || (changeNumberPresent == nullptr) != (changeNumber == nullptr))
        return LDAP_PARAM_ERROR;
    if (ctrls == nullptr)
        return LDAP_CONTROL_NOT_FOUND;
    if (prevDN != nullptr)
        *prevDN = nullptr;
    LdapStringPtr previous;
    int result = parseControl(ctrls, entryChangeOid, [&](Decoder &value) {
        return readEntryChange(value, changeType, prevDN != nullptr ? &previous : nullptr,
                               changeNumberPresent, changeNumber);
    });
    if (result == LDAP_SUCCESS && prevDN != nullptr)
        *prevDN = previous.release();
    return result;
}

} // namespace

extern "C" {

// PersistentSearch ::= SEQUENCE { changeTypes INTEGER, changesOnly BOOLEAN, returnECs BOOLEAN }
int ldapx_create_persistentsearch_control(LDAP *ld, int changeTypes, int changesOnly,
                                          int returnEntryChangeControls, char isCritical,
                                          LDAPControl **ctrlp) {
    if (ld == nullptr)
        return LDAP_PARAM_ERROR;
    if (ctrlp == nullptr)
        return storeResult(ld, LDAP_PARAM_ERROR);
    return storeResult(
        ld, createControl(ld, "2.16.840.1.113730.3.4.3", static_cast<signed char>(isCritical),
                          ctrlp, [&](BerElement *value) {
                              return ber_printf(value, "{ibbN}", changeTypes, changesOnly,
                                                returnEntryChangeControls);
                          }));
}

int ldapx_parse_entrychange_control(LDAP *ld, LDAPControl **ctrls, int *changeType, char **prevDN,
                                    int *changeNumberPresent, int *changeNumber) {
    if (ld == nullptr)
        return LDAP_PARAM_ERROR;
    return storeResult(
        ld, parseEntryChange(ctrls, changeType, prevDN, changeNumberPresent, changeNumber));
}

// The names that libldap's headers give to functions of other types: this translation unit can
// only export them by their assembler names.
QLDAPX_API decltype(ldapx_create_persistentsearch_control)
    plainCreate __asm__("ldap_create_persistentsearch_control")
        QLDAPX_ALIAS(ldapx_create_persistentsearch_control);
QLDAPX_API decltype(ldapx_parse_entrychange_control)
    plainParse __asm__("ldap_parse_entrychange_control")
        QLDAPX_ALIAS(ldapx_parse_entrychange_control);
}
