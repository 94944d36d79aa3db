/*
 * digest_md5.h - SASL bind with the mechanism DIGEST-MD5 (RFC 2831, RFC 4513), in two steps with
 * the choice of a realm in between:
 *
 *   ldap_bind_digest_md5_start    asks the server for its challenge
 *   ldap_get_digest_md5_realms    lists the realms that it offers
 *   ldap_bind_digest_md5_finish   answers for a user, checks the server's own proof, and releases
 *                                 everything; once for each start that succeeded
 *
 * RFC 6331 calls DIGEST-MD5 historic: it does not encrypt the session, and who has listened to a
 * bind can try out passwords. Prefer a simple bind over TLS where the server lets you choose.
 *
 * One bind belongs to one thread at a time, as its session does. The client nonce comes from the
 * random pool (random_pool.h), which locks for itself; its start-up calls srand.
 */
#ifndef QLDAPX_DIGEST_MD5_H
#define QLDAPX_DIGEST_MD5_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/* What is wrong with a challenge: result codes of ldap_bind_digest_md5_start. */
enum {
    QLDAPX_DIGEST_BAD_MAXBUF = 1001,     /* maxbuf is zero or no number */
    QLDAPX_DIGEST_TWICE = 1002,          /* a directive that may stand once stands twice */
    QLDAPX_DIGEST_BAD_ALGORITHM = 1003,  /* algorithm is not "md5-sess" */
    QLDAPX_DIGEST_BAD_CHARSET = 1004,    /* charset is not "utf-8" */
    QLDAPX_DIGEST_BAD_STALE = 1005,      /* stale is not "true" */
    QLDAPX_DIGEST_NO_AUTH = 1006,        /* qop does not offer "auth", or there is none */
    QLDAPX_DIGEST_NO_CIPHER = 1007,      /* "auth-conf" without a cipher that is known */
    QLDAPX_DIGEST_NO_NONCE = 1008,       /* no nonce */
    QLDAPX_DIGEST_STALE = 1009,          /* the challenge is stale */
    QLDAPX_DIGEST_NO_ALGORITHM = 1010,   /* no algorithm */
    QLDAPX_DIGEST_NO_COMMA = 1026,       /* a token of qop or cipher is followed by no comma */
    QLDAPX_DIGEST_TRAILING_COMMA = 1027, /* qop or cipher ends with a comma */
    QLDAPX_DIGEST_BAD_TOKEN = 1030       /* a character that no token of qop or cipher has */
};

/* What ldap_bind_digest_md5_finish is to do. */
enum { QLDAPX_DIGEST_COMPLETE = 1, QLDAPX_DIGEST_ABANDON = 2 };

/*
 * ldap_bind_digest_md5_start - sends the first bind request, without credentials, and takes the
 * server's challenge. Waits for the answer as long as the session's LDAP_OPT_TIMEOUT allows.
 *
 * ld:      the session, LDAP v3. It must stay open until the bind is finished.
 * context: receives the bind, for the two functions below; left as it was after a failure.
 *
 * Result:
 *   LDAP_PARAM_ERROR     context is NULL.
 *   LDAP_PROTOCOL_ERROR  the server is content without a proof, or its challenge is no list of
 *                        directives. (Or this is the server's own code.)
 *   QLDAPX_DIGEST_...    the challenge breaks a rule, see above.
 *   LDAP_NO_MEMORY       memory ran out.
 *   otherwise why the request could not be sent or no answer came (LDAP_SERVER_DOWN, LDAP_TIMEOUT),
 *   or the server's result code: LDAP_AUTH_METHOD_NOT_SUPPORTED where it does not know DIGEST-MD5.
 *
 * After LDAP_PROTOCOL_ERROR, LDAP_NO_MEMORY or a code of the challenge's the server may hold the
 * exchange open: OpenLDAP's slapd refuses the next operation. A bind with another mechanism, such
 * as a simple one, or the end of the session ends it.
 */
QLDAPX_API int ldap_bind_digest_md5_start(LDAP *ld, void **context);

/*
 * ldap_get_digest_md5_realms - lists the realms of the challenge.
 *
 * context: the bind.
 * realms:  receives the realms, the last one of the challenge first, ended by NULL. The array and
 *          its strings are the bind's: they are not released by the caller, are the same in every
 *          call and last until the bind is finished. NULL after LDAP_NO_MEMORY.
 *
 * Result:
 *   LDAP_PARAM_ERROR  an argument is NULL, or the bind is not open.
 *   LDAP_NO_MEMORY    memory ran out.
 */
QLDAPX_API int ldap_get_digest_md5_realms(void *context, char ***realms);

/*
 * ldap_bind_digest_md5_finish - answers the challenge and checks the server's proof, or gives up.
 * Waits for the answer as long as the session's LDAP_OPT_TIMEOUT allows.
 *
 * context:        the bind. It is released, and the pointer set to NULL, whatever the result; but
 *                 for a wait that failed, see below.
 * userName:       the user, UTF-8. It is put between quotes as it stands: a quote or a backslash
 *                 in it changes the directives that the server reads, so refuse such names.
 * password:       the password; hashed as it stands. RFC 2831 (2.1.2.1) wants it in ISO 8859-1
 *                 where each of its characters exists there and in UTF-8 otherwise; servers with
 *                 cyrus-sasl take UTF-8 always. NULL: of length 0.
 * passwordLength: its bytes, which may be zeros; -1: up to the terminating zero.
 * realmIndex:     the realm, counted from 0 in the array of ldap_get_digest_md5_realms. A challenge
 *                 without a realm cannot be answered.
 * mode:           QLDAPX_DIGEST_COMPLETE; or QLDAPX_DIGEST_ABANDON, which tells the server with
 *                 another first request, whose answer nobody waits for: libldap keeps it among the
 *                 session's unread messages. All other arguments are not looked at then. A request
 *                 that is sent before that answer has come may be refused (RFC 4511, 4.2.1): fetch
 *                 it with ldap_result(ld, LDAP_RES_ANY, ...), or end the session.
 *
 * The server's name in the answer (digest-uri) is what the session has as LDAP_OPT_HOST_NAME up to
 * its last ":"; of several servers all of them but the last one's port. A name that is NULL counts
 * as empty.
 *
 * Result:
 *   LDAP_SUCCESS              bound; the server has shown that it knows the password.
 *   LDAP_INVALID_CREDENTIALS  the server's proof is missing or wrong: do not trust the session. (Or
 *                             this is the server's own code: wrong user or password.)
 *   LDAP_USER_CANCELLED       the bind was abandoned.
 *   LDAP_PARAM_ERROR          context, the bind or userName is NULL, the bind is not open, there is
 *                             no such realm or mode, passwordLength is below -1, or the answer
 *                             would be longer than 4096 bytes.
 *   LDAP_PROTOCOL_ERROR       the server's proof is no list of directives that begins with rspauth.
 *                             (Or this is the server's own code.)
 *   LDAP_NO_MEMORY            memory ran out.
 *   100                       the random pool has too little entropy.
 *   otherwise why a request could not be sent or no answer came, or the server's result code.
 *
 * Only when the wait for the answer fails nothing is released, and the pointer stays: call once
 * more with QLDAPX_DIGEST_ABANDON to release the bind (libldap connects anew for that where the
 * connection has ended); what this call had allocated is lost. In every bind that is finished or
 * abandoned the strings of the realms that were not chosen are lost, too. Both are kept for the
 * callers who knew it so.
 */
QLDAPX_API int ldap_bind_digest_md5_finish(void **context, const char *userName,
                                           const char *password, int passwordLength, int realmIndex,
                                           int mode);

QLDAPX_END

#endif
