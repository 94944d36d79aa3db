/* A translation unit of the public header alone: it must not need anything before it. */
#include <qldapx.h>

int qldapx_header_is_complete(void);
int qldapx_header_is_complete(void) {
    return (int)sizeof(ReplicaInfo);
}
