/*
 * tls.h - LDAP over TLS (ldaps): one client context for the process, its trust anchors, how servers
 * are verified, the client's certificate and key, and what a verification callback can ask about a
 * certificate.
 *
 * ldapssl_client_init makes the context and gives it to libldap, for every session of the process
 * with an "ldaps" URL that connects from then on, however it was opened. The other functions work
 * on the context in place, so that they count for connections made after them. Set the context up
 * before threads connect; where libldap is built with OpenSSL, changing it while others connect is
 * safe only by another ldapssl_client_init.
 *
 * Results are 0 and -1 (1 and LDAP_PARAM_ERROR for the client's certificate and key), not LDAP
 * result codes. No function asks anything on the terminal.
 *
 * Where libldap is built with another TLS library than OpenSSL, this library carries TLS itself,
 * below libldap. What that changes stands in docs/tls.md.
 */
#ifndef QLDAPX_TLS_H
#define QLDAPX_TLS_H

#include <ldap.h>
#include <qldapx/export.h>
#include <qldapx/state.h>
#include <stdint.h>

/* Where a certificate or key comes from: a path (char *) or bytes (struct berval *). */
#define QLDAPX_TLS_FILE_PEM 1
#define QLDAPX_TLS_FILE_DER 2
#define QLDAPX_TLS_BUFFER_PEM 3
#define QLDAPX_TLS_BUFFER_DER 4
#define QLDAPX_TLS_FILE_PKCS12 5
#define QLDAPX_TLS_BUFFER_PKCS12 6

/* Modes of verification. */
#define QLDAPX_TLS_VERIFY_NONE 0
#define QLDAPX_TLS_VERIFY_PEER 1

/* Formats of ldapssl_get_cert. */
#define QLDAPX_TLS_CERT_PEM 3
#define QLDAPX_TLS_CERT_DER 4

/* Attributes of ldapssl_get_cert_attribute. */
#define QLDAPX_TLS_CERT_ISSUER 1
#define QLDAPX_TLS_CERT_SUBJECT 2
#define QLDAPX_TLS_CERT_VALIDITY 3
#define QLDAPX_TLS_CERT_VERIFY_ERROR 100

/* Kinds of time in a certificate (RFC 5280, 4.1.2.5). */
#define QLDAPX_TLS_UTC_TIME 1         /* YYMMDDHHMMSSZ */
#define QLDAPX_TLS_GENERALIZED_TIME 2 /* YYYYMMDDHHMMSSZ */

QLDAPX_BEGIN

/* When a certificate is valid: times as it holds them, ended by a zero byte, at most 39 bytes. */
typedef struct LdapSslValidity {
    char notBefore[40];
    int32_t notBeforeKind; /* QLDAPX_TLS_..._TIME */
    char notAfter[40];
    int32_t notAfterKind;
} LdapSslValidity;

/*
 * ldapssl_client_init - makes a new client context, which verifies servers and has no callback and
 * no client certificate, and gives it to libldap. A context from before is replaced; connections
 * that use it go on.
 *
 * trustFile: a file of CA certificates to trust (DER, or PEM with any number of them), or NULL for
 *            none; one that cannot be opened counts as none.
 *
 * Result: 0, or -1: the file holds no certificate, or OpenSSL failed.
 */
QLDAPX_API int ldapssl_client_init(const char *trustFile);

/*
 * ldapssl_client_deinit - drops the context and the callback. libldap keeps what it was given, so
 * that sessions go on to connect with it.
 *
 * Result: 0, or -1 when there was no ldapssl_client_init.
 */
QLDAPX_API int ldapssl_client_deinit(void);

/*
 * ldapssl_init - makes a session; it connects with the first operation.
 *
 * host:   name or address, as text; NULL: libldap's default.
 * port:   1 to 65535, or 0 for the default of LDAP (389) and of LDAP over TLS (636).
 * secure: not 0: TLS, by an "ldaps" URL.
 *
 * Result: the session, for ldap_unbind_ext; NULL on failure. The text of the session's URL, of
 * about the length of the host, is lost with every call.
 */
QLDAPX_API LDAP *ldapssl_init(const char *host, int port, int secure);

/*
 * ldapssl_set_verify_mode - says whether servers are verified, and takes the callback out of use.
 *
 * mode: QLDAPX_TLS_VERIFY_NONE or QLDAPX_TLS_VERIFY_PEER. With NONE anybody can pose as the server.
 *
 * Result: 0, or -1: no context, or another mode.
 */
QLDAPX_API int ldapssl_set_verify_mode(int mode);

/*
 * ldapssl_get_verify_mode - gives the mode.
 *
 * mode: receives it; untouched on failure.
 *
 * Result: 0, or -1: no context, or mode is NULL.
 */
QLDAPX_API int ldapssl_get_verify_mode(int *mode);

/*
 * ldapssl_set_verify_callback - has an application decide about certificates that do not verify;
 * servers are verified from now on.
 *
 * callback: is called in the thread that connects, once for each fault found, for any certificate
 *           of the chain, with OpenSSL's X509_STORE_CTX, of which ldapssl_get_cert and
 *           ldapssl_get_cert_attribute (and OpenSSL's own functions) give the particulars. It
 *           returns 0 to accept the certificate in spite of that fault, else not to. It must look
 *           at the fault (QLDAPX_TLS_CERT_VERIFY_ERROR): one that always returns 0 accepts any
 *           server. It must not use the session, nor connect. NULL: every fault refuses.
 *
 * Result: 0, or -1: no context.
 */
QLDAPX_API int ldapssl_set_verify_callback(LdapSslVerifyCallback callback);

/*
 * ldapssl_add_trusted_cert - adds trust anchors to the context. One that is there already is no
 * fault. Of a PEM source that turns bad, the certificates before that place have been added.
 *
 * source: path or struct berval, the caller's; not kept.
 * type:   QLDAPX_TLS_FILE_PEM or QLDAPX_TLS_BUFFER_PEM, any number of certificates, at least one;
 *         QLDAPX_TLS_FILE_DER or QLDAPX_TLS_BUFFER_DER, one.
 *
 * Result: 0, or -1: no context, no certificate there, or a malformed one, or another type, or no
 * memory. An extension that is malformed, or a key of a kind that OpenSSL does not know, is not
 * found here, but when a server is verified.
 */
QLDAPX_API int ldapssl_add_trusted_cert(const void *source, int type);

/*
 * ldapssl_set_client_cert - sets the certificate that servers get to see who ask for one. Set the
 * certificate first and its key then: a key that does not belong to the certificate is refused.
 *
 * source:   path or struct berval, the caller's; not kept.
 * type:     any of the six. Of PEM and PKCS #12 the first certificate counts; of PKCS #12 (RFC
 *           7292), which is not checked for integrity, all keys must open with the password, and
 *           deriving keys may take 5,000,000 rounds in all (a block that scrypt mixes counts as
 *           two).
 * password: of PKCS #12 or encrypted PEM, ended by a zero byte; NULL for none (for PEM the empty
 *           one). Not kept.
 *
 * Result: 0, 1 for every failure (no context included), LDAP_PARAM_ERROR: source is NULL.
 */
QLDAPX_API int ldapssl_set_client_cert(const void *source, int type, const char *password);

/*
 * ldapssl_set_client_private_key - sets the key that belongs to the client's certificate; otherwise
 * as ldapssl_set_client_cert. QLDAPX_TLS_FILE_DER and QLDAPX_TLS_BUFFER_DER are refused with 1, and
 * an encrypted key in PEM that asks for more rounds than one of PKCS #12 may.
 */
QLDAPX_API int ldapssl_set_client_private_key(const void *source, int type, const char *password);

/*
 * ldapssl_get_cert - gives the certificate that a verification callback is asked about.
 *
 * storeContext: the callback's.
 * format:       QLDAPX_TLS_CERT_PEM (with "TRUSTED CERTIFICATE" in its first and last line) or
 *               QLDAPX_TLS_CERT_DER.
 * output:       bv_val NULL: bv_len receives the size. Otherwise bv_val is the caller's memory of
 *               bv_len bytes, which receives that many at most, without a zero byte; bv_len
 *               receives how many. bv_len receives 0 on failure.
 *
 * Result: 0, or -1: NULL argument, another format, no certificate, or nothing written.
 */
QLDAPX_API int ldapssl_get_cert(struct x509_store_ctx_st *storeContext, int format,
                                struct berval *output);

/*
 * ldapssl_get_cert_attribute - gives a particular of the certificate that a verification callback
 * is asked about.
 *
 * storeContext: the callback's.
 * attribute:    QLDAPX_TLS_CERT_ISSUER or QLDAPX_TLS_CERT_SUBJECT: the name as text such as
 *               "/DC=com/CN=x". Into a buffer of length bytes go at most that many; length receives
 *               the text's own, without the zero byte, unless that is length or more: then the
 *               text is not ended by a zero byte, and length stays.
 *               QLDAPX_TLS_CERT_VALIDITY: an LdapSslValidity. The buffer must hold its 88 bytes,
 *               whatever length says.
 *               QLDAPX_TLS_CERT_VERIFY_ERROR: OpenSSL's X509_V_ERR_..., an int32_t; length must
 *               be 4.
 * buffer:       the caller's; NULL to get only the length.
 * length:       in: bytes of the buffer; out: of the particular.
 *
 * Result: 0, or -1: storeContext or length NULL, another attribute, a wrong or negative length, or
 * no certificate.
 */
QLDAPX_API int ldapssl_get_cert_attribute(struct x509_store_ctx_st *storeContext, int attribute,
                                          void *buffer, int *length);

QLDAPX_END

#endif
