/*
 * state.h - the library's process-wide state. Exported for programs that were linked against
 * it; new programs leave it to the functions.
 */
#ifndef QLDAPX_STATE_H
#define QLDAPX_STATE_H

#include <pthread.h>
#include <qldapx/export.h>
#include <stdint.h>

struct ssl_ctx_st;        /* OpenSSL's SSL_CTX */
struct x509_store_ctx_st; /* OpenSSL's X509_STORE_CTX */

/* Number of mutexes in g_Locks: a constant of this interface, whatever OpenSSL is in use. */
#define QLDAPX_LOCK_COUNT 41

QLDAPX_BEGIN

/* LdapSslVerifyCallback - an application's verdict on a certificate; 0 accepts it. */
typedef int (*LdapSslVerifyCallback)(struct x509_store_ctx_st *storeContext);

/* g_Sync - guards g_SSLReg, g_CryptCtx and g_pCertCallback. */
extern QLDAPX_API pthread_mutex_t g_Sync;

/* g_SSLReg - 1 while the TLS client is initialised. */
extern QLDAPX_API int32_t g_SSLReg;

/* g_CryptCtx - the process-wide TLS client context, or NULL. */
extern QLDAPX_API struct ssl_ctx_st *g_CryptCtx;

/* g_pCertCallback - the application's verification callback, or NULL. */
extern QLDAPX_API LdapSslVerifyCallback g_pCertCallback;

/* g_Locks - one mutex per lock number of the crypto library. */
extern QLDAPX_API pthread_mutex_t g_Locks[QLDAPX_LOCK_COUNT];

/* randbuf - scratch pointer of the TLS start-up. */
extern QLDAPX_API unsigned char *randbuf;

/* g_pCertAlertCB, g_pSockets, g_MaxSockets - zero, and used by no function. */
extern QLDAPX_API void *g_pCertAlertCB;
extern QLDAPX_API void *g_pSockets;
extern QLDAPX_API int32_t g_MaxSockets;

QLDAPX_END

#endif
