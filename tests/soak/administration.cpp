#include "jobs.h"
#include "operations.h"
#include "owners.h"

namespace soak {

void administer(Hand &hand) {
    const std::string child = hand.freshDn("child");
    addPerson(hand, child, "a partition for a moment");
    Scene scene{hand.session(), hand.place().area, child, 2};
    for (const Operation &operation : operations())
        hand.expect(operation.call, operation.run(scene));
    deleteEntry(hand, child);
}

namespace {

struct Refusal {
    const char *call;
    int code;
    int (*run)(LDAP *ld);
};

char nobody[] = "ou=nobody,dc=example,dc=com";
char noDn[] = "no dn";
char noFilter[] = "person$cn";

int countNobody(LDAP *ld) {
    int count = 0;
    return ldap_partition_entry_count(ld, nobody, &count);
}

int backUpNobody(LDAP *ld) {
    TextPtr state, data, chunks;
    int length = 0;
    return ldap_backup_object(ld, nobody, nullptr, out(state), out(data), out(chunks), &length);
}

#define CALL(expression) [](LDAP *ld) { return expression; }

const Refusal refusals[] = {
    {"ldap_partition_entry_count", LDAP_NO_SUCH_OBJECT, countNobody},
    {"ldap_backup_object", LDAP_NO_SUCH_OBJECT, backUpNobody},
    {"ldap_merge_partitions", LDAP_NO_SUCH_OBJECT, CALL(ldap_merge_partitions(ld, nobody, 0))},
    {"ldap_split_partition", LDAP_INVALID_DN_SYNTAX, CALL(ldap_split_partition(ld, noDn, 0))},
    {"ldap_trigger_back_process", LDAP_PARAM_ERROR, CALL(ldap_trigger_back_process(ld, 7, nobody))},
    {"ldap_set_replication_filter", LDAP_PARAM_ERROR,
     CALL(ldap_set_replication_filter(ld, nobody, noFilter))},
    {"ldap_bind_quill_s", LDAP_NOT_SUPPORTED, CALL(ldap_bind_quill_s(ld, nobody, nobody))},
};

#undef CALL

} // namespace

void failOnPurpose(Hand &hand) {
    for (const Refusal &refusal : refusals)
        hand.expect(refusal.call, refusal.run(hand.session()), refusal.code);
}

} // namespace soak
