/*
 * identity.h - who the session is bound as, what a trustee may do, and names converted to DNs.
 *
 * Synchronous LDAP extended operations (RFC 4511, 4.12) with the frame's result codes (see
 * CONVENTIONS.md). Those with an output also return LDAP_OPERATIONS_ERROR when the answer
 * carries no value and LDAP_ENCODING_ERROR when its value does not decode. String outputs come
 * from the C allocator and are released with ldapx_memfree; a failure leaves the caller's
 * pointer as it was, but for LDAP_NO_MEMORY at the output itself, which leaves NULL.
 */
#ifndef QLDAPX_IDENTITY_H
#define QLDAPX_IDENTITY_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/*
 * ldap_get_bind_dn - asks the server as whom the session is bound.
 *
 * ld:       the session.
 * identity: receives the DN as a string, empty for an anonymous session. A name of up to 771
 *           bytes comes back whole, a longer one is cut to its first 770 bytes.
 */
QLDAPX_API int ldap_get_bind_dn(LDAP *ld, char **identity);

/* ldap_get_context_identity_name - a second name of ldap_get_bind_dn. */
QLDAPX_API int ldap_get_context_identity_name(LDAP *ld, char **identity);

/*
 * ldap_get_effective_privileges - asks what a trustee may do with one attribute of an entry.
 *
 * ld:         the session.
 * dn:         DN of the entry; only read.
 * trusteeDN:  DN of the trustee; only read.
 * attrName:   name of the attribute; only read.
 * privileges: receives the privilege bits, whose meaning is the server's.
 */
QLDAPX_API int ldap_get_effective_privileges(LDAP *ld, char *dn, char *trusteeDN, char *attrName,
                                             int *privileges);

/*
 * ldap_get_effective_privileges_list - asks what a trustee may do with several attributes.
 *
 * ld:         the session.
 * dn:         DN of the entry; only read.
 * trusteeDN:  DN of the trustee; only read.
 * attrList:   NULL-terminated array of attribute names; only read.
 * privileges: receives one set of bits per attribute, in the order of attrList.
 *
 * DANGER: the number of slots written is the one that the server states, not the length of
 * attrList. Use it only with servers that are trusted to answer one set per attribute;
 * ldapx_get_effective_privileges_list is the bounded form.
 *
 * Returns LDAP_PARAM_ERROR, and sends nothing, when an argument after ld is NULL. After
 * LDAP_ENCODING_ERROR the slots before the bad element are filled and its own is 0.
 */
QLDAPX_API int ldap_get_effective_privileges_list(LDAP *ld, char *dn, char *trusteeDN,
                                                  char **attrList, int *privileges);

/*
 * ldapx_get_effective_privileges_list - ldap_get_effective_privileges_list that never writes
 * past the caller's array, whatever the server answers.
 *
 * ld, dn, trusteeDN, attrList: as there.
 * privileges: receives one set of bits per attribute.
 * capacity:   number of slots in privileges.
 * count:      receives the number of slots written.
 *
 * Returns LDAP_PARAM_ERROR when an argument after ld is NULL or capacity is negative, and
 * LDAP_ENCODING_ERROR, with nothing written to privileges and *count 0, when the server states
 * more sets than capacity. Otherwise as there.
 */
QLDAPX_API int ldapx_get_effective_privileges_list(LDAP *ld, char *dn, char *trusteeDN,
                                                   char **attrList, int *privileges, int capacity,
                                                   int *count);

/*
 * ldap_kora_to_ldap - converts a name in the server's native kora form to an LDAP DN.
 *
 * ld:       the session.
 * koraName: 16-bit code units (UTF-16) in the machine's byte order, ended by a zero unit; only
 *           read, must not be NULL.
 * ldapName: receives the DN.
 */
QLDAPX_API int ldap_kora_to_ldap(LDAP *ld, const unsigned short *koraName, char **ldapName);

/*
 * ldap_dns_to_x500_dn - converts a DNS name to an X.500 DN.
 *
 * ld:      the session.
 * dnsName: the DNS name; only read.
 * x500DN:  receives the DN.
 */
QLDAPX_API int ldap_dns_to_x500_dn(LDAP *ld, char *dnsName, char **x500DN);

QLDAPX_END

#endif
