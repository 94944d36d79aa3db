/* export.h - linkage of the public declarations. */
#ifndef QLDAPX_EXPORT_H
#define QLDAPX_EXPORT_H

#include <ldap.h>
#include <ldap_schema.h>

#define QLDAPX_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define QLDAPX_BEGIN extern "C" {
#define QLDAPX_END }
#else
#define QLDAPX_BEGIN
#define QLDAPX_END
#endif

#endif
