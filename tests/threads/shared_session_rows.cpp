// One session that threads hand to each other: it is one's at a time.
#include "rows.h"

#include "support/ldap_message.h"
#include "support/scripted_peer.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <qldapx.h>

namespace qldapx_test {
namespace {

constexpr unsigned threadCount = 4;

std::mutex turn;
std::unique_ptr<ScriptedPeer> peer;

void open(unsigned rounds) {
    const Bytes identity =
        extendedResponse(LDAP_SUCCESS, "2.16.840.1.907341.1.27.100.32", octetString("cn=a"));
    peer = std::make_unique<ScriptedPeer>(
        std::vector(std::size_t{rounds} * threadCount, ScriptedPeer::answer(identity)));
    peer->session();
}

void ask(unsigned /*round*/) {
    const std::lock_guard<std::mutex> lock(turn);
    char *dn = nullptr;
    require(ldap_get_bind_dn(peer->session(), &dn) == LDAP_SUCCESS && std::strcmp(dn, "cn=a") == 0,
            "an identity");
    ldapx_memfree(dn);
}

const Row rows[] = {
    {"session-handed-over", 200, {threadCount, ask}, open, [] { peer.reset(); }},
};

} // namespace

std::span<const Row> sharedSessionRows() {
    return rows;
}

} // namespace qldapx_test
