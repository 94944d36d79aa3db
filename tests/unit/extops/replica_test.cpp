// Replica operations: argument order, substitutions, and the two answers that carry data.
#include "extops/request_case.h"

#include <climits>
#include <cstring>

namespace qldapx_test {
namespace {

const RequestCase requests[] = {
    {"AddWithExtremes", 7, "02 04 80 00 00 00 02 04 7f ff ff ff 04 02 32 62 04 02 31 61",
     CALL(ldap_add_replica(ld, arg("1a"), arg("2b"), INT_MAX, INT_MIN))},
    {"RemoveWithNegativeFlags", 11, "02 01 ff 04 02 32 62 04 02 31 61",
     CALL(ldap_remove_replica(ld, arg("1a"), arg("2b"), -1))},
    {"ChangeTypeWithTwoByteNumbers", 15, "02 02 01 00 02 02 00 80 04 02 32 62 04 02 31 61",
     CALL(ldap_change_replica_type(ld, arg("1a"), arg("2b"), 128, 256))},
    {"ReceiveAllWithoutExtra", 21, "04 01 41 04 01 42 04 0b 75 6e 75 73 65 64 50 61 72 61 6d",
     CALL(ldap_receive_all_updates(ld, arg("A"), arg("B"), nullptr))},
    {"ReceiveAllWithEmptyExtra", 21, "04 01 41 04 01 42 04 00",
     CALL(ldap_receive_all_updates(ld, arg("A"), arg("B"), arg("")))},
    {"SendAllWithoutSecond", 23, "04 01 41 04 00",
     CALL(ldap_send_all_updates(ld, arg("A"), nullptr))},
    {"SendAllWithEmptySecond", 23, "04 01 41 04 00",
     CALL(ldap_send_all_updates(ld, arg("A"), arg("")))},
    {"SyncWithNegativeDelay", 25, "04 01 53 04 01 46 02 02 ff 00",
     CALL(ldap_request_partition_sync(ld, arg("S"), arg("F"), -256))},
    {"SyncWithSmallestDelay", 25, "04 01 53 04 01 46 02 04 80 00 00 00",
     CALL(ldap_request_naming_context_sync(ld, arg("S"), arg("F"), INT_MIN))},
    {"SchemaSyncWithLargestDelay", 27, "04 01 53 02 04 7f ff ff ff",
     CALL(ldap_request_schema_sync(ld, arg("S"), INT_MAX))},
};
INSTANTIATE_TEST_SUITE_P(Replica, RequestTest, testing::ValuesIn(requests), caseName<RequestCase>);

const SilentCase refused[] = {
    {"ReceiveAllWithoutFirst", LDAP_PARAM_ERROR,
     CALL(ldap_receive_all_updates(ld, nullptr, arg("B"), arg("C")))},
    {"ReceiveAllWithoutSecond", LDAP_PARAM_ERROR,
     CALL(ldap_receive_all_updates(ld, arg("A"), nullptr, arg("C")))},
    {"ReceiveAllWithoutAny", LDAP_PARAM_ERROR,
     CALL(ldap_receive_all_updates(ld, nullptr, nullptr, nullptr))},
};
INSTANTIATE_TEST_SUITE_P(Replica, SilentTest, testing::ValuesIn(refused), caseName<SilentCase>);

// A record between canaries, each field with a value of its own.
struct Guarded {
    char before[16];
    ReplicaInfo info;
    char after[16];
};

class ReplicaInfoTest : public testing::Test {
  protected:
    ReplicaInfoTest() {
        std::memset(&guarded_, canary, sizeof guarded_);
        info().number1 = info().number2 = info().number3 = info().number4 = info().number5 = -9;
        info().number6 = info().number7 = -9;
        std::strcpy(info().dn, "before");
    }

    // No answer may touch what lies around the record.
    ~ReplicaInfoTest() override {
        EXPECT_EQ(std::string(guarded_.before, sizeof guarded_.before), std::string(16, canary));
        EXPECT_EQ(std::string(guarded_.after, sizeof guarded_.after), std::string(16, canary));
    }

    ReplicaInfo &info() { return guarded_.info; }

    int read(const Bytes &value) {
        ScriptedPeer peer({success(18, value)});
        return ldap_get_replica_info(peer.session(), arg("A"), arg("B"), &info());
    }

    [[nodiscard]] std::vector<int> numbers() const {
        const ReplicaInfo &info = guarded_.info;
        return {info.number1, info.number2, info.number3, info.number4,
                info.number5, info.number6, info.number7};
    }

    static Bytes valueWith(const Bytes &string) {
        return join({integer(INT_MIN), integer(-1), integer(0), integer(256), integer(INT_MAX),
                     string, integer(6), integer(7)});
    }

    static constexpr char canary = 0x5a;

  private:
    Guarded guarded_;
};

TEST_F(ReplicaInfoTest, Layout) {
    EXPECT_EQ(sizeof(ReplicaInfo::dn), 771U);
    EXPECT_EQ(offsetof(ReplicaInfo, dn), 20U);
    EXPECT_EQ(offsetof(ReplicaInfo, number6), 792U);
    EXPECT_EQ(sizeof(ReplicaInfo), 800U);
}

TEST_F(ReplicaInfoTest, OkWithEveryField) {
    EXPECT_EQ(read(valueWith(octetString("o=r"))), LDAP_SUCCESS);
    EXPECT_EQ(numbers(), (std::vector{INT_MIN, -1, 0, 256, INT_MAX, 6, 7}));
    EXPECT_STREQ(info().dn, "o=r");
}

TEST_F(ReplicaInfoTest, OkWithDnOfEverySizeThatFits) {
    for (std::size_t size : {0U, 1U, 127U, 128U, 769U, 770U}) {
        SCOPED_TRACE(size);
        std::string dn(size, 'd');
        EXPECT_EQ(read(valueWith(octetString(dn))), LDAP_SUCCESS);
        EXPECT_EQ(info().dn, dn);
        EXPECT_EQ(info().number6, 6);
    }
}

TEST_F(ReplicaInfoTest, OkWithoutStringLeavesDn) {
    EXPECT_EQ(read(valueWith("")), LDAP_SUCCESS);
    EXPECT_EQ(numbers(), (std::vector{INT_MIN, -1, 0, 256, INT_MAX, 6, 7}));
    EXPECT_STREQ(info().dn, "before");
}

TEST_F(ReplicaInfoTest, OkWithTextAfterTheLastNumber) {
    EXPECT_EQ(read(valueWith(octetString("o=r")) + "more"), LDAP_SUCCESS);
    EXPECT_EQ(info().number7, 7);
}

TEST_F(ReplicaInfoTest, MalformedInTheMiddleKeepsWhatWasRead) {
    Bytes value = join({integer(1), integer(2), integer(3), tlv(0x0a, "4"), integer(5)});
    EXPECT_EQ(read(value), LDAP_ENCODING_ERROR);
    EXPECT_EQ(numbers(), (std::vector{1, 2, 3, -9, -9, -9, -9}));
    EXPECT_STREQ(info().dn, "before");
}

TEST_F(ReplicaInfoTest, MalformedAfterTheStringLeavesDn) {
    Bytes value = join({integer(1), integer(2), integer(3), integer(4), integer(5),
                        octetString("o=r"), integer(6)});
    EXPECT_EQ(read(value), LDAP_ENCODING_ERROR);
    EXPECT_EQ(numbers(), (std::vector{1, 2, 3, 4, 5, 6, -9}));
    EXPECT_STREQ(info().dn, "before");
}

TEST_F(ReplicaInfoTest, MalformedValues) {
    const Bytes five = join({integer(1), integer(2), integer(3), integer(4), integer(5)});
    const Bytes two = integer(6) + integer(7);
    const Bytes whole = five + octetString("o=r") + two;
    for (const Bytes &value :
         {sequence({whole}), set({whole}), five + integer(6), five + tlv(0x05, "") + two,
          five + tlv(0x0c, "o=r") + two, five + sequence({octetString("o=r")}) + two,
          five + octetString(Bytes("o\0r", 3)) + two, tlv(0x02, Bytes(5, '\1')) + whole}) {
        SCOPED_TRACE(toHex(value));
        EXPECT_EQ(read(value), LDAP_ENCODING_ERROR);
        EXPECT_STREQ(info().dn, "before");
    }
}

using ReplicaInfoDeathTest = ReplicaInfoTest;

TEST_F(ReplicaInfoDeathTest, DnThatDoesNotFitEndsTheProcess) {
    for (std::size_t size : {771U, 772U, 5000U})
        EXPECT_EXIT(read(valueWith(octetString(std::string(size, 'd')))),
                    testing::KilledBySignal(SIGABRT), "ldap_get_replica_info: .*ReplicaInfo.dn");
}

struct ListCase {
    const char *name;
    const char *value;
    int result;
    std::vector<std::string> replicas;
};

const ListCase listCases[] = {
    {"EmptySequence", "30 00", LDAP_SUCCESS, {}},
    {"EmptySet", "31 00", LDAP_SUCCESS, {}},
    {"One", "30 03 04 01 61", LDAP_SUCCESS, {"a"}},
    {"Set", "31 05 04 01 61 04 00", LDAP_SUCCESS, {"a", ""}},
    {"LongLengths", "30 84 00 00 00 07 04 84 00 00 00 01 61", LDAP_SUCCESS, {"a"}},
    {"BareString", "04 01 61", LDAP_ENCODING_ERROR, {}},
    {"Integer", "02 01 61", LDAP_ENCODING_ERROR, {}},
    {"Null", "05 00", LDAP_ENCODING_ERROR, {}},
    {"Empty", "", LDAP_ENCODING_ERROR, {}},
    {"ElementBeyondTheSequence", "30 04 04 01 61 04 01 62", LDAP_ENCODING_ERROR, {}},
    {"ElementBeyondTheEnd", "30 05 04 01 61 04 7f", LDAP_ENCODING_ERROR, {}},
    {"SequenceBeyondTheEnd", "30 06 04 01 61 04 00", LDAP_ENCODING_ERROR, {}},
    {"HugeElement", "30 09 04 01 61 04 84 7f ff ff ff", LDAP_ENCODING_ERROR, {}},
};

std::ostream &operator<<(std::ostream &stream, const ListCase &row) {
    return stream << row.name;
}

class ReplicaListTest : public testing::TestWithParam<ListCase> {};

TEST_P(ReplicaListTest, Decodes) {
    ScriptedPeer peer({success(20, fromHex(GetParam().value))});
    char **list = nullptr;
    ASSERT_EQ(ldap_list_replicas(peer.session(), arg("o=a"), &list), GetParam().result);
    if (GetParam().result != LDAP_SUCCESS)
        return;
    std::vector<std::string> replicas;
    for (char **replica = list; replica != nullptr && *replica != nullptr; ++replica)
        replicas.emplace_back(*replica);
    EXPECT_EQ(replicas, GetParam().replicas);
    ber_memvfree(reinterpret_cast<void **>(list));
}

INSTANTIATE_TEST_SUITE_P(Replica, ReplicaListTest, testing::ValuesIn(listCases),
                         caseName<ListCase>);

TEST(ReplicaList, OkWithManyReplicas) {
    Bytes elements;
    for (int number = 0; number < 20000; ++number)
        elements += octetString("cn=server" + std::to_string(number));
    ScriptedPeer peer({success(20, sequence({elements}))});
    char **list = nullptr;
    ASSERT_EQ(ldap_list_replicas(peer.session(), arg("o=a"), &list), LDAP_SUCCESS);
    EXPECT_STREQ(list[0], "cn=server0");
    EXPECT_STREQ(list[19999], "cn=server19999");
    EXPECT_EQ(list[20000], nullptr);
    ber_memvfree(reinterpret_cast<void **>(list));
}

} // namespace
} // namespace qldapx_test
