/*
 * trigger.h - starts one of the server's background processes at once, or refreshes it.
 *
 * Synchronous LDAP extended operations (RFC 4511, 4.12) with the frame's result codes (see
 * CONVENTIONS.md). The server answers when it has taken the order, not when the work is done.
 */
#ifndef QLDAPX_TRIGGER_H
#define QLDAPX_TRIGGER_H

#include <qldapx/export.h>

/* Background processes that ldap_trigger_back_process starts. */
#define LDAP_BACK_PROCESS_BACKLINK 1
#define LDAP_BACK_PROCESS_JANITOR 2
#define LDAP_BACK_PROCESS_LIMBER 3
#define LDAP_BACK_PROCESS_SKULKER 4
#define LDAP_BACK_PROCESS_SCHEMA_SYNC 5
#define LDAP_BACK_PROCESS_PARTITION_PURGE 6

QLDAPX_BEGIN

/*
 * ldap_refresh_server - tells the server to refresh itself.
 *
 * ld: the session.
 */
QLDAPX_API int ldap_refresh_server(LDAP *ld);

/*
 * wrapper_ldap_trigger_backlink - starts the back-link maintenance.
 *
 * ld: the session.
 */
QLDAPX_API int wrapper_ldap_trigger_backlink(LDAP *ld);

/*
 * wrapper_ldap_trigger_janitor - starts the janitor.
 *
 * ld: the session.
 */
QLDAPX_API int wrapper_ldap_trigger_janitor(LDAP *ld);

/*
 * wrapper_ldap_trigger_limber - starts the limber process.
 *
 * ld: the session.
 * dn: what the process is to work on, a choice of the server's; NULL sends no request value.
 */
QLDAPX_API int wrapper_ldap_trigger_limber(LDAP *ld, char *dn);

/*
 * wrapper_ldap_trigger_skulker - starts the skulker.
 *
 * ld: the session.
 */
QLDAPX_API int wrapper_ldap_trigger_skulker(LDAP *ld);

/*
 * wrapper_ldap_trigger_schema_sync - starts the schema synchronisation.
 *
 * ld: the session.
 */
QLDAPX_API int wrapper_ldap_trigger_schema_sync(LDAP *ld);

/*
 * wrapper_ldap_trigger_partition_purge - starts the partition purge.
 *
 * ld: the session.
 */
QLDAPX_API int wrapper_ldap_trigger_partition_purge(LDAP *ld);

/*
 * ldap_trigger_back_process - starts the background process that a number names.
 *
 * ld:      the session.
 * process: one of LDAP_BACK_PROCESS_...; any other number gives LDAP_PARAM_ERROR and sends
 *          nothing.
 * dn:      passed to the limber process, ignored by the others.
 */
QLDAPX_API int ldap_trigger_back_process(LDAP *ld, int process, char *dn);

QLDAPX_END

#endif
