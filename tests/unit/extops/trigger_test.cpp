// Triggers of background processes: which process a number stands for, and the optional DN.
#include "extops/request_case.h"

#include <climits>

namespace qldapx_test {
namespace {

const RequestCase requests[] = {
    {"LimberWithEmptyDn", 49, "04 00", CALL(wrapper_ldap_trigger_limber(ld, arg("")))},
    {"LimberByNumberWithEmptyDn", 49, "04 00", CALL(ldap_trigger_back_process(ld, 3, arg("")))},
    {"BacklinkWithoutDn", 43, nullptr, CALL(ldap_trigger_back_process(ld, 1, nullptr))},
    {"BacklinkByName", 43, nullptr,
     CALL(ldap_trigger_back_process(ld, LDAP_BACK_PROCESS_BACKLINK, nullptr))},
    {"JanitorByName", 47, nullptr,
     CALL(ldap_trigger_back_process(ld, LDAP_BACK_PROCESS_JANITOR, nullptr))},
    {"LimberByName", 49, "04 01 64",
     CALL(ldap_trigger_back_process(ld, LDAP_BACK_PROCESS_LIMBER, arg("d")))},
    {"SkulkerByName", 51, nullptr,
     CALL(ldap_trigger_back_process(ld, LDAP_BACK_PROCESS_SKULKER, nullptr))},
    {"SchemaSyncByName", 53, nullptr,
     CALL(ldap_trigger_back_process(ld, LDAP_BACK_PROCESS_SCHEMA_SYNC, nullptr))},
    {"PartitionPurgeByName", 55, nullptr,
     CALL(ldap_trigger_back_process(ld, LDAP_BACK_PROCESS_PARTITION_PURGE, nullptr))},
};
INSTANTIATE_TEST_SUITE_P(Trigger, RequestTest, testing::ValuesIn(requests), caseName<RequestCase>);

const SilentCase refused[] = {
    {"Zero", LDAP_PARAM_ERROR, CALL(ldap_trigger_back_process(ld, 0, arg("d")))},
    {"Seven", LDAP_PARAM_ERROR, CALL(ldap_trigger_back_process(ld, 7, arg("d")))},
    {"MinusOne", LDAP_PARAM_ERROR, CALL(ldap_trigger_back_process(ld, -1, arg("d")))},
    {"MinusThree", LDAP_PARAM_ERROR, CALL(ldap_trigger_back_process(ld, -3, nullptr))},
    {"Largest", LDAP_PARAM_ERROR, CALL(ldap_trigger_back_process(ld, INT_MAX, nullptr))},
    {"Smallest", LDAP_PARAM_ERROR, CALL(ldap_trigger_back_process(ld, INT_MIN, nullptr))},
    {"OneByteOverflow", LDAP_PARAM_ERROR, CALL(ldap_trigger_back_process(ld, 0x101, nullptr))},
};
INSTANTIATE_TEST_SUITE_P(Trigger, SilentTest, testing::ValuesIn(refused), caseName<SilentCase>);

} // namespace
} // namespace qldapx_test
