// The requests of a bulk update: every byte that is sent, and what stops one from being sent.
#include "lburp/answered.h"
#include "lburp/samples.h"
#include "session.h"

#include <climits>
#include <cstring>
#include <sys/mman.h>

namespace qldapx_test {
namespace {

char dn[] = "cn=a", rdn[] = "cn=b";

// What a request sends, as hex; its message id is 1.
template <class Call>
std::string sent(Call call) {
    ScriptedPeer peer({});
    LDAP *ld = peer.session();
    int id = unset, busy = LDAP_BUSY;
    ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &busy);
    EXPECT_EQ(call(ld, &id), LDAP_SUCCESS);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(resultCode(ld), LDAP_SUCCESS);
    return toHex(peer.received().at(0));
}

std::string request(const char *oid, const Bytes &value) {
    return toHex(ldapMessage(1, extendedRequest(oid, value)));
}

std::string sentOperations(int number, std::vector<LBURPOperation *> operations) {
    operations.push_back(nullptr);
    return sent([&](LDAP *ld, int *id) {
        return ldap_lburp_operation_request(ld, number, operations.data(), id);
    });
}

TEST(LburpStartRequest, Sends) {
    EXPECT_EQ(sent([](LDAP *ld, int *id) { return ldap_lburp_start_request(ld, id); }),
              request(startOid, wideSequence({octetString("2.16.840.1.907341.1.142.1.4.2")})));
}

TEST(LburpEndRequest, Sends) {
    struct Row {
        int number;
        const char *value;
    };
    const Row rows[] = {{0, "30 03 02 01 00"},
                        {1, "30 03 02 01 01"},
                        {128, "30 04 02 02 00 80"},
                        {-1, "30 03 02 01 ff"},
                        {INT_MAX, "30 06 02 04 7f ff ff ff"},
                        {INT_MIN, "30 06 02 04 80 00 00 00"}};
    for (const Row &row : rows)
        EXPECT_EQ(
            sent([&](LDAP *ld, int *id) { return ldap_lburp_end_request(ld, row.number, id); }),
            request(endOid, fromHex(row.value)));
}

TEST(LburpOperationRequest, SendsSequenceNumber) {
    struct Row {
        int number;
        const char *value;
    };
    const Row rows[] = {{1, "30 84 00 00 00 03 02 01 01"},
                        {0, "30 84 00 00 00 03 02 01 00"},
                        {-129, "30 84 00 00 00 04 02 02 ff 7f"},
                        {INT_MAX, "30 84 00 00 00 06 02 04 7f ff ff ff"},
                        {INT_MIN, "30 84 00 00 00 06 02 04 80 00 00 00"}};
    for (const Row &row : rows)
        EXPECT_EQ(sentOperations(row.number, {}), request(operationOid, fromHex(row.value)));
    EXPECT_EQ(
        sent([&](LDAP *ld, int *id) { return ldap_lburp_operation_request(ld, 1, nullptr, id); }),
        request(operationOid, fromHex(rows[0].value)));
}

Bytes wide(unsigned char tag, const Bytes &content) {
    return longTlv(tag, content, 4);
}

TEST(LburpOperationRequest, SendsOperationsInOrder) {
    Modifications attributes, changes;
    attributes.strings(LDAP_MOD_ADD, "cn", {"a"});
    changes.bytes(LDAP_MOD_REPLACE, "sn", {Bytes("\0", 1)});
    RequestControls controls, none;
    controls.add("1.2", true, "v");
    LBURPOperation add{LDAP_REQ_ADD, dn, attributes.list(), controls.list()};
    LBURPOperation modify{LDAP_REQ_MODIFY, dn, changes.list(), nullptr};
    LBURPOperation rename{LDAP_REQ_MODDN, dn, rdn, nullptr};
    LBURPOperation remove{LDAP_REQ_DELETE, dn, nullptr, none.list()};
    const Bytes name = fromHex("04 04 63 6e 3d 61"), newName = fromHex("04 04 63 6e 3d 62");
    EXPECT_EQ(
        sentOperations(7, {&add, &modify, &rename, &remove}),
        request(
            operationOid,
            wideSequence(
                {integer(7),
                 wideSequence(
                     {wide(0x68, name + wideSequence({wideSequence(
                                            {octetString("cn"), wide(0x31, octetString("a"))})})),
                      wide(0xa0, wideSequence({octetString("1.2"), fromHex("01 01 ff"),
                                               octetString("v")}))}),
                 wideSequence({wide(
                     0x66,
                     name + wideSequence({wideSequence(
                                {fromHex("0a 01 02"),
                                 wideSequence({octetString("sn"),
                                               wide(0x31, octetString(Bytes("\0", 1)))})})}))}),
                 // The new RDN once more as new superior, and the old one deleted.
                 wideSequence({wide(0x6c, name + newName + fromHex("01 01 ff") + newName)}),
                 wideSequence({fromHex("4a 04 63 6e 3d 61"), wide(0xa0, "")})})));
}

// Nobody looks at what a delete operation has for changes.
TEST(LburpOperationRequest, DeleteHasNoChanges) {
    LBURPOperation remove{LDAP_REQ_DELETE, dn, reinterpret_cast<void *>(1), nullptr};
    EXPECT_EQ(sentOperations(1, {&remove}),
              request(operationOid,
                      wideSequence({integer(1), wideSequence({fromHex("4a 04 63 6e 3d 61")})})));
}

// Whether the old RDN is deleted is said by the low half of the pointer to the new one.
TEST(LburpOperationRequest, ModifyDnAtARoundAddress) {
    void *round = reinterpret_cast<void *>(0x500000000000);
    void *page = mmap(round, 4096, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    ASSERT_EQ(page, round) << std::strerror(errno);
    std::strcpy(static_cast<char *>(page), rdn);
    LBURPOperation rename{LDAP_REQ_MODDN, dn, page, nullptr};
    EXPECT_EQ(sentOperations(1, {&rename}),
              request(operationOid,
                      wideSequence(
                          {integer(1), wideSequence({wide(0x6c, fromHex("04 04 63 6e 3d 61"
                                                                        "04 04 63 6e 3d 62 01 01 00"
                                                                        "04 04 63 6e 3d 62"))})})));
    munmap(page, 4096);
}

TEST(LburpOperationRequest, ManyOperations) {
    constexpr int count = 3000;
    std::vector<LBURPOperation> operations(count, {LDAP_REQ_DELETE, dn, nullptr, nullptr});
    std::vector<LBURPOperation *> list;
    Bytes value = integer(2);
    for (LBURPOperation &operation : operations) {
        list.push_back(&operation);
        value += wideSequence({fromHex("4a 04 63 6e 3d 61")});
    }
    EXPECT_EQ(sentOperations(2, list), request(operationOid, wide(0x30, value)));
}

// What is not sent.

int refused(std::initializer_list<LBURPOperation> operations) {
    std::vector<LBURPOperation> kept(operations);
    std::vector<LBURPOperation *> list;
    for (LBURPOperation &operation : kept)
        list.push_back(&operation);
    list.push_back(nullptr);
    ScriptedPeer peer({});
    LDAP *ld = peer.session();
    int id = unset, busy = LDAP_BUSY;
    ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &busy);
    int result = ldap_lburp_operation_request(ld, 1, list.data(), &id);
    EXPECT_EQ(id, unset);
    EXPECT_EQ(resultCode(ld), result);
    EXPECT_TRUE(peer.received().empty());
    return result;
}

TEST(LburpOperationRequest, UnknownType) {
    for (int type : {0, -1, 0x63, 0x69, 0x4b, 0x6d, 0x168, INT_MAX})
        EXPECT_EQ(refused({{LDAP_REQ_DELETE, dn, nullptr, nullptr}, {type, dn, nullptr, nullptr}}),
                  LDAP_NOT_SUPPORTED)
            << type;
}

TEST(LburpOperationRequest, WhatCannotBeEncoded) {
    const LBURPOperation good{LDAP_REQ_DELETE, dn, nullptr, nullptr};
    const LBURPOperation unknown{0, dn, nullptr, nullptr};
    for (std::int32_t type : {0x68, 0x4a, 0x66, 0x6c}) {
        const LBURPOperation nameless{type, nullptr, nullptr, nullptr};
        EXPECT_EQ(refused({nameless}), LDAP_ENCODING_ERROR);
        EXPECT_EQ(refused({good, nameless, good}), LDAP_ENCODING_ERROR);
        EXPECT_EQ(refused({nameless, unknown}), LDAP_ENCODING_ERROR); // the first that fails
        EXPECT_EQ(refused({unknown, nameless}), LDAP_NOT_SUPPORTED);
    }
    EXPECT_EQ(refused({{LDAP_REQ_MODDN, dn, nullptr, nullptr}}), LDAP_ENCODING_ERROR);
}

using Request = int (*)(LDAP *ld, int *id);

const Request requests[] = {
    ldap_lburp_start_request,
    [](LDAP *ld, int *id) { return ldap_lburp_operation_request(ld, 1, nullptr, id); },
    [](LDAP *ld, int *id) { return ldap_lburp_end_request(ld, 1, id); },
};

TEST(LburpRequests, SendFails) {
    for (Request send : requests) {
        Session session; // nobody listens
        const int version = LDAP_VERSION3;
        ldap_set_option(session, LDAP_OPT_PROTOCOL_VERSION, &version);
        int id = unset;
        EXPECT_EQ(send(session, &id), LDAP_SERVER_DOWN);
        EXPECT_EQ(session.resultCode(), LDAP_SERVER_DOWN);
    }
}

TEST(LburpRequests, NotInVersion2) {
    for (Request send : requests) {
        Session session;
        const int version = LDAP_VERSION2;
        ldap_set_option(session, LDAP_OPT_PROTOCOL_VERSION, &version);
        int id = unset;
        EXPECT_EQ(send(session, &id), LDAP_NOT_SUPPORTED);
        EXPECT_EQ(session.resultCode(), LDAP_NOT_SUPPORTED);
    }
}

} // namespace
} // namespace qldapx_test
