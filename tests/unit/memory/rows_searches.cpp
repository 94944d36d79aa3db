// Searches by URL.
#include "memory/rows.h"
#include "support/ldap_message.h"
#include "support/scripted_peer.h"

#include <qldapx.h>

namespace qldapx_test::memory {
namespace {

constexpr char url[] = "ldap:///o=x?cn,sn?sub?(&(cn=a)(sn=b))";

using Search = int (*)(LDAP *ld, LDAPMessage **result);

void search(Trial &trial, const char *function, Search work) {
    ScriptedPeer peer({ScriptedPeer::answers({searchEntry("o=x"), searchDone(LDAP_SUCCESS)})});
    const Watch watch(trial);
    LDAP *ld = peer.session();
    LDAPMessage *answer = nullptr;
    const int result = trial.code(
        function, [&] { return work(ld, &answer); }, Without::mayGoOn);
    trial.expect(result != LDAP_SUCCESS || ldap_count_messages(ld, answer) == 2, "another output");
    ldap_msgfree(answer);
    peer.closeSession();
}

// Its result is the message id.
void searchWithoutWaiting(Trial &trial) {
    ScriptedPeer peer({});
    const Watch watch(trial);
    LDAP *ld = peer.session();
    trial.code(
        "ldap_url_search", [&] { return ldap_url_search(ld, url, 0) > 0 ? LDAP_SUCCESS : -1; },
        Without::mayGoOn);
    peer.closeSession();
}

} // namespace

void addSearches(Rows &rows) {
    rows.push_back({"URL", searchWithoutWaiting});
    rows.push_back({"URL and its answer", [](Trial &trial) {
                        search(trial, "ldap_url_search_s", [](LDAP *ld, LDAPMessage **result) {
                            return ldap_url_search_s(ld, url, 0, result);
                        });
                    }});
    rows.push_back({"URL and its answer in time", [](Trial &trial) {
                        search(trial, "ldap_url_search_st", [](LDAP *ld, LDAPMessage **result) {
                            timeval patience = {10, 0};
                            return ldap_url_search_st(ld, url, 0, &patience, result);
                        });
                    }});
}

} // namespace qldapx_test::memory
