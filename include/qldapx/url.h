/*
 * url.h - searches described by an LDAP URL (RFC 4516), which libldap no longer offers.
 *
 * The search goes over the session that is given, whatever host and port the URL names. A URL
 * without a scope searches the base object, one without a filter uses (objectClass=*). A URL
 * with a critical extension is refused with LDAP_NOT_SUPPORTED: ignoring it would break its
 * promise. A text that is no LDAP URL, or has a percent escape that is unfinished or of a NUL,
 * gives LDAP_PARAM_ERROR. Every failure is also the session's result code
 * (LDAP_OPT_RESULT_CODE).
 *
 * libldap's schema-description functions for attribute types, object classes, syntaxes,
 * matching rules, matching rule uses and name forms (ldap_schema.h: ldap_str2attributetype,
 * ldap_attributetype2str, ldap_attributetype_free and their siblings) are exported by this
 * library too and forward to libldap.
 */
#ifndef QLDAPX_URL_H
#define QLDAPX_URL_H

#include <qldapx/export.h>
#include <sys/time.h>

QLDAPX_BEGIN

/*
 * ldap_url_search - starts a search and does not wait for it.
 *
 * ld:        the session.
 * url:       the LDAP URL; only read.
 * attrsonly: non-zero asks for attribute types without values.
 *
 * Returns the message id, for ldap_result, or -1 with the reason in the session's result code.
 */
QLDAPX_API int ldap_url_search(LDAP *ld, const char *url, int attrsonly);

/*
 * ldap_url_search_s - searches and waits for the result, as long as the session's own time-out
 * (LDAP_OPT_TIMEOUT) allows; without one, for ever.
 *
 * ld, url, attrsonly: as for ldap_url_search.
 * res: receives the chain of messages, released with ldap_msgfree, also when the result code is
 *      the server's error; NULL when there is none.
 *
 * Returns the search's result code, LDAP_TIMEOUT when time ran out. Where a notice of disconnection
 * (RFC 4511, 4.4.1) comes instead of the answer it is the notice's, or LDAP_SERVER_DOWN if that is
 * success: end the session.
 */
QLDAPX_API int ldap_url_search_s(LDAP *ld, const char *url, int attrsonly, LDAPMessage **res);

/*
 * ldap_url_search_st - ldap_url_search_s with a time-out of its own.
 *
 * ld, url, attrsonly, res: as there.
 * timeout: the longest wait; only read. NULL waits as ldap_url_search_s does. When it is over
 *          the search is abandoned and the result is LDAP_TIMEOUT.
 */
QLDAPX_API int ldap_url_search_st(LDAP *ld, const char *url, int attrsonly, struct timeval *timeout,
                                  LDAPMessage **res);

QLDAPX_END

#endif
