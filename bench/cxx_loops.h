// cxx_loops.h - the same work in C and in C++, so many rounds of it; -1: it failed.
#pragma once

#include <qldapx.h>

namespace bench {

using Loop = int (*)(LDAP *ld, int rounds);

namespace c {
int counts(LDAP *ld, int rounds);
int events(LDAP *ld, int rounds);
int elements(LDAP *ld, int rounds);
int adds(LDAP *ld, int rounds);
int builtAdds(LDAP *ld, int rounds);
} // namespace c

namespace cxx {
int counts(LDAP *ld, int rounds);
int events(LDAP *ld, int rounds);
int elements(LDAP *ld, int rounds);
int adds(LDAP *ld, int rounds);
int builtAdds(LDAP *ld, int rounds);
} // namespace cxx

} // namespace bench
