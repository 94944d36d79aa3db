/*
 * event_record.h - the records that an event's payload is decoded into.
 *
 * Which record an event carries is said by its kind (97 to 125, the payload's BER tag; see
 * ldapx_event_kind). A record is one block and is released, with all that it points to, by
 * ldap_event_free.
 *
 * The fields are named by their place among those of their type. What they mean is the server's
 * definition; the library delivers them unchanged. Order and widths are part of the interface.
 *
 *   int32_t          an INTEGER.
 *   char *           an OCTET STRING, NUL-terminated (it may hold NULs of its own only where a
 *                    length stands beside it); NULL when it is empty.
 *   char **          a sequence of strings, ended by NULL; NULL when it is absent.
 *   ConnectionInfo * the client's connection; NULL when it is absent.
 */
#ifndef QLDAPX_EVENT_RECORD_H
#define QLDAPX_EVENT_RECORD_H

#include <stdint.h>

/* An event to be reported, and one that the server accepted. */
typedef struct EventSpecification {
    int32_t eventType;   /* the server's number of the event */
    int32_t eventResult; /* the server's; passed through, an ENUMERATED on the wire */
} EventSpecification;

/* An event to be reported when its filter matches. */
typedef struct FilteredEventSpecification {
    int32_t eventType;
    int32_t eventResult;
    char *filter; /* search filter (RFC 4515) as text, applied by the server; not NULL */
} FilteredEventSpecification;

/* Element of a referral list. */
typedef struct ReferralEntry {
    int32_t type;
    uint32_t length; /* bytes of value */
    char *value;     /* NULL when empty */
} ReferralEntry;

typedef struct ConnectionInfo {
    int32_t number1;
    int32_t number2;
    char *text;
} ConnectionInfo;

/* Kind 97. On the wire number1 to number3 come first, in a SEQUENCE of their own. */
typedef struct EntryEventData {
    char *string1;
    char *string2;
    char *string3;
    int32_t number4;
    int32_t number5;
    int32_t number1;
    int32_t number2;
    int32_t number3;
    char *value;
} EntryEventData;

/* Kind 98. */
typedef struct ValueEventData {
    int32_t number0; /* last on the wire, 0 when absent */
    char *string1;
    char *string2;
    char *string3;
    char *string4;
    char *string5;
    int32_t number1;
    int32_t number2;
    int32_t number3;
    uint32_t valueLength; /* bytes of value */
    char *value;          /* any bytes and a NUL; NULL when absent or empty */
} ValueEventData;

/* Kind 99. The third INTEGER on the wire is number3, the fourth number4. */
typedef struct GeneralEventData {
    int32_t number1;
    int32_t number2;
    int32_t number4;
    int32_t number3;
    char *string1;
    int32_t numbers[4]; /* those that came, then 0 */
    char *strings[4];   /* those that came (never more than three), then NULL */
} GeneralEventData;

/* Kind 101. */
typedef struct BinderyEventData {
    char *string1;
    int32_t number1;
    int32_t number2;
    int32_t number3;
    char *string2;
} BinderyEventData;

/* Kind 102. */
typedef struct SEVEventData {
    char *string1;
    int32_t number1;
    char *string2;
    int32_t referralCount;
    ReferralEntry *referrals;
} SEVEventData;

/* Kind 103. */
typedef struct ModuleStateEventData {
    char *string1;
    int32_t number1;
    char *string4; /* last on the wire */
    char name[32]; /* 1 to 31 bytes and a NUL */
    char text[128];
} ModuleStateEventData;

/* Kind 104, and the address that may close any event. */
typedef struct NetAddrEventData {
    int32_t addressType;
    uint32_t length; /* bytes of value */
    char value[1];   /* as many bytes as length says, and a NUL */
} NetAddrEventData;

/* Kind 105. */
typedef struct ConnectionStateData {
    char *string1;
    int32_t number1;
    int32_t number2;
    char *string2;
} ConnectionStateData;

/* Kind 108. */
typedef struct ChangeServerAddressData {
    int32_t number1;
    int32_t number2;
    int32_t number3;
    uint32_t addressLength; /* bytes of address */
    char *address;          /* any bytes and a NUL; NULL when empty */
    char *string1;
    char *string2;
} ChangeServerAddressData;

/* Kind 109. paramType says which field holds the value. */
typedef struct ChangeConfigParamData {
    int32_t paramType;
    char *paramName;
    __extension__ union {
        int32_t intValue; /* paramType 2 and 5 */
        char *textValue;  /* paramType 3 */
    };
    char *stringValue; /* paramType 1 */
} ChangeConfigParamData;

/* Kind 111. */
typedef struct StatusLogEventData {
    int32_t number1;
    char *string1;
    char *string2;
    char *string3;
    char *string4;
    char *string5;
    char *string6;
} StatusLogEventData;

/* Element of kind 112: kind says which fields hold it. */
typedef struct DebugItem {
    int32_t kind; /* 1 to 7 */
    __extension__ union {
        __extension__ struct {
            int32_t number; /* kind 1, 4: the INTEGER; 3: bytes of pointer; 5, 6: the first
                               INTEGER; 7: triples at pointer */
            int32_t length; /* kind 5: bytes of pointer; 6: the second INTEGER */
        };
        char *text; /* kind 2 */
    };
    __extension__ union {
        void *pointer; /* kind 3, 5: char, any bytes and a NUL, or NULL when empty; 7: int32_t,
                          three for each triple, or NULL when there are none */
        int32_t third; /* kind 6: the third INTEGER */
    };
} DebugItem;

/* Kind 112. */
typedef struct DebugEventData {
    int32_t number1;
    int32_t number2;
    char *string1;
    char *string2;
    int32_t number3;
    int32_t itemCount;
    DebugItem *items; /* NULL when itemCount is below 1 */
} DebugEventData;

/* Kind 113. */
typedef struct AuthEventData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    char *string1;
    int32_t number3;
    char *string2;
    char **sequence1;
    int32_t number4;
} AuthEventData;

/* Kind 114. */
typedef struct ConnectionEventData {
    int32_t number1;
    int32_t number2;
    char *string1;
} ConnectionEventData;

/* Kind 115. */
typedef struct SearchEventData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    char *string1;
    char *string2;
    int32_t number3;
    char *string3;
    char **sequence1;
    char **sequence2;
    int32_t number4;
} SearchEventData;

/* Kind 116. */
typedef struct SearchEntryResponseEventData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    char *string1;
    char *string2;
    char **sequence1;
    int32_t number3;
} SearchEntryResponseEventData;

/* Kind 117. */
typedef struct UpdateEventData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    int32_t number3;
    char *string1;
    char *string2;
    char *string3;
    char **sequence1;
    int32_t number4;
} UpdateEventData;

/* Kind 118. */
typedef struct CompareEventData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    char *string1;
    char *string2;
    char *string3;
    char *string4;
    char *string5;
    int32_t number3;
} CompareEventData;

/* Kind 119. */
typedef struct ModDNEventData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    char *string1;
    char *string2;
    char *string3;
    char *string4;
    char **sequence1;
    int32_t number3;
} ModDNEventData;

/* Kind 120. */
typedef struct AbandonEventData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    int32_t number3;
    char *string1;
    int32_t number4;
} AbandonEventData;

/* Kind 121. */
typedef struct ExtOpEventData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    int32_t number3;
    char *string1;
    char *string2;
    int32_t number4;
} ExtOpEventData;

/* Kind 122. */
typedef struct SysExtOpEventData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    int32_t number3;
    char *string1;
    char *string2;
    char *string3;
    char *string4;
    char *string5;
    char *string6;
    int32_t number4;
} SysExtOpEventData;

/* Kind 123. */
typedef struct ResponseEventData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    int32_t number3;
    int32_t number4;
    char *string1;
    char **sequence1;
} ResponseEventData;

/* Kind 124. */
typedef struct PasswordModifyData {
    ConnectionInfo *connection;
    int32_t number1;
    int32_t number2;
    char *string1;
    char *string2;
    int32_t number3;
    int32_t number4;
} PasswordModifyData;

/* Kind 125. */
typedef struct UnknownOpData {
    int32_t number1;
    char *string1;
} UnknownOpData;

#endif
