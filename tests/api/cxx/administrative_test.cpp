// Every administrative operation once with a server that does it, and once with one that refuses.
#include "answers.h"

namespace api_test {
namespace {

namespace partition = qldapx::partition;
namespace replica = qldapx::replica;
namespace replication_filter = qldapx::replication_filter;
namespace identity = qldapx::identity;
namespace trigger = qldapx::trigger;
using qldapx::session_ref;

struct Operation {
    const char *name;
    const char *requestOid;
    const char *responseOid;
    // In hexadecimal; nullptr: none.
    const char *requestValue;
    std::string (*call)(session_ref at);
    const char *responseValue = nullptr;
    const char *output = "done";
};

void PrintTo(const Operation &row, std::ostream *out) {
    *out << row.name;
}

std::string privilegesOfTwo(session_ref at) {
    const char *const attributes[] = {"cn", "sn", nullptr};
    int privileges[2] = {};
    const auto count = identity::effective_privileges(at, "d", "t", attributes, privileges, 2);
    if (!count)
        return describe(count.error());
    return std::to_string(*count) + ":" + std::to_string(privileges[0]) + "," +
           std::to_string(privileges[1]);
}

#define OID(number) "2.16.840.1.907341.1.27.100." #number
#define CALL(expression) [](session_ref at) { return describe(expression); }

const Operation operations[] = {
    {"partition_split", OID(3), OID(4), "02 01 05 04 03 6f 3d 61",
     CALL(partition::split(at, "o=a", 5))},
    {"partition_merge", OID(5), OID(6), "02 01 05 04 03 6f 3d 61",
     CALL(partition::merge(at, "o=a", 5))},
    {"partition_abort_operation", OID(29), OID(30), "02 01 05 04 03 6f 3d 61",
     CALL(partition::abort_operation(at, "o=a", 5))},
    {"partition_entry_count", OID(13), OID(14), "04 03 6f 3d 61",
     CALL(partition::entry_count(at, "o=a")), "02 03 01 00 07", "65543"},
    {"partition_split_orphan", OID(39), OID(40), "04 03 6f 3d 61 04 03 6f 3d 62",
     CALL(partition::split_orphan(at, "o=a", "o=b"))},
    {"partition_remove_orphan", OID(41), OID(42), "04 03 6f 3d 61 04 03 6f 3d 62",
     CALL(partition::remove_orphan(at, "o=a", "o=b"))},

    {"replica_add", OID(7), OID(8), "02 01 02 02 01 01 04 01 42 04 01 41",
     CALL(replica::add(at, "A", "B", 1, 2))},
    {"replica_remove", OID(11), OID(12), "02 01 02 04 01 42 04 01 41",
     CALL(replica::remove(at, "A", "B", 2))},
    {"replica_change_type", OID(15), OID(16), "02 01 02 02 01 01 04 01 42 04 01 41",
     CALL(replica::change_type(at, "A", "B", 1, 2))},
    {"replica_get_info", OID(17), OID(18), "04 01 42 04 01 41",
     CALL(replica::get_info(at, "A", "B")),
     "02 01 01 02 01 02 02 01 03 02 01 04 02 01 05 04 03 6f 3d 72 02 01 06 02 02 ff 7f",
     "1,2,3,4,5,o=r,6,-129"},
    {"replica_list", OID(19), OID(20), "04 03 6f 3d 61", CALL(replica::list(at, "o=a")),
     "30 07 04 02 72 31 04 01 72", "r1,r,"},
    {"replica_receive_all_updates", OID(21), OID(22), "04 01 41 04 01 42 04 01 43",
     CALL(replica::receive_all_updates(at, "A", "B", "C"))},
    {"replica_receive_all_updates_plainly", OID(21), OID(22),
     "04 01 41 04 01 42 04 0b 75 6e 75 73 65 64 50 61 72 61 6d",
     CALL(replica::receive_all_updates(at, "A", "B"))},
    {"replica_send_all_updates", OID(23), OID(24), "04 01 41 04 01 42",
     CALL(replica::send_all_updates(at, "A", "B"))},
    {"replica_send_all_updates_to_all", OID(23), OID(24), "04 01 41 04 00",
     CALL(replica::send_all_updates(at, "A"))},
    {"replica_request_sync", OID(25), OID(26), "04 01 53 04 01 46 02 01 09",
     CALL(replica::request_sync(at, "F", "S", 9))},
    {"replica_request_schema_sync", OID(27), OID(28), "04 01 53 02 01 09",
     CALL(replica::request_schema_sync(at, "S", 9))},

    {"replication_filter_set", OID(35), OID(36),
     "04 01 53 30 84 00 00 00 15 30 84 00 00 00 0f 04 01 41 30 84 00 00 00 06 04 01 78 04 01 79",
     CALL(replication_filter::set(at, "S", "A$x$y$$$"))},
    {"replication_filter_get", OID(37), OID(38), "04 01 53", CALL(replication_filter::get(at, "S")),
     "30 0d 30 0b 04 01 41 30 06 04 01 78 04 01 79", "A$x$y$$$"},

    {"identity_bind_dn", OID(31), OID(32), nullptr, CALL(identity::bind_dn(at)),
     "04 04 63 6e 3d 61", "cn=a"},
    {"identity_effective_privileges", OID(33), OID(34), "04 01 64 04 01 74 04 02 63 6e",
     CALL(identity::effective_privileges(at, "d", "t", "cn")), "02 02 80 01", "-32767"},
    {"identity_effective_privileges_of_two", OID(103), OID(104),
     "04 01 64 04 01 74 30 84 00 00 00 08 04 02 63 6e 04 02 73 6e", privilegesOfTwo,
     "30 11 30 03 02 01 02 31 0a 30 03 02 01 03 30 03 02 01 06", "2:3,6"},
    {"identity_kora_to_dn", OID(1), OID(2), "04 06 00 41 20 ac 00 00",
     CALL(identity::kora_to_dn(at, u"A\u20ac")), "04 04 63 6e 3d 61", "cn=a"},
    {"identity_dns_to_dn", OID(101), OID(102), "04 03 61 2e 62",
     CALL(identity::dns_to_dn(at, "a.b")), "04 04 64 63 3d 61", "dc=a"},

    {"trigger_backlink", OID(43), OID(44), nullptr,
     CALL(trigger::start(at, trigger::process::backlink))},
    {"trigger_janitor", OID(47), OID(48), nullptr,
     CALL(trigger::start(at, trigger::process::janitor))},
    {"trigger_limber", OID(49), OID(50), nullptr,
     CALL(trigger::start(at, trigger::process::limber))},
    {"trigger_limber_with_dn", OID(49), OID(50), "04 03 6f 3d 61",
     CALL(trigger::start(at, trigger::process::limber, "o=a"))},
    {"trigger_skulker", OID(51), OID(52), nullptr,
     CALL(trigger::start(at, trigger::process::skulker))},
    {"trigger_schema_sync", OID(53), OID(54), nullptr,
     CALL(trigger::start(at, trigger::process::schema_sync))},
    {"trigger_partition_purge", OID(55), OID(56), nullptr,
     CALL(trigger::start(at, trigger::process::partition_purge))},
    {"trigger_refresh_server", OID(9), OID(10), nullptr, CALL(trigger::refresh_server(at))},
};

#undef CALL
#undef OID

class CxxOperation : public testing::TestWithParam<Operation> {};

TEST_P(CxxOperation, IsDone) {
    const Operation &row = GetParam();
    std::optional<Bytes> request, response;
    if (row.requestValue != nullptr)
        request = fromHex(row.requestValue);
    if (row.responseValue != nullptr)
        response = fromHex(row.responseValue);
    ScriptedPeer peer(
        {ScriptedPeer::answer(extendedResponse(LDAP_SUCCESS, row.responseOid, response))});
    EXPECT_EQ(row.call(borrowed(peer)), row.output);
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_EQ(toHex(peer.received()[0]),
              toHex(ldapMessage(1, extendedRequest(row.requestOid, request))));
}

TEST_P(CxxOperation, IsRefusedWithTheServersWords) {
    ScriptedPeer peer({ScriptedPeer::answer(refusal(GetParam().responseOid))});
    EXPECT_EQ(GetParam().call(borrowed(peer)), refused);
}

INSTANTIATE_TEST_SUITE_P(All, CxxOperation, testing::ValuesIn(operations), caseName<Operation>);

TEST(CxxOperations, ThatSendNothingHaveNoTexts) {
    ScriptedPeer peer({ScriptedPeer::answer(refusal("1.2.3"))});
    const session_ref at = borrowed(peer);
    EXPECT_EQ(describe(partition::split(at, "o=a")), refused);
    EXPECT_EQ(describe(replication_filter::set(at, "S", "no dollar")), "-9||");
    EXPECT_EQ(describe(trigger::start(at, static_cast<trigger::process>(7))), "-9||");
}

TEST(CxxReplicaInfo, HasAnEmptyDnWhereNoneCame) {
    const Bytes value = fromHex("02 01 01 02 01 02 02 01 03 02 01 04 02 01 05 04 00 02 01 06 "
                                "02 01 07");
    ScriptedPeer peer({ScriptedPeer::answer(
        extendedResponse(LDAP_SUCCESS, "2.16.840.1.907341.1.27.100.18", value))});
    EXPECT_EQ(describe(replica::get_info(borrowed(peer), "A", "B")), "1,2,3,4,5,,6,7");
}

} // namespace
} // namespace api_test
