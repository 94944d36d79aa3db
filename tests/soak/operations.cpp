#include "operations.h"

#include "owners.h"
#include "session.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>

namespace soak {
namespace {

char admin[] = "cn=admin,dc=example,dc=com";
char ada[] = "cn=Ada Brandt,ou=people,dc=example,dc=com";
char strata1[] = "cn=strata1,ou=servers,dc=example,dc=com";
char strata2[] = "cn=strata2,ou=servers,dc=example,dc=com";
char strata3[] = "cn=strata3,ou=servers,dc=example,dc=com";

constexpr int pending = 1; // a split with this flag waits until it is aborted
constexpr int writable = 2, readOnly = 3;
constexpr int allRights = 31;

/** A success with wrong data is none. */
int judged(int code, bool isRight) {
    return code == LDAP_SUCCESS && !isRight ? wrongData : code;
}

bool isText(const TextPtr &text, const std::string &wanted) {
    return text != nullptr && wanted == text.get();
}

int countEntries(Scene &scene) {
    int count = 0;
    const int code = ldap_partition_entry_count(scene.ld, arg(scene.area), &count);
    return judged(code, count == scene.entries);
}

int listReplicas(Scene &scene) {
    ListPtr list;
    const int code = ldap_list_replicas(scene.ld, arg(scene.area), out(list));
    const auto isThird = [](const char *each) { return std::strcmp(each, strata3) == 0; };
    char **end = list.get();
    while (end != nullptr && *end != nullptr)
        ++end;
    return judged(code, end - list.get() == 3 && std::any_of(list.get(), end, isThird));
}

int replicaInfo(Scene &scene) {
    ReplicaInfo info{};
    const int code = ldap_get_replica_info(scene.ld, arg(scene.area), strata3, &info);
    return judged(code, std::strcmp(info.dn, strata3) == 0 && info.number5 == scene.entries);
}

/** A server has one filter, whichever thread sets it. */
std::mutex filterOfServer;
constexpr const char *filterText = "person$cn$sn$$device$$$";

int setFilter(Scene &scene) {
    const std::lock_guard lock(filterOfServer);
    return ldap_set_replication_filter(scene.ld, strata1, arg(filterText));
}

int getFilter(Scene &scene) {
    TextPtr filter;
    const int code = ldap_get_replication_filter(scene.ld, strata1, out(filter));
    return judged(code, isText(filter, filterText));
}

int identity(Scene &scene) {
    TextPtr dn;
    const int code = ldap_get_bind_dn(scene.ld, out(dn));
    return judged(code, isText(dn, admin));
}

int privileges(Scene &scene) {
    char name[] = "cn";
    int bits = 0;
    const int code = ldap_get_effective_privileges(scene.ld, ada, admin, name, &bits);
    return judged(code, bits == allRights);
}

int privilegesList(Scene &scene) {
    char first[] = "cn", second[] = "mail";
    char *names[] = {first, second, nullptr};
    std::array<int, 2> bits{};
    int count = 0;
    const int code = ldapx_get_effective_privileges_list(scene.ld, ada, admin, names, bits.data(),
                                                         bits.size(), &count);
    return judged(code, count == 2 && bits[0] == allRights && bits[1] == allRights);
}

int nameFromKora(Scene &scene) {
    const std::u16string name = u"example.com/people/Ada Brandt";
    std::vector<unsigned short> units(name.begin(), name.end());
    units.push_back(0);
    TextPtr dn;
    const int code = ldap_kora_to_ldap(scene.ld, units.data(), out(dn));
    return judged(code, isText(dn, ada));
}

int nameFromDns(Scene &scene) {
    char name[] = "people.example.com";
    TextPtr dn;
    const int code = ldap_dns_to_x500_dn(scene.ld, name, out(dn));
    return judged(code, isText(dn, "ou=people,dc=example,dc=com"));
}

template <int process>
int trigger(Scene &scene) {
    return ldap_trigger_back_process(scene.ld, process, arg(scene.child));
}

#define CALL(expression) [](Scene &scene) { return expression; }

const std::vector<Operation> table = {
    {"split-partition", "ldap_split_partition",
     CALL(ldap_split_partition(scene.ld, arg(scene.area), 0))},
    {"partition-entry-count", "ldap_partition_entry_count", countEntries},
    {"list-replicas", "ldap_list_replicas", listReplicas},
    {"remove-replica", "ldap_remove_replica",
     CALL(ldap_remove_replica(scene.ld, arg(scene.area), strata3, 0))},
    {"add-replica", "ldap_add_replica",
     CALL(ldap_add_replica(scene.ld, arg(scene.area), strata3, writable, 0))},
    {"change-replica-type", "ldap_change_replica_type",
     CALL(ldap_change_replica_type(scene.ld, arg(scene.area), strata3, readOnly, 0))},
    {"get-replica-info", "ldap_get_replica_info", replicaInfo},
    {"receive-all-updates", "ldap_receive_all_updates",
     CALL(ldap_receive_all_updates(scene.ld, arg(scene.area), strata3, nullptr))},
    {"send-all-updates", "ldap_send_all_updates",
     CALL(ldap_send_all_updates(scene.ld, arg(scene.area), nullptr))},
    {"request-partition-sync", "ldap_request_partition_sync",
     CALL(ldap_request_partition_sync(scene.ld, strata3, arg(scene.area), 0))},
    {"request-schema-sync", "ldap_request_schema_sync",
     CALL(ldap_request_schema_sync(scene.ld, strata2, 0))},
    {"set-replication-filter", "ldap_set_replication_filter", setFilter},
    {"get-replication-filter", "ldap_get_replication_filter", getFilter},
    {"split-orphan-partition", "ldap_split_orphan_partition",
     CALL(ldap_split_orphan_partition(scene.ld, strata2, arg(scene.child)))},
    {"remove-orphan-partition", "ldap_remove_orphan_partition",
     CALL(ldap_remove_orphan_partition(scene.ld, strata2, arg(scene.child)))},
    {"split-partition", "ldap_create_naming_context",
     CALL(ldap_create_naming_context(scene.ld, arg(scene.child), pending))},
    {"abort-partition-operation", "ldap_abort_partition_operation",
     CALL(ldap_abort_partition_operation(scene.ld, arg(scene.child), 0))},
    {"merge-partitions", "ldap_merge_partitions",
     CALL(ldap_merge_partitions(scene.ld, arg(scene.area), 0))},
    {"get-bind-dn", "ldap_get_bind_dn", identity},
    {"get-effective-privileges", "ldap_get_effective_privileges", privileges},
    {"get-effective-privileges-list", "ldapx_get_effective_privileges_list", privilegesList},
    {"kora-to-ldap", "ldap_kora_to_ldap", nameFromKora},
    {"dns-to-x500-dn", "ldap_dns_to_x500_dn", nameFromDns},
    {"refresh-server", "ldap_refresh_server", CALL(ldap_refresh_server(scene.ld))},
    {"trigger-backlink", "ldap_trigger_back_process", trigger<LDAP_BACK_PROCESS_BACKLINK>},
    {"trigger-janitor", "ldap_trigger_back_process", trigger<LDAP_BACK_PROCESS_JANITOR>},
    {"trigger-limber", "ldap_trigger_back_process", trigger<LDAP_BACK_PROCESS_LIMBER>},
    {"trigger-skulker", "ldap_trigger_back_process", trigger<LDAP_BACK_PROCESS_SKULKER>},
    {"trigger-schema-sync", "ldap_trigger_back_process", trigger<LDAP_BACK_PROCESS_SCHEMA_SYNC>},
    {"trigger-partition-purge", "ldap_trigger_back_process",
     trigger<LDAP_BACK_PROCESS_PARTITION_PURGE>},
};

#undef CALL

} // namespace

const std::vector<Operation> &operations() {
    return table;
}

const Operation *operationNamed(const std::string &served) {
    const auto found =
        std::ranges::find_if(table, [&](const Operation &each) { return served == each.served; });
    return found == table.end() ? nullptr : &*found;
}

} // namespace soak
