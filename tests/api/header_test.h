/* A translation unit of the public headers alone: they must not need anything before them. */
#include <qldapx.h>
#include <qldapx/digest_challenge.h>
#include <qldapx/md5.h>
#include <qldapx/schema_element.h>
#include <qldapx/tls_certificate.h>

int qldapx_header_is_complete(void);
int qldapx_header_is_complete(void) {
    return (int)sizeof(ReplicaInfo);
}
