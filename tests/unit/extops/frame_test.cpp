// What all administrative operations have in common, for each of them.
#include "extops/operations.h"
#include "extops/request_case.h"

namespace qldapx_test {
namespace {

constexpr int serverCodes[] = {LDAP_OPERATIONS_ERROR, LDAP_NO_SUCH_OBJECT, LDAP_INSUFFICIENT_ACCESS,
                               LDAP_UNWILLING_TO_PERFORM, LDAP_OTHER};

class OperationTest : public testing::TestWithParam<OperationCase> {
  protected:
    struct Outcome {
        int result;
        std::string output;
        std::vector<Bytes> requests;
    };

    static Outcome run(ScriptedPeer::Step step) {
        ScriptedPeer peer({std::move(step)});
        Outputs out;
        int result = GetParam().call(peer.session(), out);
        return {result, out.describe(result), peer.received()};
    }

    static int resultOf(const Bytes &response) {
        return run(ScriptedPeer::answer(response)).result;
    }

    static int resultUnder(const std::optional<std::string> &oid) {
        std::optional<Bytes> value;
        if (GetParam().decodes())
            value = fromHex(GetParam().responseValue);
        return resultOf(extendedResponse(LDAP_SUCCESS, oid, value));
    }

    static int codeUnderOtherOid() {
        return GetParam().acceptsAnyOid ? LDAP_SUCCESS : LDAP_NOT_SUPPORTED;
    }
};

TEST_P(OperationTest, Ok) {
    Outcome outcome = run(ScriptedPeer::answer(GetParam().response()));
    EXPECT_EQ(outcome.result, LDAP_SUCCESS);
    EXPECT_EQ(outcome.output, GetParam().output);
    ASSERT_EQ(outcome.requests.size(), 1U);
    EXPECT_EQ(toHex(outcome.requests[0]), toHex(GetParam().request()));
}

TEST_P(OperationTest, ErrorsOfTheServerPassUnchanged) {
    for (int code : serverCodes) {
        Outcome outcome =
            run(ScriptedPeer::answer(extendedResponse(code, GetParam().responseOid, "x")));
        EXPECT_EQ(outcome.result, code);
        EXPECT_EQ(outcome.output, "");
    }
}

TEST_P(OperationTest, ErrorsWithoutResponseOid) {
    EXPECT_EQ(resultUnder(std::nullopt), LDAP_NOT_SUPPORTED);
}

TEST_P(OperationTest, ErrorsUnderAnotherOid) {
    const std::string expected = GetParam().responseOid;
    EXPECT_EQ(resultUnder(expected), LDAP_SUCCESS);
    EXPECT_EQ(resultUnder("2.16.840.1.907341.1.27.100.999"), codeUnderOtherOid());
    EXPECT_EQ(resultUnder(GetParam().requestOid), codeUnderOtherOid());
    EXPECT_EQ(resultUnder(expected + "0"), codeUnderOtherOid());
    EXPECT_EQ(resultUnder(expected + " "), codeUnderOtherOid());
    EXPECT_EQ(resultUnder(expected.substr(0, expected.size() - 1)), codeUnderOtherOid());
}

// A value that no operation decodes is no reason to fail; a missing one is.
TEST_P(OperationTest, ErrorsOfTheResponseValue) {
    EXPECT_EQ(resultOf(extendedResponse(0, GetParam().responseOid, std::nullopt)),
              GetParam().decodes() ? LDAP_OPERATIONS_ERROR : LDAP_SUCCESS);
    for (const Bytes &value : {Bytes(), Bytes("\0", 1), Bytes(5000, '\xff')})
        EXPECT_EQ(resultOf(GetParam().responseWith(value)),
                  GetParam().decodes() ? GetParam().malformed : LDAP_SUCCESS);
}

TEST_P(OperationTest, ErrorsOfTheConnection) {
    Outcome outcome = run(ScriptedPeer::closeConnection());
    EXPECT_EQ(outcome.result, LDAP_SERVER_DOWN);
    EXPECT_EQ(outcome.output, "");
    EXPECT_LT(run(ScriptedPeer::raw(octetString("no message"))).result, 0);
}

// Only libldap stores a result code in the session: what the operation itself finds wrong with
// an answer stays out of it.
void expectCodeOfLibldap(const OperationCase &operation, const Bytes &response, int result) {
    ScriptedPeer peer({ScriptedPeer::answer(response)});
    int code = LDAP_BUSY;
    ldap_set_option(peer.session(), LDAP_OPT_RESULT_CODE, &code);
    Outputs out;
    EXPECT_EQ(operation.call(peer.session(), out), result);
    ldap_get_option(peer.session(), LDAP_OPT_RESULT_CODE, &code);
    EXPECT_EQ(code, LDAP_SUCCESS);
}

TEST_P(OperationTest, LeavesTheSessionResultCodeToLibldap) {
    expectCodeOfLibldap(GetParam(), extendedResponse(0, std::nullopt, std::nullopt),
                        LDAP_NOT_SUPPORTED);
}

INSTANTIATE_TEST_SUITE_P(All, OperationTest,
                         testing::ValuesIn(allOperations().begin(), allOperations().end()),
                         caseName<OperationCase>);

class DecodingTest : public OperationTest {};

TEST_P(DecodingTest, MalformedByTruncation) {
    const Bytes value = fromHex(GetParam().responseValue);
    for (std::size_t length = 0; length < value.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_EQ(resultOf(GetParam().responseWith(value.substr(0, length))), GetParam().malformed);
    }
}

// One flipped bit may give another valid value, but never another code.
TEST_P(DecodingTest, MalformedByOneBit) {
    const Bytes value = fromHex(GetParam().responseValue);
    for (std::size_t bit = 0; bit < 8 * value.size(); ++bit) {
        SCOPED_TRACE(bit);
        Bytes damaged = value;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
        int result = resultOf(GetParam().responseWith(damaged));
        EXPECT_TRUE(result == LDAP_SUCCESS || result == GetParam().malformed) << result;
    }
}

TEST_P(DecodingTest, MalformedByTag) {
    const Bytes value = fromHex(GetParam().responseValue);
    for (int tag : {0x00, 0x01, 0x05, 0x0a, 0x0c, 0x22, 0x24, 0x7f, 0x80, 0xa0, 0xff}) {
        SCOPED_TRACE(tag);
        Bytes damaged = value;
        damaged[0] = static_cast<char>(tag);
        EXPECT_EQ(resultOf(GetParam().responseWith(damaged)), GetParam().malformed);
    }
}

TEST_P(DecodingTest, LeavesTheSessionResultCodeToLibldap) {
    expectCodeOfLibldap(GetParam(), GetParam().responseWith(""), GetParam().malformed);
    expectCodeOfLibldap(GetParam(), extendedResponse(0, GetParam().responseOid, std::nullopt),
                        LDAP_OPERATIONS_ERROR);
}

std::vector<OperationCase> decodingOperations() {
    std::vector<OperationCase> decoding;
    for (const OperationCase &operation : allOperations())
        if (operation.decodes())
            decoding.push_back(operation);
    return decoding;
}

INSTANTIATE_TEST_SUITE_P(All, DecodingTest, testing::ValuesIn(decodingOperations()),
                         caseName<OperationCase>);

// The builder of the expected bytes against a message spelled out in full.
TEST(Frame, WholeMessageInHexadecimal) {
    ScriptedPeer peer({ScriptedPeer::answer(
        fromHex("78 25 0a 01 00 04 00 04 00 8a 1c 32 2e 31 36 2e 38 34 30 2e 31 2e 39 30 37 33 34"
                " 31 2e 31 2e 32 37 2e 31 30 30 2e 38"))});
    EXPECT_EQ(ldap_add_replica(peer.session(), arg("A"), arg("B"), 1, 2), LDAP_SUCCESS);
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_EQ(toHex(peer.received()[0]),
              "30 31 02 01 01 77 2c 80 1c 32 2e 31 36 2e 38 34 30 2e 31 2e 39 30 37 33 34 31 2e 31"
              " 2e 32 37 2e 31 30 30 2e 37 81 0c 02 01 02 02 01 01 04 01 42 04 01 41");
}

TEST(Frame, OneSessionServesManyOperations) {
    ScriptedPeer peer(
        {ScriptedPeer::answer(extendedResponse(0, "2.16.840.1.907341.1.27.100.10", "")),
         ScriptedPeer::answer(extendedResponse(LDAP_BUSY, std::nullopt, std::nullopt)),
         ScriptedPeer::answer(extendedResponse(0, "2.16.840.1.907341.1.27.100.10", std::nullopt))});
    EXPECT_EQ(ldap_refresh_server(peer.session()), LDAP_SUCCESS);
    EXPECT_EQ(ldap_refresh_server(peer.session()), LDAP_BUSY);
    EXPECT_EQ(ldap_refresh_server(peer.session()), LDAP_SUCCESS);
    EXPECT_EQ(peer.received().size(), 3U);
}

} // namespace
} // namespace qldapx_test
