#include "qldapx/partition.h"

#include "core/alias.h"
#include "core/exchange.h"

namespace {

using qldapx::Exchange;
using qldapx::Operation;

constexpr Operation split{"2.16.840.1.907341.1.27.100.3", "2.16.840.1.907341.1.27.100.4"};
constexpr Operation merge{"2.16.840.1.907341.1.27.100.5", "2.16.840.1.907341.1.27.100.6"};
constexpr Operation entryCount{"2.16.840.1.907341.1.27.100.13", "2.16.840.1.907341.1.27.100.14"};
constexpr Operation abortOperation{"2.16.840.1.907341.1.27.100.29",
                                   "2.16.840.1.907341.1.27.100.30"};
constexpr Operation splitOrphan{"2.16.840.1.907341.1.27.100.39", "2.16.840.1.907341.1.27.100.40"};
constexpr Operation removeOrphan{"2.16.840.1.907341.1.27.100.41", "2.16.840.1.907341.1.27.100.42"};

} // namespace

extern "C" {

// Request: flags INTEGER, dn OCTET STRING - the caller gives the DN first, the wire the flags.
int ldap_split_partition(LDAP *ld, char *dn, int flags) {
    return Exchange(ld).call(split, "is", flags, dn);
}

int ldap_merge_partitions(LDAP *ld, char *dn, int flags) {
    return Exchange(ld).call(merge, "is", flags, dn);
}

int ldap_abort_partition_operation(LDAP *ld, char *dn, int flags) {
    return Exchange(ld).call(abortOperation, "is", flags, dn);
}

// Request: dn OCTET STRING. Response: count INTEGER.
int ldap_partition_entry_count(LDAP *ld, char *dn, int *count) {
    Exchange exchange(ld);
    return exchange.response(exchange.call(entryCount, "s", dn), qldapx::integerInto(count));
}

// Request: firstDN OCTET STRING, secondDN OCTET STRING.
int ldap_split_orphan_partition(LDAP *ld, char *firstDN, char *secondDN) {
    return Exchange(ld).call(splitOrphan, "ss", firstDN, secondDN);
}

int ldap_remove_orphan_partition(LDAP *ld, char *firstDN, char *secondDN) {
    return Exchange(ld).call(removeOrphan, "ss", firstDN, secondDN);
}

QLDAPX_ALIAS(ldap_split_partition)
int ldap_create_naming_context(LDAP *ld, char *dn, int flags);

QLDAPX_ALIAS(ldap_merge_partitions)
int ldap_merge_naming_contexts(LDAP *ld, char *dn, int flags);

QLDAPX_ALIAS(ldap_abort_partition_operation)
int ldap_abort_naming_context_operation(LDAP *ld, char *dn, int flags);

QLDAPX_ALIAS(ldap_partition_entry_count)
int ldap_naming_context_entry_count(LDAP *ld, char *dn, int *count);

QLDAPX_ALIAS(ldap_split_orphan_partition)
int ldap_create_orphan_naming_context(LDAP *ld, char *firstDN, char *secondDN);

QLDAPX_ALIAS(ldap_remove_orphan_partition)
int ldap_remove_orphan_naming_context(LDAP *ld, char *firstDN, char *secondDN);
}
