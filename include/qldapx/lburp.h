/*
 * lburp.h - bulk update (LBURP): many update operations in few requests.
 *
 * A bulk update is a sequence of asynchronous extended requests (RFC 4511, 4.12) on one session:
 *
 *   ldap_lburp_start_request             begins it; the answer says how many operations the server
 *                                        wants in a request
 *   ldap_lburp_operation_request         sends a batch of operations under the next sequence
 *                                        number; any number of them may be under way at once
 *   ldap_lburp_end_request               ends it with the last sequence number
 *
 * ldap_result gives the answer to each (LDAP_RES_EXTENDED), for the parse function beside it. The
 * library keeps nothing between the calls: sequence numbers and batches are the caller's. libldap
 * keeps in memory every answer that nobody collects, so collect as you send.
 *
 * The design follows RFC 4373; object identifiers and layouts are the server's own.
 */
#ifndef QLDAPX_LBURP_H
#define QLDAPX_LBURP_H

#include <qldapx/export.h>
#include <stdint.h>

QLDAPX_BEGIN

/* One update operation. */
typedef struct LBURPOperation {
    int32_t type;           /* LDAP_REQ_ADD, LDAP_REQ_DELETE, LDAP_REQ_MODIFY or LDAP_REQ_MODDN */
    char *dn;               /* the entry */
    void *changes;          /* add: attributes, modify: changes (LDAPMod **, ended by NULL);
                               modify DN: the new RDN (char *); delete: not looked at */
    LDAPControl **controls; /* the operation's request controls, ended by NULL; NULL: none */
} LBURPOperation;

/* An operation that the server could not carry out. */
typedef struct LBURPOperationFailure {
    int32_t operationNumber; /* which one, by the server's count */
    int32_t resultCode;      /* LDAP result code */
    char *errorMessage;      /* diagnostic message, released with ldap_memfree */
} LBURPOperationFailure;

/*
 * LBURPEncodeAdd - writes an add operation (RFC 4511, 4.7) to an encoder, as an operation request
 * holds it: SEQUENCE { AddRequest, controls [0] OPTIONAL }.
 *
 * ld:       not used.
 * dn:       the entry to add.
 * attrs:    its attributes, ended by NULL; NULL: none. A modification's operation is not looked at
 *           but for LDAP_MOD_BVALUES; a NULL list of values is an empty one.
 * controls: request controls, ended by NULL; an empty list is written as an empty [0], NULL not at
 *           all. A criticality of FALSE and an absent value are not written.
 * ber:      the encoder to append to. A failure releases it with ber_free(ber, 1): it must not be
 *           touched afterwards.
 *
 * The arguments are only read.
 *
 * Result:
 *   LDAP_SUCCESS         the operation is in the encoder.
 *   LDAP_ENCODING_ERROR  a DN, a type or a control's OID is NULL, a value is longer than a BER
 *                        encoder takes (about 2 GiB), or memory ran out. ber is released.
 */
QLDAPX_API int LBURPEncodeAdd(LDAP *ld, char *dn, LDAPMod **attrs, LDAPControl **controls,
                              BerElement *ber);

/*
 * LBURPEncodeDelete - writes a delete operation (RFC 4511, 4.8) to an encoder.
 *
 * dn: the entry to delete. Everything else is as with LBURPEncodeAdd.
 */
QLDAPX_API int LBURPEncodeDelete(LDAP *ld, char *dn, LDAPControl **controls, BerElement *ber);

/*
 * LBURPEncodeMod - writes a modify operation (RFC 4511, 4.6) to an encoder.
 *
 * dn:   the entry to modify.
 * mods: the changes, ended by NULL; NULL: none. Everything else is as with LBURPEncodeAdd.
 */
QLDAPX_API int LBURPEncodeMod(LDAP *ld, char *dn, LDAPMod **mods, LDAPControl **controls,
                              BerElement *ber);

/*
 * LBURPEncodeModRDN - writes a modify DN operation to an encoder.
 *
 * dn:           the entry to rename.
 * newrdn:       its new RDN, not NULL.
 * newSuperior:  DN of the entry to move it under; NULL: it stays where it is. Unlike RFC 4511, 4.9
 *               it is written as an OCTET STRING without a tag of its own.
 * deleteoldrdn: non-zero removes the values of the old RDN. Everything else is as with
 *               LBURPEncodeAdd.
 */
QLDAPX_API int LBURPEncodeModRDN(LDAP *ld, char *dn, char *newrdn, char *newSuperior,
                                 int deleteoldrdn, LDAPControl **controls, BerElement *ber);

/*
 * ldap_lburp_start_request - sends the request that begins a bulk update
 * (2.16.840.1.907341.1.142.100.1).
 *
 * ld:     the session.
 * msgidp: receives the message id for ldap_result.
 *
 * Result, also stored as the session's result code unless there was no memory for an encoder:
 *   LDAP_NO_MEMORY       memory ran out.
 *   LDAP_ENCODING_ERROR  the request could not be encoded.
 *   otherwise what ldap_extended_operation gave.
 */
QLDAPX_API int ldap_lburp_start_request(LDAP *ld, int *msgidp);

/*
 * ldap_parse_lburp_start_response - takes the answer to the start request
 * (2.16.840.1.907341.1.142.100.2).
 *
 * ld:              the session.
 * result:          the LDAP_RES_EXTENDED message.
 * resultCode:      receives the server's LDAP result: look at it. A refusal is parsed with
 *                  LDAP_SUCCESS, which is stored, too.
 * errorMessage:    receives the server's diagnostic message, released with ldap_memfree; NULL if
 *                  it is not wanted.
 * transactionSize: receives the number of operations that the server wants in a request: any
 *                  int, so bound it. Left as it was if the answer has no value; NULL if it is not
 *                  wanted.
 * freeit:          non-zero releases result (unless it could not be parsed at all).
 *
 * Result, also stored as the session's result code:
 *   LDAP_NOT_SUPPORTED   the answer has no response OID, or another one and no value. With a value
 *                        any OID is accepted.
 *   LDAP_DECODING_ERROR  the value does not decode.
 *   LDAP_NO_MEMORY       memory ran out.
 *   otherwise why libldap could not parse result: LDAP_PARAM_ERROR, LDAP_NO_RESULTS_RETURNED, ...
 */
QLDAPX_API int ldap_parse_lburp_start_response(LDAP *ld, LDAPMessage *result, int *resultCode,
                                               char **errorMessage, int *transactionSize,
                                               int freeit);

/*
 * ldap_lburp_operation_request - sends a batch of operations
 * (2.16.840.1.907341.1.142.100.6).
 *
 * ld:             the session.
 * sequenceNumber: the request's place in the sequence. The server carries requests out in the
 *                 order of their numbers.
 * operations:     the operations in order, ended by NULL; NULL: none. Only read.
 * msgidp:         receives the message id for ldap_result.
 *
 * A modify DN is sent with the new RDN a second time, as new superior, and with deleteoldrdn TRUE
 * (strictly: if the low 32 bits of changes, the pointer, are not 0). This is what the server knows
 * this record as; for any other rename use ldap_rename or LBURPEncodeModRDN.
 *
 * Result, also stored as the session's result code unless there was no memory for an encoder:
 *   LDAP_NO_MEMORY       memory ran out.
 *   LDAP_ENCODING_ERROR  an operation could not be encoded (see LBURPEncodeAdd).
 *   LDAP_NOT_SUPPORTED   an operation has another type.
 *   otherwise what ldap_extended_operation gave.
 * Nothing is sent after a failure of the first three kinds.
 */
QLDAPX_API int ldap_lburp_operation_request(LDAP *ld, int sequenceNumber,
                                            LBURPOperation **operations, int *msgidp);

/*
 * ldap_parse_lburp_operation_response - takes the answer to an operation request
 * (2.16.840.1.907341.1.142.100.7).
 *
 * ld:           the session.
 * result:       the LDAP_RES_EXTENDED message.
 * resultCode:   receives the server's LDAP result: look at it, and at failureCount. A refusal of
 *               the whole request is parsed with LDAP_SUCCESS and an empty list.
 * errorMessage: receives the server's diagnostic message, released with ldap_memfree; NULL if it is
 *               not wanted.
 * failureCount: receives the number of operations that failed.
 * failures:     receives them; NULL when there are none to read. Release each errorMessage with
 *               ldap_memfree, then the array with ldapx_memfree: an array there may be with a
 *               count of 0, too.
 * freeit:       non-zero releases result (unless it could not be parsed at all).
 *
 * failureCount and failures may be NULL as long as the answer has no value. They are 0 and NULL
 * after a failure of this function; the messages that had been read by then are lost, kept for
 * the callers who knew them so. A server that sends malformed answers can use that up as memory:
 * end the session after the first.
 *
 * Result, also stored as the session's result code:
 *   LDAP_NOT_SUPPORTED   the answer has no response OID or another one.
 *   LDAP_DECODING_ERROR  a failure does not decode.
 *   LDAP_PARAM_ERROR     the answer has a value and failureCount or failures is NULL; or result is
 *                        no extended response.
 *   LDAP_NO_MEMORY       memory ran out.
 *   otherwise why libldap could not parse result; but for LDAP_OTHER, which is LDAP_SUCCESS here.
 */
QLDAPX_API int ldap_parse_lburp_operation_response(LDAP *ld, LDAPMessage *result, int *resultCode,
                                                   char **errorMessage, int *failureCount,
                                                   LBURPOperationFailure **failures, int freeit);

/*
 * ldap_lburp_end_request - sends the request that ends a bulk update
 * (2.16.840.1.907341.1.142.100.4).
 *
 * sequenceNumber: the last operation request's. Everything else is as with
 *                 ldap_lburp_start_request.
 */
QLDAPX_API int ldap_lburp_end_request(LDAP *ld, int sequenceNumber, int *msgidp);

/*
 * ldap_parse_lburp_end_response - takes the answer to the end request
 * (2.16.840.1.907341.1.142.100.5).
 *
 * Arguments as ldap_parse_lburp_start_response; a value is ignored.
 *
 * Result, also stored as the session's result code:
 *   LDAP_NOT_SUPPORTED   the answer has no response OID or another one.
 *   otherwise why libldap could not parse result.
 */
QLDAPX_API int ldap_parse_lburp_end_response(LDAP *ld, LDAPMessage *result, int *resultCode,
                                             char **errorMessage, int freeit);

QLDAPX_END

#endif
