// answered.h - answers of a bulk update that libldap has received.
#pragma once

#include "support/ldap_message.h"
#include "support/message_owner.h"
#include "support/scripted_peer.h"

#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>

namespace qldapx_test {

constexpr char startOid[] = "2.16.840.1.907341.1.142.100.1";
constexpr char startResponseOid[] = "2.16.840.1.907341.1.142.100.2";
constexpr char operationOid[] = "2.16.840.1.907341.1.142.100.6";
constexpr char operationResponseOid[] = "2.16.840.1.907341.1.142.100.7";
constexpr char endOid[] = "2.16.840.1.907341.1.142.100.4";
constexpr char endResponseOid[] = "2.16.840.1.907341.1.142.100.5";

constexpr int unset = -4711;

inline int resultCode(LDAP *ld) {
    int code = unset;
    ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
    return code;
}

// ExtendedResponse with texts of the server's own.
inline Bytes spokenResponse(int code, const Bytes &matchedDn, const Bytes &message,
                            const std::string &oid) {
    return tlv(0x78, join({tlv(0x0a, Bytes(1, static_cast<char>(code))), octetString(matchedDn),
                           octetString(message), tlv(0x8a, oid)}));
}

// SEQUENCE { operationNumber, SEQUENCE { resultCode, matchedDN, errorMessage } }
inline Bytes failure(int number, int code, const Bytes &matchedDn, const Bytes &message) {
    return sequence(
        {integer(number), sequence({integer(code), octetString(matchedDn), octetString(message)})});
}

// A session on which the server has given this answer.
class Answered {
  public:
    explicit Answered(Bytes operation) : peer_({ScriptedPeer::answer(std::move(operation))}) {
        int id = 0;
        EXPECT_EQ(ldap_lburp_start_request(session(), &id), LDAP_SUCCESS);
        LDAPMessage *message = nullptr;
        timeval patience{10, 0};
        EXPECT_GT(ldap_result(session(), id, LDAP_MSG_ONE, &patience, &message), 0);
        message_.reset(message);
        int busy = LDAP_BUSY;
        ldap_set_option(session(), LDAP_OPT_RESULT_CODE, &busy);
    }

    LDAP *session() { return peer_.session(); }
    LDAPMessage *message() { return message_.get(); }
    // For a call that releases it.
    LDAPMessage *takeMessage() { return message_.release(); }

  private:
    ScriptedPeer peer_;
    MessagePtr message_;
};

} // namespace qldapx_test
