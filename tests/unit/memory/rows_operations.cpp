// The administrative operations, each answered by a server.
#include "extops/operations.h"
#include "memory/exported.h"
#include "memory/rows.h"
#include "support/scripted_peer.h"

#include <cstdlib>

namespace qldapx_test::memory {
namespace {

void operate(Trial &trial, const char *function, const OperationCase &operation) {
    ScriptedPeer peer({ScriptedPeer::answer(operation.response())});
    const Watch watch(trial);
    LDAP *ld = peer.session();
    {
        Outputs out;
        const int result = trial.code(function, [&] { return operation.call(ld, out); });
        trial.expect(result != LDAP_SUCCESS || out.describe(result) == operation.output,
                     "another output");
    }
    peer.closeSession();
}

void addUnavailable(Rows &rows) {
    rows.push_back({"quill", [](Trial &trial) {
                        int code = 0;
                        const int results[] = {
                            trial.call("ldap_bind_quill_s",
                                       [] { return ldap_bind_quill_s(nullptr, "a", "b"); }),
                            trial.call("ldap_bind_quill_ex_s",
                                       [] { return ldap_bind_quill_ex_s(nullptr, "a", "b", "c"); }),
                            trial.call("ldap_quill_get_errcode",
                                       [&] { return ldap_quill_get_errcode(nullptr, &code); })};
                        for (const int result : results)
                            trial.expect(result == LDAP_NOT_SUPPORTED, "another result");
                    }});
    rows.push_back({"ldapx_memfree", [](Trial &trial) {
                        const Watch watch(trial);
                        void *block = std::malloc(1);
                        trial.call("ldapx_memfree", [&] { ldapx_memfree(block); });
                    }});
}

} // namespace

void addOperations(Rows &rows) {
    for (const OperationCase &operation : allOperations()) {
        const char *function = exportedNameIn(operation.name);
        rows.push_back({operation.name, [function, &operation](Trial &trial) {
                            operate(trial, function, operation);
                        }});
    }
    addUnavailable(rows);
}

} // namespace qldapx_test::memory
