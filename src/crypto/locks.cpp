#include "qldapx/state.h"

extern "C" {

pthread_mutex_t g_Locks[QLDAPX_LOCK_COUNT];
}
