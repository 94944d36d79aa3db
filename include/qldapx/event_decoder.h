/*
 * event_decoder.h - the decoders of event payloads, one by one.
 *
 * ldap_parse_ds_event chooses and calls them; programs that take event notifications apart by
 * themselves may, too. They read from a BerElement that the caller made for reading (ber_init, or
 * ber_init2 over bytes with one readable byte behind them) and stays the owner of. What follows
 * the element that they read stays unread.
 *
 * Result of those that return int:
 *   LDAP_DECODING_ERROR  an element is missing, malformed or of the wrong type.
 *   LDAP_NO_MEMORY       memory ran out.
 * A string that comes under another tag than its own ends the process with an assertion message
 * on standard error.
 */
#ifndef QLDAPX_EVENT_DECODER_H
#define QLDAPX_EVENT_DECODER_H

#include <qldapx/event_record.h>
#include <qldapx/export.h>
#include <stddef.h>

QLDAPX_BEGIN

/*
 * allocEventData - allocates a record of `size` bytes, not cleared, that ldap_event_free will
 * release as one of that kind. NULL: no memory.
 */
QLDAPX_API void *allocEventData(size_t size, ber_tag_t kind);

/*
 * ber_get_IP - reads the optional address that closes an event: INTEGER, OCTET STRING.
 *
 * ipData: receives a NetAddrEventData, released with ldap_event_free; left as it was when no
 *         INTEGER comes next; NULL reads the address and drops it.
 *
 * The result is stored as the session's result code; without an address it is the code that the
 * session has.
 */
QLDAPX_API int ber_get_IP(LDAP *ld, BerElement *ber, void **ipData);

/*
 * parseNetAddrEventData - decodes kind 104: INTEGER, OCTET STRING.
 *
 * out: receives a NetAddrEventData, released with ldap_event_free; left as it was when the address
 *      does not decode, NULL when memory ran out. An empty OCTET STRING is left unread.
 *
 * The result is stored as the session's result code.
 */
QLDAPX_API int parseNetAddrEventData(LDAP *ld, BerElement *ber, void **out);

/*
 * parseOctetString - reads a string of any bytes.
 *
 * out:         receives it with a NUL behind it, released with free; NULL when it is empty and
 *              after a failure.
 * length:      receives the number of its bytes; 0 after a failure.
 * expectedTag: its tag; 0 means LBER_OCTETSTRING.
 */
QLDAPX_API int parseOctetString(BerElement *ber, char **out, ber_len_t *length,
                                ber_tag_t expectedTag);

/*
 * parseLDAPString - reads a string. Arguments as parseOctetString.
 */
QLDAPX_API int parseLDAPString(BerElement *ber, char **out, ber_tag_t expectedTag);

/*
 * parseStringSequence - reads a list of strings, under any tag: { SEQUENCE { OCTET STRING } ... }.
 *
 * out: receives an array ended by NULL, released with freeStringSequence; left as it was when
 *      there are no bytes left; NULL after a failure. A string with a NUL inside does not decode.
 */
QLDAPX_API int parseStringSequence(BerElement *ber, char ***out);

/*
 * freeStringSequence - releases a list of strings; NULL is ignored.
 */
QLDAPX_API void freeStringSequence(char **list);

/*
 * parseReferralList - reads a list of referrals: SEQUENCE { INTEGER count, SEQUENCE OF SEQUENCE {
 * INTEGER type, OCTET STRING value } }.
 *
 * count: receives the number of entries.
 * list:  receives an array of so many, released with freeReferralList; NULL when there are no
 *        bytes left.
 *
 * What was read before a failure is left in both, for freeReferralList.
 */
QLDAPX_API int parseReferralList(BerElement *ber, int *count, ReferralEntry **list);

/*
 * freeReferralList - releases a list of referrals, but not the first entry's value: callers have
 * always kept that one. NULL is ignored.
 */
QLDAPX_API void freeReferralList(int count, ReferralEntry *list);

/*
 * parseConnectionData - reads a connection: SEQUENCE { INTEGER, INTEGER, OCTET STRING }.
 *
 * out: receives it, released with freeConnectionData; NULL when there are no bytes left. What was
 *      read before a failure is left in it.
 */
QLDAPX_API int parseConnectionData(BerElement *ber, ConnectionInfo **out);

/*
 * freeConnectionData - releases a connection; NULL is ignored.
 */
QLDAPX_API void freeConnectionData(ConnectionInfo *info);

/*
 * The decoders of the kinds. Each reads the contents of a payload element, whose header has been
 * read, and then the address that may follow, as ber_get_IP does.
 *
 * eventData: receives the kind's record, released with ldap_event_free; NULL after a failure, but
 *            for one of the address: then the record is kept.
 * ipData:    as for ber_get_IP.
 *
 * The result is stored as the session's result code.
 */

/* parseEntryEventData - decodes kind 97 into EntryEventData. */
QLDAPX_API int parseEntryEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseValueEventData - decodes kind 98 into ValueEventData. (An address that follows when
 * number0 is absent cannot be told from it.) */
QLDAPX_API int parseValueEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseGeneralEventData - decodes kind 99 into GeneralEventData. */
QLDAPX_API int parseGeneralEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseSkulkEventData - takes kind 100, which has no record: *eventData is NULL, nothing is
 * read. */
QLDAPX_API int parseSkulkEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseBinderyEventData - decodes kind 101 into BinderyEventData. */
QLDAPX_API int parseBinderyEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseSEVEventData - decodes kind 102 into SEVEventData. */
QLDAPX_API int parseSEVEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseModuleStateEventData - decodes kind 103 into ModuleStateEventData. */
QLDAPX_API int parseModuleStateEventData(LDAP *ld, BerElement *ber, void **eventData,
                                         void **ipData);
/* parseConnectionStateData - decodes kind 105 into ConnectionStateData. */
QLDAPX_API int parseConnectionStateData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseChangeServerAddressData - decodes kind 108 into ChangeServerAddressData. */
QLDAPX_API int parseChangeServerAddressData(LDAP *ld, BerElement *ber, void **eventData,
                                            void **ipData);
/* parseChangeConfigParamData - decodes kind 109 into ChangeConfigParamData. */
QLDAPX_API int parseChangeConfigParamData(LDAP *ld, BerElement *ber, void **eventData,
                                          void **ipData);
/* parseStatusLogEventData - decodes kind 111 into StatusLogEventData. */
QLDAPX_API int parseStatusLogEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseDebugEventData - decodes kind 112 into DebugEventData. */
QLDAPX_API int parseDebugEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseAuthEventData - decodes kind 113 into AuthEventData. */
QLDAPX_API int parseAuthEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseConnectionEventData - decodes kind 114 into ConnectionEventData. */
QLDAPX_API int parseConnectionEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseSearchEventData - decodes kind 115 into SearchEventData. */
QLDAPX_API int parseSearchEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseSearchEntryResponseEventData - decodes kind 116 into SearchEntryResponseEventData. */
QLDAPX_API int parseSearchEntryResponseEventData(LDAP *ld, BerElement *ber, void **eventData,
                                                 void **ipData);
/* parseUpdateEventData - decodes kind 117 into UpdateEventData, whatever eventType is. */
QLDAPX_API int parseUpdateEventData(LDAP *ld, BerElement *ber, int eventType, void **eventData,
                                    void **ipData);
/* parseCompareEventData - decodes kind 118 into CompareEventData. */
QLDAPX_API int parseCompareEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseModDNEventData - decodes kind 119 into ModDNEventData. */
QLDAPX_API int parseModDNEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseAbandonEventData - decodes kind 120 into AbandonEventData. */
QLDAPX_API int parseAbandonEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseExtOpEventData - decodes kind 121 into ExtOpEventData. */
QLDAPX_API int parseExtOpEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseSysExtOpEventData - decodes kind 122 into SysExtOpEventData. */
QLDAPX_API int parseSysExtOpEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseResponseEventData - decodes kind 123 into ResponseEventData. */
QLDAPX_API int parseResponseEventData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parsePasswordModifyData - decodes kind 124 into PasswordModifyData. */
QLDAPX_API int parsePasswordModifyData(LDAP *ld, BerElement *ber, void **eventData, void **ipData);
/* parseUnknownOp - decodes kind 125 into UnknownOpData. */
QLDAPX_API int parseUnknownOp(LDAP *ld, BerElement *ber, void **eventData, void **ipData);

QLDAPX_END

#endif
