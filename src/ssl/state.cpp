#include "qldapx/state.h"

extern "C" {

pthread_mutex_t g_Sync = PTHREAD_MUTEX_INITIALIZER;
int32_t g_SSLReg = 0;
ssl_ctx_st *g_CryptCtx = nullptr;
LdapSslVerifyCallback g_pCertCallback = nullptr;
unsigned char *randbuf = nullptr;

// Kept for programs that refer to them; nothing here reads or writes them.
void *g_pCertAlertCB = nullptr;
void *g_pSockets = nullptr;
int32_t g_MaxSockets = 0;
}
