/*
 * legacy.h - entry points that exist so that programs which link against them keep linking.
 */
#ifndef QLDAPX_LEGACY_H
#define QLDAPX_LEGACY_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/*
 * ldap_bind_quill_s - modular authentication; not available.
 *
 * ld, dn, password: ignored, whatever they are.
 *
 * Always returns LDAP_NOT_SUPPORTED.
 */
QLDAPX_API int ldap_bind_quill_s(LDAP *ld, const char *dn, const char *password);

/*
 * ldap_bind_quill_ex_s - modular authentication by a named sequence; not available.
 *
 * ld, dn, password, sequence: ignored, whatever they are.
 *
 * Always returns LDAP_NOT_SUPPORTED.
 */
QLDAPX_API int ldap_bind_quill_ex_s(LDAP *ld, const char *dn, const char *password,
                                    const char *sequence);

/*
 * ldap_quill_get_errcode - last error of the modular authentication; not available.
 *
 * ld, errorCode: ignored, whatever they are.
 *
 * Always returns LDAP_NOT_SUPPORTED.
 */
QLDAPX_API int ldap_quill_get_errcode(LDAP *ld, int *errorCode);

QLDAPX_END

#endif
