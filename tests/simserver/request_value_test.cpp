#include "extended/registry.h"
#include "request_values.h"

#include <gtest/gtest.h>

namespace {

using request_values::Operation;
using request_values::operations;
using wire::hex;
using wire::number;
using wire::text;

wire::Response ask(InProcess &server, const Operation &operation) {
    return operation.value.empty() ? server.extended(operation.number)
                                   : server.extended(operation.number, operation.value);
}

TEST(RequestValues, EveryOperationIsHere) {
    // All but "who am I" and those of bulk updates, which are not in this arc.
    EXPECT_EQ(operations().size() + 4, stratasim::extendedOperations().size());
}

TEST(RequestValues, AdministrativeOperationsNeedTheAdministrator) {
    for (const Operation &operation : operations()) {
        InProcess server;
        EXPECT_EQ(ask(server, operation).code == 50, !operation.open) << operation.number;
        server.bindAs(kAda);
        const auto response = ask(server, operation);
        // Ada may not ask for the privileges of the anonymous.
        const bool othersPrivileges = operation.number == 33 || operation.number == 103;
        EXPECT_EQ(response.code == 50, !operation.open || othersPrivileges) << operation.number;
        const int number = operation.response != 0 ? operation.response : operation.number + 1;
        EXPECT_EQ(response.oid, wire::strataOid(number));
        server.bindAdmin();
        EXPECT_NE(ask(server, operation).code, 50) << operation.number;
    }
}

void expectRefused(InProcess &server, const Operation &operation, const std::string &value) {
    const auto response = server.extended(operation.number, value);
    EXPECT_EQ(response.code, 2) << operation.number << " took " << value.size() << " bytes";
    EXPECT_EQ(response.diagnostic.substr(0, 13), "request value") << operation.number;
    EXPECT_FALSE(server.closed) << "only the operation fails";
}

TEST(RequestValues, AreTakenExactlyOrNotAtAll) {
    InProcess server;
    server.bindAdmin();
    for (const Operation &operation : operations()) {
        if (operation.value.empty()) {
            expectRefused(server, operation, "");
            expectRefused(server, operation, text("x"));
            continue;
        }
        for (std::size_t length = 0; length < operation.value.size(); ++length)
            expectRefused(server, operation, operation.value.substr(0, length));
        expectRefused(server, operation, operation.value + '\0');
        expectRefused(server, operation, operation.value + number(1));
        expectRefused(server, operation, wire::tlv(0x30, operation.value));
        const bool optional = operation.number == 49;
        EXPECT_EQ(server.extended(operation.number).code, optional ? 0 : 2) << operation.number;
    }
}

TEST(RequestValues, NumbersAreOfThirtyTwoBits) {
    InProcess server;
    server.bindAdmin();
    const std::string dn = text("ou=groups,dc=example,dc=com");
    EXPECT_EQ(server.extended(3, hex("02050080000000") + dn).code, 2);
    EXPECT_EQ(server.extended(3, hex("0209000000000000000001") + dn).code, 2);
    EXPECT_EQ(server.extended(3, hex("0200") + dn).code, 2);
    EXPECT_EQ(server.extended(3, hex("0204fffffffe") + dn).code, 0);
}

TEST(RequestValues, LengthsMayBeLongerThanNeeded) {
    InProcess server;
    server.bindAdmin();
    const std::string dn = "ou=groups,dc=example,dc=com";
    const std::string value =
        hex("02840000000100") + hex("0484000000") + static_cast<char>(dn.size()) + dn;
    EXPECT_EQ(server.extended(3, value).code, 0);
}

TEST(RequestValues, EveryFlippedBitIsAnsweredOrEndsTheConnection) {
    for (const Operation &operation : operations()) {
        InProcess server;
        const std::string message =
            wire::message(1, wire::extended(wire::strataOid(operation.number),
                                            operation.value.empty() ? nullptr : &operation.value));
        for (std::size_t bit = 0; bit < message.size() * 8; ++bit) {
            std::string flipped = message;
            flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
            server.bindAdmin();
            const std::string answer = server.raw(flipped);
            const bool silent = server.closed || server.last.abandon;
            EXPECT_TRUE(silent || wire::parse(answer).messages > 0);
        }
    }
}

TEST(UnknownOperation, IsAProtocolErrorWithoutAnOid) {
    InProcess server;
    const auto response = server.ask(wire::extended("1.2.3"));
    EXPECT_EQ(response.code, 2);
    EXPECT_EQ(response.oid, "none");
    EXPECT_EQ(response.value, "none");
    EXPECT_EQ(response.diagnostic, "1.2.3 is not served here");
    EXPECT_EQ(server.ask(wire::extended("refresh-server")).code, 2) << "names are for people";
    EXPECT_FALSE(server.closed);
}

} // namespace
