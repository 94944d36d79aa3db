/*
 * replica.h - replicas of a partition: add, remove, retype, report, list, synchronise.
 *
 * Synchronous LDAP extended operations (RFC 4511, 4.12) with the frame's result codes (see
 * CONVENTIONS.md). What each DN names (a partition, a server), and the meaning of types,
 * flags, delays and the numbers of a report, is the server's: all pass unchanged. The
 * arguments are listed in the caller's order; the wire has an order of its own.
 */
#ifndef QLDAPX_REPLICA_H
#define QLDAPX_REPLICA_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/*
 * ReplicaInfo - the report on one replica, in memory that the caller provides.
 *
 * number1 ... number5, dn, number6, number7 follow the order of the server's answer. dn has
 * room for 770 bytes and the terminating NUL; the size is part of the binary interface.
 */
typedef struct ReplicaInfo {
    int number1;
    int number2;
    int number3;
    int number4;
    int number5;
    char dn[771];
    int number6;
    int number7;
} ReplicaInfo;

/*
 * ldap_add_replica - adds a replica.
 *
 * ld:                the session.
 * firstDN, secondDN: the two DNs of the operation; only read.
 * replicaType:       type of the new replica, the server's number.
 * flags:             bits whose meaning is the server's.
 */
QLDAPX_API int ldap_add_replica(LDAP *ld, char *firstDN, char *secondDN, int replicaType,
                                int flags);

/*
 * ldap_remove_replica - removes a replica.
 *
 * ld:                the session.
 * firstDN, secondDN: the two DNs of the operation; only read.
 * flags:             bits whose meaning is the server's.
 */
QLDAPX_API int ldap_remove_replica(LDAP *ld, char *firstDN, char *secondDN, int flags);

/*
 * ldap_change_replica_type - gives a replica another type.
 *
 * ld:                the session.
 * firstDN, secondDN: the two DNs of the operation; only read.
 * replicaType:       the new type, the server's number.
 * flags:             bits whose meaning is the server's.
 */
QLDAPX_API int ldap_change_replica_type(LDAP *ld, char *firstDN, char *secondDN, int replicaType,
                                        int flags);

/*
 * ldap_get_replica_info - reports on one replica.
 *
 * ld:                the session.
 * firstDN, secondDN: the two DNs of the operation; only read.
 * info:              the caller's record. An answer without its string leaves info->dn as it
 *                    was. After any failure the record may be filled in part: do not use it.
 *
 * Also returns LDAP_OPERATIONS_ERROR when the answer carries no value, LDAP_ENCODING_ERROR when
 * the value does not decode. A string of more than 770 bytes ends the process with a message
 * and abort(): it is neither cut nor written past the record.
 */
QLDAPX_API int ldap_get_replica_info(LDAP *ld, char *firstDN, char *secondDN, ReplicaInfo *info);

/*
 * ldap_list_replicas - lists the replicas of a partition.
 *
 * ld:          the session.
 * dn:          DN of the partition's root; only read.
 * replicaList: receives a NULL-terminated array of strings, or NULL when there are none;
 *              allocated by liblber, released by the caller with ber_memvfree. After a failure
 *              do not use it.
 *
 * Also returns LDAP_OPERATIONS_ERROR when the answer carries no value, LDAP_ENCODING_ERROR when
 * the value is not a SEQUENCE or SET of OCTET STRINGs.
 */
QLDAPX_API int ldap_list_replicas(LDAP *ld, char *dn, char ***replicaList);

/*
 * ldap_receive_all_updates - lets a replica fetch all updates anew.
 *
 * ld:                the session.
 * firstDN, secondDN: the two DNs of the operation; only read; NULL gives LDAP_PARAM_ERROR and
 *                    sends nothing.
 * extra:             a third string, which the server ignores but must be sent; NULL sends
 *                    "unusedParam".
 */
QLDAPX_API int ldap_receive_all_updates(LDAP *ld, char *firstDN, char *secondDN, char *extra);

/*
 * ldap_send_all_updates - lets a replica send all its updates anew.
 *
 * ld:       the session.
 * firstDN:  the first DN of the operation; only read.
 * secondDN: the second DN; NULL sends an empty string.
 */
QLDAPX_API int ldap_send_all_updates(LDAP *ld, char *firstDN, char *secondDN);

/*
 * ldap_request_partition_sync - asks for a partition to be synchronised.
 *
 * ld:       the session.
 * secondDN: the first DN on the wire. The names follow the other replica functions, where this
 *           DN comes second; only read.
 * firstDN:  the second DN on the wire; only read.
 * delay:    delay before the synchronisation starts, in the server's unit.
 */
QLDAPX_API int ldap_request_partition_sync(LDAP *ld, char *secondDN, char *firstDN, int delay);

/* ldap_request_naming_context_sync - a second name of ldap_request_partition_sync. */
QLDAPX_API int ldap_request_naming_context_sync(LDAP *ld, char *secondDN, char *firstDN, int delay);

/*
 * ldap_request_schema_sync - asks for the schema to be synchronised.
 *
 * ld:    the session.
 * dn:    DN that the server expects; only read.
 * delay: delay before the synchronisation starts, in the server's unit.
 */
QLDAPX_API int ldap_request_schema_sync(LDAP *ld, char *dn, int delay);

QLDAPX_END

#endif
