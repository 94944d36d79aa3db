/*
 * backup.h - backup images of single entries: fetched from the server, and handed back to it.
 *
 * Synchronous LDAP extended operations (RFC 4511, 4.12). Unlike with the administrative ones, the
 * response OID is looked at before the operation's result: no response OID or another one than
 * the operation's is LDAP_NOT_SUPPORTED, also when the server refused the operation, and then its
 * own code is lost. Besides the codes named at each function, both return the server's or
 * libldap's own (unchanged), LDAP_PARAM_ERROR, LDAP_ENCODING_ERROR and LDAP_NO_MEMORY.
 *
 * An image may come in several pieces. A piece is held in memory twice at most.
 */
#ifndef QLDAPX_BACKUP_H
#define QLDAPX_BACKUP_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/*
 * ldap_backup_object - fetches an entry's backup image, or the next piece of it.
 *
 * ld:         the session.
 * objectDN:   DN of the entry; only read. NULL is LDAP_PARAM_ERROR.
 * password:   what protects the image; only read. NULL is sent as the empty string.
 * state:      *state is NULL for the first piece and the text that the previous call stored for
 *             each further one, two numbers as "5+7". It is modified, and on success released
 *             with free and replaced by the new text. Neither number may be 0, or the result is
 *             LDAP_ENCODING_ERROR and nothing is sent: a state such as "0+0" that a server
 *             returns cannot be passed back.
 * data:       receives the piece, *dataLength bytes of any value.
 * chunkSizes: receives the sizes of the chunks that the server says the piece has, as text:
 *             "count;size;size;...", each number followed by ";".
 * dataLength: receives the number of bytes of *data.
 *
 * The three texts are released with ldapx_memfree. A failure leaves all outputs as they were,
 * but for the text of *state, which may end before its "+".
 *
 * Also returns LDAP_OPERATIONS_ERROR when the answer carries no value, and LDAP_DECODING_ERROR
 * when its value does not decode or promises more bytes than came.
 */
QLDAPX_API int ldap_backup_object(LDAP *ld, char *objectDN, char *password, char **state,
                                  char **data, char **chunkSizes, int *dataLength);

/*
 * ldap_restore_object - hands a backup image, or a piece of it, back to the server, which
 * recreates the entry.
 *
 * ld:         the session. The result is also stored as its result code (LDAP_OPT_RESULT_CODE),
 *             except for LDAP_PARAM_ERROR.
 * objectDN:   DN of the entry; only read. NULL is LDAP_PARAM_ERROR.
 * password:   what the image was protected with; only read. NULL is sent as the empty string.
 * data:       the piece, dataLength bytes; only read. NULL is LDAP_PARAM_ERROR.
 * chunkSizes: the text that the backup gave with the piece; it is modified. NULL is
 *             LDAP_PARAM_ERROR, a text without a number LDAP_ENCODING_ERROR.
 * dataLength: the number of bytes of data; a negative one is LDAP_ENCODING_ERROR.
 */
QLDAPX_API int ldap_restore_object(LDAP *ld, char *objectDN, char *password, char *data,
                                   char *chunkSizes, int dataLength);

/*
 * get_returnedBuffer - takes the contents of the next element of a BER value, whatever its tag.
 *
 * ber:    the value; the element is passed over.
 * buffer: receives the contents with a NUL after them, released with ber_memfree; NULL on
 *         failure.
 *
 * Returns the element's tag, or LBER_ERROR when there is no whole element left or no memory.
 */
QLDAPX_API ber_tag_t get_returnedBuffer(BerElement *ber, char **buffer);

QLDAPX_END

#endif
