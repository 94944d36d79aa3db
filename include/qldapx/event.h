/*
 * event.h - monitoring of server events.
 *
 * A client registers the events that it wants; the server answers with the list of those that it
 * accepted and from then on reports each event as an intermediate response (RFC 4511, 4.13) to
 * the same message id:
 *
 *   ldap_monitor_events                  sends the registration
 *   ldap_result                          waits for its answer, then for each event
 *   ldap_parse_monitor_events_response   takes the answer (LDAP_RES_EXTENDED)
 *   ldap_parse_ds_event                  takes each event (LDAP_RES_INTERMEDIATE)
 *   ldap_event_free                      releases its payload
 *
 * ldap_abandon_ext or the end of the session ends the registration. The server ends it with a
 * second LDAP_RES_EXTENDED.
 *
 * libldap takes a request for finished with its extended response and throws away whatever comes
 * after it under the same message id. So ldap_parse_monitor_events_response makes libldap expect
 * more for a registration that was accepted (nothing is sent for that). Until it is called, events
 * that are already there are kept only as long as nobody else reads from the session: pass the
 * answer on as soon as ldap_result gives it, before any other operation on the session. With a
 * libldap that lacks ldap_send_initial_request, ldap_find_request_by_msgid or ldap_return_request
 * (OpenLDAP 2.5 has them) only events that the server sends before its answer can be seen.
 */
#ifndef QLDAPX_EVENT_H
#define QLDAPX_EVENT_H

#include <qldapx/event_record.h>
#include <qldapx/export.h>

QLDAPX_BEGIN

/*
 * ldap_monitor_events - sends a registration for events (2.16.840.1.907341.1.27.100.79).
 *
 * ld:     the session.
 * count:  number of elements in events, not 0. A negative count is sent as it is, with no
 *         events.
 * events: the events wanted; only read.
 * msgidp: receives the message id for ldap_result.
 *
 * Result, also stored as the session's result code unless it is one of the first two:
 *   LDAP_PARAM_ERROR     count is 0 or events is NULL.
 *   LDAP_NO_MEMORY       memory ran out (stored when the request was encoded already).
 *   LDAP_ENCODING_ERROR  the request could not be encoded.
 *   otherwise what ldap_extended_operation gave.
 */
QLDAPX_API int ldap_monitor_events(LDAP *ld, int count, EventSpecification *events, int *msgidp);

/*
 * ldap_monitor_events_filtered - sends a registration for events that match a filter
 * (2.16.840.1.907341.1.27.100.84).
 *
 * Arguments and results as ldap_monitor_events. The answer and the events are the same.
 */
QLDAPX_API int ldap_monitor_events_filtered(LDAP *ld, int count, FilteredEventSpecification *events,
                                            int *msgidp);

/*
 * ldap_parse_monitor_events_response - takes the answer to a registration
 * (2.16.840.1.907341.1.27.100.80).
 *
 * ld:           the session.
 * result:       the LDAP_RES_EXTENDED message.
 * resultCode:   receives the server's LDAP result. The registration stands if it is LDAP_SUCCESS.
 * errorMessage: receives the server's diagnostic message, released with ldap_memfree; NULL if it
 *               is not wanted.
 * count:        receives the number of events accepted; NULL if not wanted.
 * events:       receives the events accepted, released with ldapx_memfree; NULL if not wanted.
 * freeit:       non-zero releases result (unless it could not be parsed at all).
 *
 * An answer without a response OID, without a value or with a value that does not begin as a list
 * of events gives LDAP_SUCCESS, a count of 0 and NULL: the server's result says what happened.
 *
 * Result, also stored as the session's result code:
 *   LDAP_PARAM_ERROR     resultCode is NULL, or result is no extended response.
 *   LDAP_NO_RESULTS_RETURNED  result carries no LDAP result at all, such as an event.
 *   LDAP_DECODING_ERROR  the answer has another response OID, or an event of the list does not
 *                        decode.
 *   LDAP_NO_MEMORY       memory ran out.
 * count and events are 0 and NULL after a failure; but for a NULL resultCode, they are set always.
 */
QLDAPX_API int ldap_parse_monitor_events_response(LDAP *ld, LDAPMessage *result, int *resultCode,
                                                  char **errorMessage, int *count,
                                                  EventSpecification **events, int freeit);

/*
 * ldap_parse_ds_event_IP - takes an event notification (2.16.840.1.907341.1.27.100.81), with the
 * address that may come with it.
 *
 * ld:          the session.
 * msg:         the LDAP_RES_INTERMEDIATE message.
 * eventType:   receives the server's number of the event.
 * eventResult: receives the event's result.
 * eventData:   receives the payload's record (event_record.h), released with ldap_event_free;
 *              NULL for a kind that has none and after a failure. NULL decodes only the two
 *              integers.
 * freeit:      non-zero releases msg, unless it is no intermediate response.
 * ipData:      receives the address as NetAddrEventData, released with ldap_event_free; NULL if
 *              it is not wanted. It is left as it was when the event has none, so set it to NULL
 *              first. What it holds is not released by a failure.
 *
 * Result, also stored as the session's result code:
 *   LDAP_PARAM_ERROR     eventType or eventResult is NULL, or msg is no intermediate response.
 *   LDAP_DECODING_ERROR  the message is no event notification or does not decode.
 *   LDAP_NO_MEMORY       memory ran out.
 *   LDAP_NOT_SUPPORTED   the session speaks LDAP v2.
 * A string that comes under another tag than its own is a fault after which the process ends with
 * an assertion message on standard error.
 */
QLDAPX_API int ldap_parse_ds_event_IP(LDAP *ld, LDAPMessage *msg, int *eventType, int *eventResult,
                                      void **eventData, int freeit, void **ipData);

/*
 * ldap_parse_ds_event - takes an event notification; an address is decoded and dropped.
 *
 * Arguments and results as ldap_parse_ds_event_IP.
 */
QLDAPX_API int ldap_parse_ds_event(LDAP *ld, LDAPMessage *msg, int *eventType, int *eventResult,
                                   void **eventData, int freeit);

/*
 * ldap_event_free - releases a payload's record, or an address, and all that it points to.
 *
 * eventData: the record, as the library gave it; NULL is ignored.
 *
 * The value of a referral list's first entry is not released: callers of this interface have
 * always kept it.
 */
QLDAPX_API void ldap_event_free(void *eventData);

/* Types of a field, for ldapx_event_field: what its value points to. */
#define LDAPX_EVENT_INTEGER 1    /* int32_t */
#define LDAPX_EVENT_STRING 2     /* char *, NUL-terminated or NULL */
#define LDAPX_EVENT_BYTES 3      /* char *, count bytes, or NULL */
#define LDAPX_EVENT_TEXT 4       /* char[], NUL-terminated */
#define LDAPX_EVENT_SEQUENCE 5   /* char **, ended by NULL, or NULL */
#define LDAPX_EVENT_CONNECTION 6 /* ConnectionInfo *, or NULL */
#define LDAPX_EVENT_REFERRALS 7  /* ReferralEntry *, count entries */
#define LDAPX_EVENT_INTEGERS 8   /* int32_t[], count elements */
#define LDAPX_EVENT_STRINGS 9    /* char *[], count elements, each NUL-terminated or NULL */
#define LDAPX_EVENT_ITEMS 10     /* DebugItem *, count items */
#define LDAPX_EVENT_ADDRESS 11   /* char[], count bytes */

/* A field of a record, for programs that treat all records alike. */
typedef struct LDAPXEventField {
    const char *name;  /* as the record's declaration has it; static */
    int type;          /* LDAPX_EVENT_... */
    uint32_t count;    /* what the type says; 1 where it says nothing */
    const void *value; /* the field's own address, within the record */
} LDAPXEventField;

/*
 * ldapx_event_kind - tells which record it is: 97 to 125.
 *
 * eventData: a record that the library gave, not NULL.
 */
QLDAPX_API int ldapx_event_kind(const void *eventData);

/*
 * ldapx_event_record_name - gives the name of a kind's record, such as "EntryEventData"; NULL for
 * a kind that has none. The name is static.
 */
QLDAPX_API const char *ldapx_event_record_name(int kind);

/*
 * ldapx_event_field - describes a field of a record, so that a program can print or copy any event
 * without knowing its kind.
 *
 * eventData: a record that the library gave, not NULL.
 * index:     number of the field, from 0 in the order of the record. Of fields that share their
 *            storage only that which holds a value is counted.
 * field:     receives the description; its pointers are valid as long as the record.
 *
 * Returns 1, or 0 when there is no such field; then field is left as it was.
 */
QLDAPX_API int ldapx_event_field(const void *eventData, int index, LDAPXEventField *field);

QLDAPX_END

#endif
