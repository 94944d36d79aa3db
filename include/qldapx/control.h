/*
 * control.h - LDAP controls (RFC 4511, 4.1.11) that the Strata server knows.
 *
 * The ldap_create_... functions build a request control, which the caller attaches to an LDAP
 * operation and releases with ldap_control_free. The ldap_parse_... functions look for the first
 * response control of their OID in a NULL-terminated list, such as ldap_parse_result and
 * ldap_get_entry_controls give, and decode it; the list stays the caller's.
 *
 * The result is also stored as the session's result code (LDAP_OPT_RESULT_CODE), except that a
 * NULL session gives LDAP_PARAM_ERROR and there is nothing to store it in. An output is left as
 * it was by every failure, unless the function's comment says more. All return:
 *
 *   LDAP_PARAM_ERROR        ld, ctrlp or another argument that is needed is NULL.
 *   LDAP_NO_MEMORY          memory ran out.
 *   LDAP_ENCODING_ERROR     (create) the value could not be encoded.
 *   LDAP_CONTROL_NOT_FOUND  (parse) ctrls is NULL or has no control of the OID.
 *   LDAP_DECODING_ERROR     (parse) the value does not decode. (Not LDAP_ENCODING_ERROR, as
 *                           with the extended operations.)
 *
 * libldap has functions of its own under two of these names, with other arguments and other
 * rules. This header makes the plain name mean this library's function, whichever header is
 * included first and whichever library is linked first: the name becomes that of an ldapx_ twin,
 * which nobody else exports. A program that wants libldap's must not include this header.
 */
#ifndef QLDAPX_CONTROL_H
#define QLDAPX_CONTROL_H

#include <qldapx/export.h>

#define ldap_create_persistentsearch_control ldapx_create_persistentsearch_control
#define ldap_parse_entrychange_control ldapx_parse_entrychange_control

QLDAPX_BEGIN

/*
 * ldap_create_persistentsearch_control - builds the control that keeps a search open for changes
 * (2.16.840.1.113730.3.4.3).
 *
 * ld:          the session.
 * changeTypes: the changes that are wanted, a sum of 1 (add), 2 (delete), 4 (modify) and 8
 *              (modify DN); sent unchanged, whatever it is.
 * changesOnly: 0 asks for the entries that match now, too.
 * returnEntryChangeControls: non-zero asks for an entry-change control on each entry, see
 *              ldap_parse_entrychange_control.
 * isCritical:  non-zero makes a server that does not know the control refuse the search.
 * ctrlp:       receives the control.
 */
QLDAPX_API int ldap_create_persistentsearch_control(LDAP *ld, int changeTypes, int changesOnly,
                                                    int returnEntryChangeControls, char isCritical,
                                                    LDAPControl **ctrlp);

/*
 * ldap_parse_entrychange_control - tells what happened to an entry of a persistent search
 * (2.16.840.1.113730.3.4.7).
 *
 * ld:         the session.
 * ctrls:      the entry's controls.
 * changeType: receives 1 (add), 2 (delete), 4 (modify) or 8 (modify DN), as the server sent it;
 *             set as soon as it is read, also when what follows does not decode.
 * prevDN:     receives the DN that a renamed entry had before, released with ldap_memfree; NULL
 *             when the control has none or does not decode. May be NULL if the DN is not wanted,
 *             but then a change number behind it is not found.
 * changeNumberPresent, changeNumber: receive 1 and the number of the change, or 0 and nothing.
 *             Both NULL if not wanted; one alone NULL is LDAP_PARAM_ERROR. Only a number under
 *             the tag 0x80 is one: the server's INTEGER under the universal tag is no change
 *             number and counts as absent.
 */
QLDAPX_API int ldap_parse_entrychange_control(LDAP *ld, LDAPControl **ctrls, int *changeType,
                                              char **prevDN, int *changeNumberPresent,
                                              int *changeNumber);

/*
 * ldap_create_proxyauth_control - builds the control that carries out an operation as another
 * identity (2.16.840.1.113730.3.4.18).
 *
 * ld:      the session.
 * authzDN: DN of the identity; only read. The text becomes the control's value as it is, so that
 *          for servers which want an authzId (RFC 4370) it may be given as "dn:" and the DN.
 * ctrlp:   receives the control. It is always critical: a server that did not know it would
 *          carry out the operation with the caller's own rights.
 */
QLDAPX_API int ldap_create_proxyauth_control(LDAP *ld, const char *authzDN, LDAPControl **ctrlp);

/* What effective rights are asked for: `first`, or `second` when `first` is NULL. */
typedef struct GetEffectiveItem {
    const char *first;
    const char *second;
} GetEffectiveItem;

/*
 * ldap_create_geteffective_control - builds the control that asks for the effective rights to the
 * entries of a search (2.16.840.1.907341.1.27.101.33).
 *
 * ld:         the session.
 * items:      the items of the list form, a NULL-terminated array of pointers; only read, and
 *             not looked at when mode is 0 or 1. An item with two NULL strings is
 *             LDAP_ENCODING_ERROR, no array LDAP_PARAM_ERROR.
 * mode:       0 or 1 is sent as it is; any other value sends the items. What modes and items
 *             mean is the server's.
 * isCritical: non-zero makes a server that does not know the control refuse the search.
 * ctrlp:      receives the control.
 */
QLDAPX_API int ldap_create_geteffective_control(LDAP *ld, GetEffectiveItem **items, int mode,
                                                int isCritical, LDAPControl **ctrlp);

/*
 * ldap_create_sstatus_control - builds the control that asks for the server's status
 * (2.16.840.1.907341.1.27.101.40).
 *
 * ld:          the session.
 * statusFlags: seven entries; only read. Each but the third sends its element when it is 0 or 1,
 *              the third when it is not -1; -1 leaves any element out. The first three elements
 *              carry their own entries as booleans, the other four that of the SECOND entry:
 *              the server knows the control so. What the elements mean is the server's.
 * isCritical:  non-zero makes a server that does not know the control refuse the operation.
 * ctrlp:       receives the control.
 */
QLDAPX_API int ldap_create_sstatus_control(LDAP *ld, int *statusFlags, int isCritical,
                                           LDAPControl **ctrlp);

/*
 * ldap_parse_sstatus_control - decodes the server's status.
 *
 * ld:      the session.
 * ctrls:   the controls of the answer.
 * status0, status1, status2, status3: each receives its number if the server sent it and is left
 *          untouched otherwise. A number that was read before the value failed to decode is set.
 */
QLDAPX_API int ldap_parse_sstatus_control(LDAP *ld, LDAPControl **ctrls, int *status0, int *status1,
                                          int *status2, int *status3);

/*
 * ldap_create_reference_control - builds the control that asks for the reference of an answer
 * (2.16.840.1.907341.1.1.5150.101.1); it has no value.
 *
 * ld:         the session.
 * isCritical: non-zero makes a server that does not know the control refuse the operation.
 * ctrlp:      receives the control.
 */
QLDAPX_API int ldap_create_reference_control(LDAP *ld, int isCritical, LDAPControl **ctrlp);

/*
 * ldap_parse_reference_control - decodes the reference of an answer.
 *
 * ld:    the session.
 * ctrls: the controls of the answer.
 * ref1, ref2, ref3, ref4, ref5: not looked at. They are passed by value, so what the server sends
 *        in their places cannot reach the caller: its strings are decoded and lost (never
 *        released, which is part of this function's contract). Pass NULL and 0.
 * ref6:  receives the reference, released with ldap_memfree; left untouched when the server sent
 *        none or the value does not decode.
 */
QLDAPX_API int ldap_parse_reference_control(LDAP *ld, LDAPControl **ctrls, char *ref1, int ref2,
                                            char *ref3, int ref4, char **ref5, char **ref6);

QLDAPX_END

#endif
