/*
 * replication_filter.h - a server's replication filter: which attributes of which object
 * classes it replicates.
 *
 * The filter is one text: a run of groups and a closing "$". A group is the object class name
 * and "$", each attribute name and "$", and one more "$": class A with the attributes x and y
 * and class B with z is A$x$y$$B$z$$$. Names cannot contain "$"; the empty filter is "$".
 *
 * Synchronous LDAP extended operations (RFC 4511, 4.12); result codes in CONVENTIONS.md.
 */
#ifndef QLDAPX_REPLICATION_FILTER_H
#define QLDAPX_REPLICATION_FILTER_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/*
 * ldap_set_replication_filter - replaces a server's replication filter.
 *
 * ld:       the session.
 * serverDN: DN of the server; only read.
 * filter:   the filter's text; only read. What follows the closing "$" is ignored.
 *
 * Returns LDAP_PARAM_ERROR, and sends nothing, when serverDN or filter is NULL or when a "$"
 * is missing in the text.
 */
QLDAPX_API int ldap_set_replication_filter(LDAP *ld, char *serverDN, char *filter);

/*
 * ldap_get_replication_filter - reads a server's replication filter.
 *
 * ld:       the session.
 * serverDN: DN of the server; only read.
 * filter:   receives the filter's text, released with ldapx_memfree. LDAP_DECODING_ERROR, and
 *           LDAP_NO_MEMORY for the text itself, leave NULL in it; every earlier failure leaves it
 *           as it was.
 *
 * Returns LDAP_PARAM_ERROR when serverDN or filter is NULL, LDAP_OPERATIONS_ERROR when the
 * answer carries no value, LDAP_DECODING_ERROR (not LDAP_ENCODING_ERROR, unlike the other
 * administrative operations) when the value is not a well-formed filter or holds a name with
 * a "$" in it, which the text could not carry. Any response OID is accepted;
 * LDAP_NOT_SUPPORTED means that there was none.
 */
QLDAPX_API int ldap_get_replication_filter(LDAP *ld, char *serverDN, char **filter);

QLDAPX_END

#endif
