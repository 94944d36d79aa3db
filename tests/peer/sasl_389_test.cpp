// Binds by DIGEST-MD5 with 389-ds.
#include "directory.h"
#include "environment_389.h"
#include "sasl_bind.h"
#include "sasl_peer.h"

namespace test {

// A user is who has the name as uid.
SaslPeer startSaslPeer() {
    const DirectoryServer389 &server = With389::server();
    return {.uri = server.uri(),
            .adminDn = DirectoryServer389::adminDn,
            .adminPassword = DirectoryServer389::password,
            .realm = "localhost",
            .clearText = "{CLEAR}",
            .unknownUser = LDAP_INVALID_CREDENTIALS,
            .searchDuringBind = LDAP_SUCCESS,
            .owner = nullptr};
}

namespace {

using Sasl389 = WithSaslPeer;

TEST_F(Sasl389, UsersByTheirDn) {
    for (const char *uid : {"ada", "ben"}) {
        const Person &someone = person(uid);
        EXPECT_EQ(digestBind(ld, "dn:" + someone.dn(), someone.password), LDAP_SUCCESS);
        expectIs(ld, someone);
    }
}

} // namespace
} // namespace test
