#include "extops/operations.h"

#include <algorithm>
#include <array>
#include <ostream>

namespace qldapx_test {

namespace {

char *arg(const char *text) {
    return const_cast<char *>(text);
}

constexpr int untouched = -777777;
char untouchedText[] = "untouched";
char *untouchedList[] = {nullptr};

char *attributes[] = {arg("cn"), arg("sn"), nullptr};
constexpr unsigned short koraName[] = {'A', 0x20ac, 0};

#define OID(number) "2.16.840.1.907341.1.27.100." #number
#define CALL(expression) [](LDAP *ld, [[maybe_unused]] Outputs &out) { return expression; }

// In liblber's encoding without DER, which the requests have, a SEQUENCE has a length of four
// bytes (84 00 00 00 nn) and all else the shortest.
const auto operations = std::to_array<OperationCase>({
    {"ldap_split_partition", OID(3), OID(4), "02 01 05 04 03 6f 3d 61",
     CALL(ldap_split_partition(ld, arg("o=a"), 5))},
    {"ldap_create_naming_context", OID(3), OID(4), "02 01 05 04 03 6f 3d 61",
     CALL(ldap_create_naming_context(ld, arg("o=a"), 5))},
    {"ldap_merge_partitions", OID(5), OID(6), "02 01 05 04 03 6f 3d 61",
     CALL(ldap_merge_partitions(ld, arg("o=a"), 5))},
    {"ldap_merge_naming_contexts", OID(5), OID(6), "02 01 05 04 03 6f 3d 61",
     CALL(ldap_merge_naming_contexts(ld, arg("o=a"), 5))},
    {"ldap_abort_partition_operation", OID(29), OID(30), "02 01 05 04 03 6f 3d 61",
     CALL(ldap_abort_partition_operation(ld, arg("o=a"), 5))},
    {"ldap_abort_naming_context_operation", OID(29), OID(30), "02 01 05 04 03 6f 3d 61",
     CALL(ldap_abort_naming_context_operation(ld, arg("o=a"), 5))},
    {"ldap_partition_entry_count", OID(13), OID(14), "04 03 6f 3d 61",
     CALL(ldap_partition_entry_count(ld, arg("o=a"), &out.number)), "02 03 01 00 07",
     "number=65543"},
    {"ldap_naming_context_entry_count", OID(13), OID(14), "04 03 6f 3d 61",
     CALL(ldap_naming_context_entry_count(ld, arg("o=a"), &out.number)), "02 03 01 00 07",
     "number=65543"},
    {"ldap_split_orphan_partition", OID(39), OID(40), "04 03 6f 3d 61 04 03 6f 3d 62",
     CALL(ldap_split_orphan_partition(ld, arg("o=a"), arg("o=b")))},
    {"ldap_create_orphan_naming_context", OID(39), OID(40), "04 03 6f 3d 61 04 03 6f 3d 62",
     CALL(ldap_create_orphan_naming_context(ld, arg("o=a"), arg("o=b")))},
    {"ldap_remove_orphan_partition", OID(41), OID(42), "04 03 6f 3d 61 04 03 6f 3d 62",
     CALL(ldap_remove_orphan_partition(ld, arg("o=a"), arg("o=b")))},
    {"ldap_remove_orphan_naming_context", OID(41), OID(42), "04 03 6f 3d 61 04 03 6f 3d 62",
     CALL(ldap_remove_orphan_naming_context(ld, arg("o=a"), arg("o=b")))},

    {"ldap_add_replica", OID(7), OID(8), "02 01 02 02 01 01 04 01 42 04 01 41",
     CALL(ldap_add_replica(ld, arg("A"), arg("B"), 1, 2))},
    {"ldap_remove_replica", OID(11), OID(12), "02 01 02 04 01 42 04 01 41",
     CALL(ldap_remove_replica(ld, arg("A"), arg("B"), 2))},
    {"ldap_change_replica_type", OID(15), OID(16), "02 01 02 02 01 01 04 01 42 04 01 41",
     CALL(ldap_change_replica_type(ld, arg("A"), arg("B"), 1, 2))},
    {"ldap_get_replica_info", OID(17), OID(18), "04 01 42 04 01 41",
     CALL(ldap_get_replica_info(ld, arg("A"), arg("B"), &out.info)),
     "02 01 01 02 01 02 02 01 03 02 01 04 02 01 05 04 03 6f 3d 72 02 01 06 02 02 ff 7f",
     "info=1,2,3,4,5,o=r,6,-129"},
    {"ldap_list_replicas", OID(19), OID(20), "04 03 6f 3d 61",
     CALL(ldap_list_replicas(ld, arg("o=a"), &out.list)), "30 07 04 02 72 31 04 01 72",
     "list=r1,r,"},
    {"ldap_receive_all_updates", OID(21), OID(22), "04 01 41 04 01 42 04 01 43",
     CALL(ldap_receive_all_updates(ld, arg("A"), arg("B"), arg("C")))},
    {"ldap_send_all_updates", OID(23), OID(24), "04 01 41 04 01 42",
     CALL(ldap_send_all_updates(ld, arg("A"), arg("B")))},
    {"ldap_request_partition_sync", OID(25), OID(26), "04 01 53 04 01 46 02 01 09",
     CALL(ldap_request_partition_sync(ld, arg("S"), arg("F"), 9))},
    {"ldap_request_naming_context_sync", OID(25), OID(26), "04 01 53 04 01 46 02 01 09",
     CALL(ldap_request_naming_context_sync(ld, arg("S"), arg("F"), 9))},
    {"ldap_request_schema_sync", OID(27), OID(28), "04 01 53 02 01 09",
     CALL(ldap_request_schema_sync(ld, arg("S"), 9))},

    {"ldap_set_replication_filter", OID(35), OID(36),
     "04 01 53 30 84 00 00 00 27"
     " 30 84 00 00 00 0f 04 01 41 30 84 00 00 00 06 04 01 78 04 01 79"
     " 30 84 00 00 00 0c 04 01 42 30 84 00 00 00 03 04 01 7a",
     CALL(ldap_set_replication_filter(ld, arg("S"), arg("A$x$y$$B$z$$$")))},
    {"ldap_get_replication_filter", OID(37), OID(38), "04 01 53",
     CALL(ldap_get_replication_filter(ld, arg("S"), &out.text)),
     "30 17 30 0b 04 01 41 30 06 04 01 78 04 01 79 30 08 04 01 42 30 03 04 01 7a",
     "text=A$x$y$$B$z$$$", LDAP_DECODING_ERROR, true},

    {"ldap_get_bind_dn", OID(31), OID(32), nullptr, CALL(ldap_get_bind_dn(ld, &out.text)),
     "04 04 63 6e 3d 61", "text=cn=a"},
    {"ldap_get_context_identity_name", OID(31), OID(32), nullptr,
     CALL(ldap_get_context_identity_name(ld, &out.text)), "04 04 63 6e 3d 61", "text=cn=a"},
    {"ldap_get_effective_privileges", OID(33), OID(34), "04 01 64 04 01 74 04 02 63 6e",
     CALL(ldap_get_effective_privileges(ld, arg("d"), arg("t"), arg("cn"), &out.number)),
     "02 02 80 01", "number=-32767"},
    {"ldap_get_effective_privileges_list", OID(103), OID(104),
     "04 01 64 04 01 74 30 84 00 00 00 08 04 02 63 6e 04 02 73 6e",
     CALL(ldap_get_effective_privileges_list(ld, arg("d"), arg("t"), attributes, out.privileges)),
     "30 11 30 03 02 01 02 31 0a 30 03 02 01 03 30 03 02 01 06", "privileges=3,6,"},
    {"ldapx_get_effective_privileges_list", OID(103), OID(104),
     "04 01 64 04 01 74 30 84 00 00 00 08 04 02 63 6e 04 02 73 6e",
     CALL(ldapx_get_effective_privileges_list(ld, arg("d"), arg("t"), attributes, out.privileges, 2,
                                              &out.written)),
     "30 11 30 03 02 01 02 31 0a 30 03 02 01 03 30 03 02 01 06", "privileges=3,6,written=2"},
    {"ldap_kora_to_ldap", OID(1), OID(2), "04 06 00 41 20 ac 00 00",
     CALL(ldap_kora_to_ldap(ld, koraName, &out.text)), "04 04 63 6e 3d 61", "text=cn=a"},
    {"ldap_dns_to_x500_dn", OID(101), OID(102), "04 03 61 2e 62",
     CALL(ldap_dns_to_x500_dn(ld, arg("a.b"), &out.text)), "04 04 64 63 3d 61", "text=dc=a"},

    {"ldap_refresh_server", OID(9), OID(10), nullptr, CALL(ldap_refresh_server(ld))},
    {"wrapper_ldap_trigger_backlink", OID(43), OID(44), nullptr,
     CALL(wrapper_ldap_trigger_backlink(ld))},
    {"wrapper_ldap_trigger_janitor", OID(47), OID(48), nullptr,
     CALL(wrapper_ldap_trigger_janitor(ld))},
    {"wrapper_ldap_trigger_limber", OID(49), OID(50), "04 03 6f 3d 61",
     CALL(wrapper_ldap_trigger_limber(ld, arg("o=a")))},
    {"wrapper_ldap_trigger_limber_without_dn", OID(49), OID(50), nullptr,
     CALL(wrapper_ldap_trigger_limber(ld, nullptr))},
    {"wrapper_ldap_trigger_skulker", OID(51), OID(52), nullptr,
     CALL(wrapper_ldap_trigger_skulker(ld))},
    {"wrapper_ldap_trigger_schema_sync", OID(53), OID(54), nullptr,
     CALL(wrapper_ldap_trigger_schema_sync(ld))},
    {"wrapper_ldap_trigger_partition_purge", OID(55), OID(56), nullptr,
     CALL(wrapper_ldap_trigger_partition_purge(ld))},
    {"ldap_trigger_back_process_1", OID(43), OID(44), nullptr,
     CALL(ldap_trigger_back_process(ld, 1, arg("o=a")))},
    {"ldap_trigger_back_process_2", OID(47), OID(48), nullptr,
     CALL(ldap_trigger_back_process(ld, 2, arg("o=a")))},
    {"ldap_trigger_back_process_3", OID(49), OID(50), "04 03 6f 3d 61",
     CALL(ldap_trigger_back_process(ld, 3, arg("o=a")))},
    {"ldap_trigger_back_process_3_without_dn", OID(49), OID(50), nullptr,
     CALL(ldap_trigger_back_process(ld, 3, nullptr))},
    {"ldap_trigger_back_process_4", OID(51), OID(52), nullptr,
     CALL(ldap_trigger_back_process(ld, 4, arg("o=a")))},
    {"ldap_trigger_back_process_5", OID(53), OID(54), nullptr,
     CALL(ldap_trigger_back_process(ld, 5, arg("o=a")))},
    {"ldap_trigger_back_process_6", OID(55), OID(56), nullptr,
     CALL(ldap_trigger_back_process(ld, 6, arg("o=a")))},
});

#undef CALL
#undef OID

std::string describeList(char **list) {
    std::string text;
    for (char **item = list; item != nullptr && *item != nullptr; ++item)
        text += *item + std::string(",");
    return text;
}

std::string describeInfo(const ReplicaInfo &info) {
    std::string text;
    for (int number : {info.number1, info.number2, info.number3, info.number4, info.number5})
        text += std::to_string(number) + ",";
    return text + info.dn + "," + std::to_string(info.number6) + "," + std::to_string(info.number7);
}

} // namespace

Outputs::Outputs()
    : number(untouched), text(untouchedText), list(untouchedList), info(), written(untouched) {
    info.number1 = untouched;
    std::ranges::fill(privileges, untouched);
}

Outputs::~Outputs() {
    if (text != untouchedText)
        ldapx_memfree(text);
    if (list != untouchedList)
        ber_memvfree(reinterpret_cast<void **>(list));
}

std::string Outputs::describe(int result) const {
    bool succeeded = result == LDAP_SUCCESS;
    std::string all;
    if (number != untouched)
        all += "number=" + std::to_string(number);
    if (text != untouchedText)
        all += std::string("text=") + (text == nullptr ? "NULL" : text);
    if (succeeded && list != untouchedList)
        all += "list=" + describeList(list);
    if (info.number1 != untouched)
        all += "info=" + describeInfo(info);
    if (privileges[0] != untouched)
        all += "privileges=";
    for (const int *slot = privileges; *slot != untouched; ++slot)
        all += std::to_string(*slot) + ",";
    if (succeeded && written != untouched)
        all += "written=" + std::to_string(written);
    return all;
}

Bytes OperationCase::request() const {
    std::optional<Bytes> value;
    if (requestValue != nullptr)
        value = fromHex(requestValue);
    return ldapMessage(1, extendedRequest(requestOid, value));
}

Bytes OperationCase::response() const {
    return decodes() ? responseWith(fromHex(responseValue))
                     : extendedResponse(LDAP_SUCCESS, responseOid, std::nullopt);
}

Bytes OperationCase::responseWith(const Bytes &value) const {
    return extendedResponse(LDAP_SUCCESS, responseOid, value);
}

std::span<const OperationCase> allOperations() {
    return operations;
}

std::ostream &operator<<(std::ostream &stream, const OperationCase &operation) {
    return stream << operation.name;
}

} // namespace qldapx_test
