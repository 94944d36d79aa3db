/*
 * partition.h - partitions (naming contexts) of the directory tree.
 *
 * Synchronous LDAP extended operations (RFC 4511, 4.12). Besides the codes named at each
 * function, all return those of the frame in CONVENTIONS.md: a server's own result code or
 * libldap's (unchanged), LDAP_ENCODING_ERROR, LDAP_NO_MEMORY, and LDAP_NOT_SUPPORTED when the
 * server answers success under no response OID or another one than the operation's.
 */
#ifndef QLDAPX_PARTITION_H
#define QLDAPX_PARTITION_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/*
 * ldap_split_partition - makes an entry the root of a partition of its own.
 *
 * ld:    the session, bound with the rights that the server asks for.
 * dn:    DN of the entry that becomes the new partition's root; only read.
 * flags: bits whose meaning is the server's; sent unchanged.
 */
QLDAPX_API int ldap_split_partition(LDAP *ld, char *dn, int flags);

/*
 * ldap_merge_partitions - joins a partition to the one above it.
 *
 * ld:    the session.
 * dn:    DN of the root of the partition that goes; only read.
 * flags: bits whose meaning is the server's; sent unchanged.
 */
QLDAPX_API int ldap_merge_partitions(LDAP *ld, char *dn, int flags);

/*
 * ldap_abort_partition_operation - gives up an unfinished operation on a partition.
 *
 * ld:    the session.
 * dn:    DN of the partition's root; only read.
 * flags: bits whose meaning is the server's; sent unchanged.
 */
QLDAPX_API int ldap_abort_partition_operation(LDAP *ld, char *dn, int flags);

/*
 * ldap_partition_entry_count - asks how many entries a partition holds.
 *
 * ld:    the session.
 * dn:    DN of the partition's root; only read.
 * count: receives the number of entries; meaningful only when the result is LDAP_SUCCESS.
 *
 * Also returns LDAP_OPERATIONS_ERROR when the answer carries no value, and
 * LDAP_ENCODING_ERROR when its value is not an INTEGER of at most 32 bits.
 */
QLDAPX_API int ldap_partition_entry_count(LDAP *ld, char *dn, int *count);

/*
 * ldap_split_orphan_partition - splits a partition that has lost its connection to the tree.
 *
 * ld:       the session.
 * firstDN:  the first DN that the server expects, sent first; only read.
 * secondDN: the second DN, sent second; only read.
 */
QLDAPX_API int ldap_split_orphan_partition(LDAP *ld, char *firstDN, char *secondDN);

/*
 * ldap_remove_orphan_partition - removes a partition that has lost its connection to the tree.
 *
 * ld:       the session.
 * firstDN:  the first DN that the server expects, sent first; only read.
 * secondDN: the second DN, sent second; only read.
 */
QLDAPX_API int ldap_remove_orphan_partition(LDAP *ld, char *firstDN, char *secondDN);

/* ldap_create_naming_context - a second name of ldap_split_partition. */
QLDAPX_API int ldap_create_naming_context(LDAP *ld, char *dn, int flags);

/* ldap_merge_naming_contexts - a second name of ldap_merge_partitions. */
QLDAPX_API int ldap_merge_naming_contexts(LDAP *ld, char *dn, int flags);

/* ldap_abort_naming_context_operation - a second name of ldap_abort_partition_operation. */
QLDAPX_API int ldap_abort_naming_context_operation(LDAP *ld, char *dn, int flags);

/* ldap_naming_context_entry_count - a second name of ldap_partition_entry_count. */
QLDAPX_API int ldap_naming_context_entry_count(LDAP *ld, char *dn, int *count);

/* ldap_create_orphan_naming_context - a second name of ldap_split_orphan_partition. */
QLDAPX_API int ldap_create_orphan_naming_context(LDAP *ld, char *firstDN, char *secondDN);

/* ldap_remove_orphan_naming_context - a second name of ldap_remove_orphan_partition. */
QLDAPX_API int ldap_remove_orphan_naming_context(LDAP *ld, char *firstDN, char *secondDN);

QLDAPX_END

#endif
