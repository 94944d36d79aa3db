/* memory.h - release of memory that the library handed to its caller. */
#ifndef QLDAPX_MEMORY_H
#define QLDAPX_MEMORY_H

#include <qldapx/export.h>

QLDAPX_BEGIN

/*
 * ldapx_memfree - releases plain memory (a string, a buffer, an array) that a function of
 * this library allocated for its caller, where that function's comment names it.
 *
 * p: the memory, from the C allocator; NULL does nothing. Not for what liblber or libldap
 *    allocated (ldap_list_replicas): their own release functions take that.
 */
QLDAPX_API void ldapx_memfree(void *p);

QLDAPX_END

#endif
