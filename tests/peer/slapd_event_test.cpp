// Event monitoring with a server that has none, but sends intermediate responses of its own: those
// of content synchronisation (RFC 4533).
#include "event_refusal.h"
#include "persistent_search.h"
#include "slapd_server.h"
#include "support/ber.h"

#include <gtest/gtest.h>
#include <qldapx.h>

namespace {

using namespace qldapx_test;
using test::MessagePtr;
using test::SlapdServer;

constexpr char syncInfoName[] = "1.3.6.1.4.1.4203.1.9.1.4";

class SlapdEvents : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        server = std::make_unique<SlapdServer>(SlapdServer::Transport::unixSocket, "syncprov");
    }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override { ld = server->session(); }
    void TearDown() override { ldap_unbind_ext_s(ld, nullptr, nullptr); }

    // syncRequestValue ::= SEQUENCE { mode ENUMERATED { refreshAndPersist (3) } }
    int synchronize(const char *base) {
        char oid[] = LDAP_CONTROL_SYNC;
        Bytes value = sequence({fromHex("0a 01 03")});
        LDAPControl control{oid, {value.size(), value.data()}, 1};
        LDAPControl *controls[] = {&control, nullptr};
        int id = 0;
        EXPECT_EQ(ldap_search_ext(ld, base, LDAP_SCOPE_SUBTREE, nullptr, nullptr, 0, controls,
                                  nullptr, nullptr, LDAP_NO_LIMIT, &id),
                  LDAP_SUCCESS);
        return id;
    }

    MessagePtr next(int id) {
        LDAPMessage *message = nullptr;
        timeval patience{10, 0};
        EXPECT_GT(ldap_result(ld, id, LDAP_MSG_ONE, &patience, &message), 0);
        return MessagePtr(message);
    }

    // The entries first, then what says that they were all.
    MessagePtr nextIntermediate(int id) {
        MessagePtr message = next(id);
        while (message != nullptr && ldap_msgtype(message.get()) == LDAP_RES_SEARCH_ENTRY) {
            expectNoEvent(message.get(), LDAP_PARAM_ERROR, 0);
            message = next(id);
        }
        return message;
    }

    void expectNoEvent(LDAPMessage *message, int result, int freeit) {
        int type = -1, eventResult = -1;
        void *event = &type;
        test::spoilSessionCode(ld);
        EXPECT_EQ(ldap_parse_ds_event(ld, message, &type, &eventResult, &event, freeit), result);
        EXPECT_EQ(test::sessionCode(ld), result);
        EXPECT_EQ(event, nullptr);
        EXPECT_EQ(type, -1);
        EXPECT_EQ(eventResult, -1);
    }

    void expectSyncInfo(LDAPMessage *message) {
        char *name = nullptr;
        berval *value = nullptr;
        EXPECT_EQ(ldap_parse_intermediate(ld, message, &name, &value, nullptr, 0), LDAP_SUCCESS);
        EXPECT_STREQ(name, syncInfoName);
        ldap_memfree(name);
        ber_bvfree(value);
    }

    static inline std::unique_ptr<SlapdServer> server;
    LDAP *ld = nullptr;
};

TEST_F(SlapdEvents, RegistrationsAreRefused) {
    test::expectEventsRefused(ld, "dc=example,dc=com", LDAP_PROTOCOL_ERROR,
                              "unsupported extended operation");
}

TEST_F(SlapdEvents, OtherIntermediateResponsesAreNoEvents) {
    for (const char *base : {"dc=example,dc=com", "ou=people,dc=example,dc=com",
                             "cn=Ada,ou=people,dc=example,dc=com"}) {
        int id = synchronize(base);
        MessagePtr message = nextIntermediate(id);
        ASSERT_EQ(ldap_msgtype(message.get()), LDAP_RES_INTERMEDIATE) << base;
        expectSyncInfo(message.get());
        expectNoEvent(message.get(), LDAP_DECODING_ERROR, 0);
        expectNoEvent(message.release(), LDAP_DECODING_ERROR, 1);
        EXPECT_EQ(ldap_abandon_ext(ld, id, nullptr, nullptr), LDAP_SUCCESS);
    }
    test::expectEventsRefused(ld, "dc=example,dc=com", LDAP_PROTOCOL_ERROR,
                              "unsupported extended operation");
}

} // namespace
