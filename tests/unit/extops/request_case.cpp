#include "extops/request_case.h"

#include <ostream>

namespace qldapx_test {

std::string operationOid(int number) {
    return "2.16.840.1.907341.1.27.100." + std::to_string(number);
}

ScriptedPeer::Step success(int number, const std::optional<Bytes> &value) {
    return ScriptedPeer::answer(extendedResponse(LDAP_SUCCESS, operationOid(number), value));
}

std::ostream &operator<<(std::ostream &stream, const RequestCase &row) {
    return stream << row.name;
}

std::ostream &operator<<(std::ostream &stream, const SilentCase &row) {
    return stream << row.name;
}

TEST_P(RequestTest, Ok) {
    std::optional<Bytes> value;
    if (GetParam().value != nullptr)
        value = fromHex(GetParam().value);
    ScriptedPeer peer({ScriptedPeer::answer(
        extendedResponse(LDAP_UNWILLING_TO_PERFORM, std::nullopt, std::nullopt))});
    EXPECT_EQ(GetParam().call(peer.session()), LDAP_UNWILLING_TO_PERFORM);
    ASSERT_EQ(peer.received().size(), 1U);
    EXPECT_EQ(toHex(peer.received()[0]),
              toHex(ldapMessage(1, extendedRequest(operationOid(GetParam().operation), value))));
}

TEST_P(SilentTest, ErrorsWithoutSending) {
    ScriptedPeer peer({});
    int code = LDAP_BUSY;
    ldap_set_option(peer.session(), LDAP_OPT_RESULT_CODE, &code);
    EXPECT_EQ(GetParam().call(peer.session()), GetParam().result);
    ldap_get_option(peer.session(), LDAP_OPT_RESULT_CODE, &code);
    EXPECT_EQ(code, LDAP_BUSY);
    EXPECT_TRUE(peer.received().empty());
}

} // namespace qldapx_test
