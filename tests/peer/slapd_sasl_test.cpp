// Binds by DIGEST-MD5 with OpenLDAP's server.
#include "directory.h"
#include "sasl_bind.h"
#include "sasl_peer.h"
#include "slapd_server.h"
#include "support/expected_leak.h"

#include <csignal>

namespace test {
namespace {

constexpr char realm[] = "example.com";

std::string mapping() {
    return std::string("sasl-host localhost\nsasl-realm ") + realm +
           "\nauthz-regexp \"uid=(.*),cn=[^,]*,cn=digest-md5,cn=auth\""
           " \"uid=$1,ou=people,dc=example,dc=com\"\n";
}

std::shared_ptr<SlapdServer> startSlapd(const std::string &settings) {
    return std::make_shared<SlapdServer>(SlapdServer::Transport::every, "",
                                         SlapdServer::usualSchemas, settings);
}

} // namespace

SaslPeer startSaslPeer() {
    std::shared_ptr<SlapdServer> server = startSlapd(mapping());
    return {.uri = server->uri(),
            .adminDn = SlapdServer::adminDn,
            .adminPassword = SlapdServer::adminPassword,
            .realm = realm,
            .clearText = "",
            .unknownUser = LDAP_OTHER,
            .searchDuringBind = LDAP_OPERATIONS_ERROR,
            .owner = server};
}

namespace {

const SlapdServer &serverOf(const SaslPeer &peer) {
    return *static_cast<SlapdServer *>(peer.owner.get());
}

class SlapdSasl : public WithSaslPeer {
  protected:
    static void expectBindWorks(const std::string &uri) {
        SCOPED_TRACE(uri);
        LDAP *session = openSession(uri);
        EXPECT_EQ(digestBind(session, "ada", "peer-secret"), LDAP_SUCCESS);
        expectIs(session, person("ada"));
        ldap_unbind_ext_s(session, nullptr, nullptr);
    }
};

// The host that the session has is a name, an address, a path or several of them.
TEST_F(SlapdSasl, EveryKindOfAddress) {
    const SlapdServer &server = serverOf(peer);
    const std::string port = server.uris()[1].substr(server.uris()[1].rfind(':'));
    for (const std::string &uri : server.uris())
        expectBindWorks(uri);
    expectBindWorks("ldap://localhost" + port);
    expectBindWorks("ldap://127.0.0.1:1 ldap://127.0.0.1" + port);
    expectBindWorks("ldap://127.0.0.1" + port + " ldap://127.0.0.1:1");
}

// Names that 389-ds does not allow: those of ISO 8859-1 are hashed as the passwords are.
TEST_F(SlapdSasl, NamesOfOtherLanguages) {
    for (const char *name : {"jürgen", "κλειώ", "小林"}) {
        SCOPED_TRACE(name);
        const Person someone = {name, "peer-secret"};
        addPerson(peer, someone);
        EXPECT_EQ(digestBind(ld, name, "peer-secret"), LDAP_SUCCESS);
        expectIs(ld, someone);
    }
}

TEST_F(SlapdSasl, MechanismThatTheServerDoesNotOffer) {
    auto refusing = startSlapd("sasl-secprops forwardsec\n");
    LDAP *session = openSession(refusing->uri());
    void *context = &session;
    EXPECT_EQ(ldap_bind_digest_md5_start(session, &context), LDAP_AUTH_METHOD_NOT_SUPPORTED);
    EXPECT_EQ(context, &session);
    ldap_unbind_ext_s(session, nullptr, nullptr);
}

TEST_F(SlapdSasl, SessionOfVersion2) {
    int version = LDAP_VERSION2;
    ldap_set_option(ld, LDAP_OPT_PROTOCOL_VERSION, &version);
    void *context = nullptr;
    EXPECT_EQ(ldap_bind_digest_md5_start(ld, &context), LDAP_NOT_SUPPORTED);
}

// A server that ends, or no longer answers, between the two steps. Over TCP what is sent to such a
// server leaves.
class SlapdSaslEnd : public testing::Test {
  protected:
    void SetUp() override {
        peer = startSaslPeer();
        addPerson(peer, person("ada"));
        ld = openSession(serverOf(peer).uris()[1]);
    }
    void TearDown() override { ldap_unbind_ext_s(ld, nullptr, nullptr); }

    SaslPeer peer;
    LDAP *ld = nullptr;
};

TEST_F(SlapdSaslEnd, ServerThatWasKilled) {
    qldapx_test::ExpectedLeak everything;
    DigestBind bind(ld);
    serverOf(peer).interrupt(SIGKILL);
    EXPECT_EQ(bind.finish("ada", "peer-secret"), LDAP_SERVER_DOWN);
    EXPECT_TRUE(bind.isHeld());
}

TEST_F(SlapdSaslEnd, ServerThatWasKilledBefore) {
    expectAnonymous(ld);
    serverOf(peer).interrupt(SIGKILL);
    void *context = &ld;
    EXPECT_EQ(ldap_bind_digest_md5_start(ld, &context), LDAP_SERVER_DOWN);
    EXPECT_EQ(context, &ld);
}

TEST_F(SlapdSaslEnd, ServerThatDoesNotAnswerInTime) {
    qldapx_test::ExpectedLeak everything;
    DigestBind bind(ld);
    serverOf(peer).interrupt(SIGSTOP);
    timeval patience{0, 100000};
    ldap_set_option(ld, LDAP_OPT_TIMEOUT, &patience);
    EXPECT_EQ(bind.finish("ada", "peer-secret"), LDAP_TIMEOUT);
    EXPECT_TRUE(bind.isHeld());
    void *another = nullptr;
    EXPECT_EQ(ldap_bind_digest_md5_start(ld, &another), LDAP_TIMEOUT);
    EXPECT_EQ(another, nullptr);
}

} // namespace
} // namespace test
