#include "qldapx/trigger.h"

#include "core/exchange.h"

namespace {

using qldapx::Exchange;
using qldapx::Operation;

constexpr Operation refresh{"2.16.840.1.907341.1.27.100.9", "2.16.840.1.907341.1.27.100.10"};
constexpr Operation backlink{"2.16.840.1.907341.1.27.100.43", "2.16.840.1.907341.1.27.100.44"};
constexpr Operation janitor{"2.16.840.1.907341.1.27.100.47", "2.16.840.1.907341.1.27.100.48"};
constexpr Operation limber{"2.16.840.1.907341.1.27.100.49", "2.16.840.1.907341.1.27.100.50"};
constexpr Operation skulker{"2.16.840.1.907341.1.27.100.51", "2.16.840.1.907341.1.27.100.52"};
constexpr Operation schemaSync{"2.16.840.1.907341.1.27.100.53", "2.16.840.1.907341.1.27.100.54"};
constexpr Operation purge{"2.16.840.1.907341.1.27.100.55", "2.16.840.1.907341.1.27.100.56"};

} // namespace

extern "C" {

int ldap_refresh_server(LDAP *ld) {
    return Exchange(ld).call(refresh);
}

int wrapper_ldap_trigger_backlink(LDAP *ld) {
    return Exchange(ld).call(backlink);
}

int wrapper_ldap_trigger_janitor(LDAP *ld) {
    return Exchange(ld).call(janitor);
}

// Request: dn OCTET STRING, or no value at all.
int wrapper_ldap_trigger_limber(LDAP *ld, char *dn) {
    return dn == nullptr ? Exchange(ld).call(limber) : Exchange(ld).call(limber, "s", dn);
}

int wrapper_ldap_trigger_skulker(LDAP *ld) {
    return Exchange(ld).call(skulker);
}

int wrapper_ldap_trigger_schema_sync(LDAP *ld) {
    return Exchange(ld).call(schemaSync);
}

int wrapper_ldap_trigger_partition_purge(LDAP *ld) {
    return Exchange(ld).call(purge);
}

int ldap_trigger_back_process(LDAP *ld, int process, char *dn) {
    switch (process) {
    case LDAP_BACK_PROCESS_BACKLINK:
        return wrapper_ldap_trigger_backlink(ld);
    case LDAP_BACK_PROCESS_JANITOR:
        return wrapper_ldap_trigger_janitor(ld);
    case LDAP_BACK_PROCESS_LIMBER:
        return wrapper_ldap_trigger_limber(ld, dn);
    case LDAP_BACK_PROCESS_SKULKER:
        return wrapper_ldap_trigger_skulker(ld);
    case LDAP_BACK_PROCESS_SCHEMA_SYNC:
        return wrapper_ldap_trigger_schema_sync(ld);
    case LDAP_BACK_PROCESS_PARTITION_PURGE:
        return wrapper_ldap_trigger_partition_purge(ld);
    default:
        return LDAP_PARAM_ERROR;
    }
}
}
