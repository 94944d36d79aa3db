#include "qldapx/replica.h"

#include "core/alias.h"
#include "core/exchange.h"
#include "core/fatal.h"

#include <cstring>

namespace {

using qldapx::Decoder;
using qldapx::Exchange;
using qldapx::LdapStringPtr;
using qldapx::malformedResponse;
using qldapx::Operation;

constexpr Operation addReplica{"2.16.840.1.907341.1.27.100.7", "2.16.840.1.907341.1.27.100.8"};
constexpr Operation removeReplica{"2.16.840.1.907341.1.27.100.11", "2.16.840.1.907341.1.27.100.12"};
constexpr Operation changeType{"2.16.840.1.907341.1.27.100.15", "2.16.840.1.907341.1.27.100.16"};
constexpr Operation getInfo{"2.16.840.1.907341.1.27.100.17", "2.16.840.1.907341.1.27.100.18"};
constexpr Operation listAll{"2.16.840.1.907341.1.27.100.19", "2.16.840.1.907341.1.27.100.20"};
constexpr Operation receiveAll{"2.16.840.1.907341.1.27.100.21", "2.16.840.1.907341.1.27.100.22"};
constexpr Operation sendAll{"2.16.840.1.907341.1.27.100.23", "2.16.840.1.907341.1.27.100.24"};
constexpr Operation partitionSync{"2.16.840.1.907341.1.27.100.25", "2.16.840.1.907341.1.27.100.26"};
constexpr Operation schemaSync{"2.16.840.1.907341.1.27.100.27", "2.16.840.1.907341.1.27.100.28"};

void copyDn(const char *dn, ReplicaInfo *info) {
    std::size_t size = std::strlen(dn) + 1;
    if (size > sizeof info->dn)
        qldapx::fatal("ldap_get_replica_info", "the replica's DN does not fit ReplicaInfo.dn");
    std::memcpy(info->dn, dn, size);
}

// Response: INTEGER x 5, OCTET STRING, INTEGER x 2, bare. The string may be missing.
int readInfo(Decoder &value, ReplicaInfo *info, LdapStringPtr &dn) {
    bool read = value.integer(&info->number1) && value.integer(&info->number2) &&
                value.integer(&info->number3) && value.integer(&info->number4) &&
                value.integer(&info->number5) && (value.nextIs(LBER_INTEGER) || value.text(dn)) &&
                value.integer(&info->number6) && value.integer(&info->number7);
    if (!read)
        return malformedResponse;
    if (dn != nullptr)
        copyDn(dn.get(), info);
    return LDAP_SUCCESS;
}

} // namespace

extern "C" {

// The server reads the arguments of the next three in the reverse of the caller's order.
int ldap_add_replica(LDAP *ld, char *firstDN, char *secondDN, int replicaType, int flags) {
    return Exchange(ld).call(addReplica, "iiss", flags, replicaType, secondDN, firstDN);
}

int ldap_remove_replica(LDAP *ld, char *firstDN, char *secondDN, int flags) {
    return Exchange(ld).call(removeReplica, "iss", flags, secondDN, firstDN);
}

int ldap_change_replica_type(LDAP *ld, char *firstDN, char *secondDN, int replicaType, int flags) {
    return Exchange(ld).call(changeType, "iiss", flags, replicaType, secondDN, firstDN);
}

// Here too the second DN comes first on the wire.
int ldap_get_replica_info(LDAP *ld, char *firstDN, char *secondDN, ReplicaInfo *info) {
    Exchange exchange(ld);
    LdapStringPtr dn;
    return exchange.response(exchange.call(getInfo, "ss", secondDN, firstDN),
                             [&](Decoder &value) { return readInfo(value, info, dn); });
}

// Response: SEQUENCE OF or SET OF OCTET STRING.
int ldap_list_replicas(LDAP *ld, char *dn, char ***replicaList) {
    Exchange exchange(ld);
    return exchange.response(exchange.call(listAll, "s", dn), [replicaList](Decoder &value) {
        return value.strings(replicaList) ? LDAP_SUCCESS : malformedResponse;
    });
}

int ldap_receive_all_updates(LDAP *ld, char *firstDN, char *secondDN, char *extra) {
    if (firstDN == nullptr || secondDN == nullptr)
        return LDAP_PARAM_ERROR;
    // The server ignores the third string, but it must be there.
    return Exchange(ld).call(receiveAll, "sss", firstDN, secondDN,
                             extra == nullptr ? "unusedParam" : extra);
}

int ldap_send_all_updates(LDAP *ld, char *firstDN, char *secondDN) {
    return Exchange(ld).call(sendAll, "ss", firstDN, secondDN == nullptr ? "" : secondDN);
}

int ldap_request_partition_sync(LDAP *ld, char *secondDN, char *firstDN, int delay) {
    return Exchange(ld).call(partitionSync, "ssi", secondDN, firstDN, delay);
}

QLDAPX_ALIAS(ldap_request_partition_sync)
int ldap_request_naming_context_sync(LDAP *ld, char *secondDN, char *firstDN, int delay);

int ldap_request_schema_sync(LDAP *ld, char *dn, int delay) {
    return Exchange(ld).call(schemaSync, "si", dn, delay);
}
}
