// Controls, backup and restore with memory that runs out at each of their allocations.
#include "no_memory.h"

#include "controls/control_list.h"
#include "support/case_name.h"
#include "support/ldap_message.h"

#include <cstring>
#include <qldapx.h>

namespace qldapx_test {
namespace {

struct CreateCase {
    const char *name;
    int (*call)(LDAP *ld, LDAPControl **ctrlp);
};

void PrintTo(const CreateCase &row, std::ostream *out) {
    *out << row.name;
}

#define CALL(expression) [](LDAP *ld, LDAPControl **ctrlp) { return expression; }

int flags[] = {1, 1, 1, 1, 1, 1, 1};
GetEffectiveItem item = {"cn", nullptr};
GetEffectiveItem *items[] = {&item, nullptr};

const CreateCase createCases[] = {
    {"PersistentSearch", CALL(ldap_create_persistentsearch_control(ld, 15, 1, 1, 1, ctrlp))},
    {"EffectiveRightsMode", CALL(ldap_create_geteffective_control(ld, nullptr, 1, 1, ctrlp))},
    {"EffectiveRightsItems", CALL(ldap_create_geteffective_control(ld, items, 2, 1, ctrlp))},
    {"ServerStatus", CALL(ldap_create_sstatus_control(ld, flags, 1, ctrlp))},
    {"Reference", CALL(ldap_create_reference_control(ld, 1, ctrlp))},
};

class CreateNoMemoryTest : public testing::TestWithParam<CreateCase> {};

TEST_P(CreateNoMemoryTest, NoMemory) {
    LDAPControl *control = nullptr;
    exhaust(
        {},
        [&](LDAP *ld) {
            control = nullptr;
            return GetParam().call(ld, &control);
        },
        [&](int result) {
            EXPECT_EQ(result == LDAP_SUCCESS, control != nullptr);
            ldap_control_free(control);
        });
}

INSTANTIATE_TEST_SUITE_P(Controls, CreateNoMemoryTest, testing::ValuesIn(createCases),
                         caseName<CreateCase>);

long leftBlocks(LDAP *ld, long failing, int expected) {
    LDAPControl *control = nullptr;
    long before = failing_memory::liveBlocks();
    failing_memory::failAllocation(failing);
    int result = ldap_create_proxyauth_control(ld, "cn=admin", &control);
    failing_memory::disarm();
    long left = failing_memory::liveBlocks() - before;
    EXPECT_EQ(result, expected);
    EXPECT_EQ(result == LDAP_SUCCESS, control != nullptr);
    ldap_control_free(control);
    return left;
}

// What was allocated before the failure stays: that is this control's contract.
TEST(ProxyControl, NoMemory) {
    ScriptedPeer peer({});
    LDAP *ld = peer.session();
    EXPECT_EQ(leftBlocks(ld, 1, LDAP_NO_MEMORY), 0);
    EXPECT_EQ(leftBlocks(ld, 2, LDAP_NO_MEMORY), 1);
    EXPECT_EQ(leftBlocks(ld, 3, LDAP_NO_MEMORY), 2);
    EXPECT_EQ(leftBlocks(ld, 4, LDAP_SUCCESS), 3);
}

TEST(EntryChange, NoMemory) {
    ControlList controls;
    controls.add(entryChangeOid, fromHex("30 0b 0a 01 08 04 03 6f 3d 61 80 01 07"));
    char *previous = nullptr;
    exhaust(
        {},
        [&](LDAP *ld) {
            int type = 0, present = 0, number = 0;
            return ldap_parse_entrychange_control(ld, controls.get(), &type, &previous, &present,
                                                  &number);
        },
        [&](int result) {
            EXPECT_EQ(result == LDAP_SUCCESS, previous != nullptr);
            ldap_memfree(previous);
        });
}

TEST(ServerStatus, NoMemory) {
    ControlList controls;
    controls.add(statusOid, fromHex("30 03 80 01 01"));
    exhaust(
        {},
        [&](LDAP *ld) {
            int numbers[4] = {};
            return ldap_parse_sstatus_control(ld, controls.get(), &numbers[0], &numbers[1],
                                              &numbers[2], &numbers[3]);
        },
        [](int) {});
}

int parseReference(LDAP *ld, ControlList &controls, char **reference) {
    return ldap_parse_reference_control(ld, controls.get(), nullptr, 0, nullptr, 0, nullptr,
                                        reference);
}

TEST(Reference, NoMemory) {
    ControlList controls;
    controls.add(referenceOid, set({tlv(0x82, "\x07"), tlv(0x86, "six")}));
    char *reference = nullptr;
    exhaust(
        {},
        [&](LDAP *ld) {
            reference = nullptr;
            return parseReference(ld, controls, &reference);
        },
        [&](int result) {
            EXPECT_EQ(result == LDAP_SUCCESS, reference != nullptr);
            ldap_memfree(reference);
        });
}

// The strings of ref1, ref3 and ref5 are lost, which is the function's contract; all else is not.
TEST(Reference, LosesWhatCannotReachTheCaller) {
    ScriptedPeer peer({});
    LDAP *ld = peer.session();
    ControlList controls;
    controls.add(referenceOid,
                 set({tlv(0x81, "one"), tlv(0x82, "\x07"), tlv(0x83, "three"), tlv(0x84, "\x07"),
                      tlv(0x85, sequence({octetString("five"), octetString("5")})),
                      tlv(0x86, "six"), tlv(0x86, "seven")}));
    char *reference = nullptr;
    long before = failing_memory::liveBlocks();
    ASSERT_EQ(parseReference(ld, controls, &reference), LDAP_SUCCESS);
    constexpr long textsAndList = 2 + 3;
    EXPECT_EQ(failing_memory::liveBlocks() - before, textsAndList + 1);
    ldap_memfree(reference);
}

// 200 sizes: their text is longer than its first buffer.
Bytes backupValue() {
    Bytes sizes;
    for (int i = 0; i < 200; ++i)
        sizes += sequence({integer(4096)});
    return integer(3) + integer(5) + integer(7) + octetString("abc") +
           sequence({integer(200), tlv(0x31, sizes)});
}

TEST(Backup, NoMemory) {
    char *state = nullptr, *data = nullptr, *sizes = nullptr;
    int length = 0;
    exhaust(
        {ScriptedPeer::answer(extendedResponse(0, "2.16.840.1.907341.1.27.100.97", backupValue()))},
        [&](LDAP *ld) {
            data = sizes = nullptr;
            {
                failing_memory::Pause pause;
                state = strdup("1+2");
            }
            char dn[] = "o=a", password[] = "secret";
            return ldap_backup_object(ld, dn, password, &state, &data, &sizes, &length);
        },
        [&](int result) {
            EXPECT_TRUE(result != LDAP_SUCCESS || std::strcmp(state, "5+7") == 0);
            EXPECT_EQ(result == LDAP_SUCCESS, data != nullptr);
            EXPECT_EQ(result == LDAP_SUCCESS, sizes != nullptr);
            for (char *text : {state, data, sizes})
                ldapx_memfree(text);
        });
}

TEST(Restore, NoMemory) {
    exhaust(
        {ScriptedPeer::answer(extendedResponse(0, "2.16.840.1.907341.1.27.100.99", std::nullopt))},
        [](LDAP *ld) {
            std::string sizes, data;
            {
                failing_memory::Pause pause;
                sizes = "2000;";
                for (int i = 0; i < 2000; ++i)
                    sizes += "4096;";
                data.assign(5000, 'x');
            }
            char dn[] = "o=a", password[] = "secret";
            return ldap_restore_object(ld, dn, password, data.data(), sizes.data(), 5000);
        },
        [](int) {});
}

constexpr std::size_t pieceSize = 4 << 20;
// What a call needs beside its pieces, libldap's buffers included.
constexpr long smallChange = 64 << 10;

// A piece is in memory twice at most, whatever libldap needs to receive it included.
TEST(Backup, HoldsAPieceTwiceAtMost) {
    const Bytes value = integer(pieceSize) + integer(5) + integer(7) +
                        octetString(Bytes(pieceSize, 'x')) + sequence({integer(0), set({})});
    ScriptedPeer peer(
        {ScriptedPeer::answer(extendedResponse(0, "2.16.840.1.907341.1.27.100.97", value))});
    LDAP *ld = peer.session();
    char dn[] = "o=a";
    char *state = nullptr, *data = nullptr, *sizes = nullptr;
    int length = 0;
    failing_memory::markPeak();
    ASSERT_EQ(ldap_backup_object(ld, dn, nullptr, &state, &data, &sizes, &length), LDAP_SUCCESS);
    EXPECT_LT(failing_memory::peakBytes(), static_cast<long>(2 * pieceSize) + smallChange);
    EXPECT_EQ(length, static_cast<int>(pieceSize));
    for (char *text : {state, data, sizes})
        ldapx_memfree(text);
}

TEST(Restore, HoldsAPieceTwiceAtMost) {
    ScriptedPeer peer(
        {ScriptedPeer::answer(extendedResponse(0, "2.16.840.1.907341.1.27.100.99", std::nullopt))});
    LDAP *ld = peer.session();
    Bytes data(pieceSize, 'x');
    char dn[] = "o=a", sizes[] = "0;";
    failing_memory::markPeak();
    ASSERT_EQ(ldap_restore_object(ld, dn, nullptr, data.data(), sizes, pieceSize), LDAP_SUCCESS);
    EXPECT_LT(failing_memory::peakBytes(), static_cast<long>(2 * pieceSize) + smallChange);
}

TEST(ReturnedBuffer, NoMemory) {
    Bytes bytes = octetString("abc");
    berval value{bytes.size(), bytes.data()};
    BerElement *ber = ber_init(&value);
    char *buffer = bytes.data();
    failing_memory::failAllocation(1);
    EXPECT_EQ(get_returnedBuffer(ber, &buffer), LBER_ERROR);
    EXPECT_TRUE(failing_memory::disarm());
    EXPECT_EQ(buffer, nullptr);
    ber_free(ber, 1);
}

} // namespace
} // namespace qldapx_test
